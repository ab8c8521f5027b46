// The remote procedures of a module.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "database.h"
#include "files.h"
#include "state.h"
#include "wire.h"

namespace nelkaslave {

/// The content of a module, in one folder. Throws MalformedFile for an invalid state.
struct Content {
    explicit Content(const std::filesystem::path& folder);

    Databases databases;
    Files files;
    Tables tables;
    StateFile state;
};

/// A module.
class Slave {
public:
    explicit Slave(std::filesystem::path where) : folder(std::move(where)), content(folder) {}

    /// Its content. After a failed reset, refuses with `storageError` until one succeeds: the next start would wipe
    /// whatever was written in between.
    Content* operator->();

    /// Replaces the content by the sample.
    void reset();

private:
    std::filesystem::path folder;
    std::optional<Content> content;
};

/// The reply of a call; throws Refusal or Fault.
using Handler = Value (*)(Slave&, const Arguments&);

Value statusAlone(int status);

struct Procedure {
    std::string name;
    Handler handler;
    /// The reply of a call that is refused with `status`.
    Value (*refusal)(int status) = statusAlone;
    /// The place of the status in the reply, if it has one.
    std::optional<unsigned int> statusPlace = 0;
};

/// All procedures, in the order of the families.
const std::vector<Procedure>& procedures();

/// Null for an unknown name.
const Procedure* findProcedure(const std::string& name);

} // namespace nelkaslave
