// Documents that are made to crash, to hang, to burn or to bloat whoever reads them.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace hostile {

/// A document around the place where a value stands.
struct Place {
    std::string name;
    std::string root;   ///< the name of its root element
    std::string before; ///< from the root's start tag to the value
    std::string after;
    std::string declaration = "<?xml version=\"1.0\"?>\n";

    std::string around(std::string_view value) const { return declaration + before + std::string(value) + after; }
};

/// Where a value stands in a reply and in a request. The first place, a cell of a table or
/// an element of an array, takes any number of values.
const std::vector<Place>& replyPlaces();
const std::vector<Place>& requestPlaces();

/// What the reader has to do with a document, beyond living on.
enum class Due {
    anything, ///< some are understood, some are not
    refusal
};

struct Document {
    std::string group;
    std::string name;
    Due due;
    std::function<std::string(const Place&)> at; ///< the document with its harm in that place
};

/// All of them, group by group; within a group every name is there once.
const std::vector<Document>& documents();

/// The group whose documents do harm by their length, wherever that is.
inline constexpr const char* abundance = "Abundance";

/// The groups, in order.
std::vector<std::string> groups();
std::vector<std::string> groupsWithoutAbundance();

/// Of the documents of Abundance only some where a megabyte takes long.
std::vector<Document> documentsOf(const std::string& group);

/// Ways to write a document down.
struct Encoding {
    std::string name;
    std::string declared; ///< in the XML declaration; empty: nothing is
    std::string (*write)(const std::string& text);

    /// The same place in a document that declares it.
    Place declaredIn(Place place) const;
};

const std::vector<Encoding>& encodings();

/// What is no document at all: messages as they travel, status or request line and headers included.
struct Message {
    std::string name;
    std::string bytes;
    enum class Then { close, hold } then; ///< what becomes of the connection
};

std::vector<Message> brokenReplies();
std::vector<Message> brokenRequests();

} // namespace hostile
