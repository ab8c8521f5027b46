// Calls passed on to a real module and recorded, and a recording played back.
#pragma once

#include <string>

#include "door.h"
#include "realmodule.h"

namespace nelkaslave {

/// A file with a line per call.
class Recording {
public:
    /// Appends to an existing recording. Throws as readRecording() does.
    explicit Recording(const std::string& name);

    /// Returns once the line is on the disk. Throws std::system_error.
    void append(const std::string& line);

private:
    std::string file;
    Descriptor descriptor;
};

class Recorder {
public:
    Recorder(RealModule& asked, Recording& kept) : module(asked), recording(kept) {}

    HttpAnswer answer(const std::string& request, const Caller& caller);

private:
    RealModule& module;
    Recording& recording;
};

class Replay {
public:
    struct Options {
        bool once = false;
        double speed = 1;
    };

    Replay(const std::string& recording, Options how);

    HttpAnswer answer(const std::string& request, const Caller& caller);

private:
    Options options;
    Script script;
};

} // namespace nelkaslave
