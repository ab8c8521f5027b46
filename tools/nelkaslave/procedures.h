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

/// What a module holds, in one folder. Throws MalformedFile for a state that is none.
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

    /// Its content. There is none after a reset that failed, until one succeeds: the next start would wipe what is
    /// written in between. Refuses with `storageError` then.
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
    /// What answers a call that is refused with `status`.
    Value (*refusal)(int status) = statusAlone;
    /// Where in the reply the status is, if it has one.
    std::optional<unsigned int> statusPlace = 0;
};

/// All of them, in the order of their families.
const std::vector<Procedure>& procedures();

/// Null if there is none of that name.
const Procedure* findProcedure(const std::string& name);

} // namespace nelkaslave
