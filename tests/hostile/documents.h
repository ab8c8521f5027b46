// Documents designed to crash, stall or bloat their reader.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace hostile {

/// The part of a document around a value.
struct Place {
    std::string name;
    std::string root;   ///< the name of its root element
    std::string before; ///< from the root's start tag to the value
    std::string after;
    std::string declaration = "<?xml version=\"1.0\"?>\n";

    std::string around(std::string_view value) const { return declaration + before + std::string(value) + after; }
};

/// The places of values in replies and in requests. The first place, a cell of a table or an element of an array,
/// accepts any number of values.
const std::vector<Place>& replyPlaces();
const std::vector<Place>& requestPlaces();

/// What the reader must do with a document besides surviving it.
enum class Due {
    anything, ///< either outcome
    refusal
};

struct Document {
    std::string group;
    std::string name;
    Due due;
    std::function<std::string(const Place&)> at; ///< the document with the harm in that place
};

/// All documents, by group; names are unique within a group.
const std::vector<Document>& documents();

/// The group whose documents are harmful by their length, in any place.
inline constexpr const char* abundance = "Abundance";

/// The groups, in order.
std::vector<std::string> groups();
std::vector<std::string> groupsWithoutAbundance();

/// Only some documents of Abundance if a megabyte takes long.
std::vector<Document> documentsOf(const std::string& group);

/// Encodings of a document.
struct Encoding {
    std::string name;
    std::string declared; ///< in the XML declaration; empty: none
    std::string (*write)(const std::string& text);

    /// The same place in a document with this declaration.
    Place declaredIn(Place place) const;
};

const std::vector<Encoding>& encodings();

/// Broken messages, with status or request line and headers.
struct Message {
    std::string name;
    std::string bytes;
    enum class Then { close, hold } then; ///< what happens to the connection
};

std::vector<Message> brokenReplies();
std::vector<Message> brokenRequests();

} // namespace hostile
