#include "recorder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>
#include <xmlrpc-c/base.h>

#include "../restarted.h"
#include "log.h"
#include "show.h"

namespace nelkaslave {

namespace {

using std::chrono::milliseconds;

Call callOf(const std::string& request)
{
    std::optional<Call> call = readCall(request);
    return call ? std::move(*call) : strangeCall(request);
}

HttpAnswer inHttp(const Answer& answer)
{
    return {200, "text/xml; charset=utf-8", written(answer)};
}

} // namespace

// Recording ----------------------------------------------------------------------------------------------------

Recording::Recording(const std::string& name)
    : file(name), descriptor(open(name.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0666))
{
    if (!descriptor)
        failed(file);
    readRecording(file);
    // The next line would otherwise continue one that a power failure cut off.
    const std::string text = readAll(descriptor, file);
    if (!text.empty() && !text.ends_with('\n')
        && ftruncate(descriptor.get(), static_cast<off_t>(text.rfind('\n') + 1)) != 0)
        failed(file);
    const std::filesystem::path folder = std::filesystem::absolute(file).parent_path();
    sync(openFolder(folder), folder);
}

void Recording::append(const std::string& line)
{
    const off_t before = lseek(descriptor.get(), 0, SEEK_END);
    std::size_t done = 0;
    while (done < line.size()) {
        const ssize_t count =
            restarted([&] { return write(descriptor.get(), line.data() + done, line.size() - done); });
        if (count < 0) {
            const int error = errno;
            // Half a line would make the rest unreadable.
            if (restarted([&] { return ftruncate(descriptor.get(), before); }) != 0)
                std::fprintf(stderr, "nelkaslave: %s: half a line was written\n", file.c_str());
            throw std::system_error(error, std::generic_category(), file);
        }
        done += static_cast<std::size_t>(count);
    }
    if (restarted([&] { return fdatasync(descriptor.get()); }) != 0)
        failed(file);
}

HttpAnswer Recorder::answer(const std::string& request, const Caller& caller)
{
    Recorded recorded;
    recorded.time = timeOfDay();
    recorded.call = callOf(request);
    Behaviour& behaviour = recorded.behaviour;

    const auto start = std::chrono::steady_clock::now();
    Asked asked = module.ask(request, caller);
    behaviour.delay = std::chrono::round<milliseconds>(std::chrono::steady_clock::now() - start);

    if (!asked.answer) {
        behaviour.unanswered = true;
        const Answer instead = noAnswer(asked.late ? XMLRPC_TIMEOUT_ERROR : XMLRPC_NETWORK_ERROR,
                                        "no answer from the real module: " + asked.reason);
        if (!asked.hungUp)
            behaviour.answer = instead;
        asked.answer = inHttp(instead);
    } else {
        if (asked.answer->status == 200)
            behaviour.answer = readAnswer(asked.answer->body);
        if (!behaviour.answer)
            behaviour.http = asked.answer;
    }
    log(readable(recorded));
    try {
        recording.append(lineOf(recorded));
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "nelkaslave: not recorded: %s\n", error.what());
        return inHttp(
            noAnswer(XMLRPC_INTERNAL_ERROR, std::string("the call was made, but not recorded: ") + error.what()));
    }
    return std::move(*asked.answer);
}

// Playing back -------------------------------------------------------------------------------------------------

Replay::Replay(const std::string& recording, Options how)
    : options(how), script(how.once ? Script::Ends::once : Script::Ends::never)
{
    for (Recorded& recorded : readRecording(recording))
        script.add(recorded.call, recorded.anyParams, std::move(recorded.behaviour));
}

HttpAnswer Replay::answer(const std::string& request, const Caller& caller)
{
    Recorded played;
    played.time = timeOfDay();
    played.call = callOf(request);
    const Behaviour* const found = script.next(played.call);
    if (!found) {
        const std::string reason =
            script.mentions(played.call.procedure) ? "has no recorded answer left" : "was never recorded";
        played.behaviour.answer = noAnswer(XMLRPC_NO_SUCH_METHOD_ERROR, "the call " + reason);
        log(readable(played));
        return inHttp(*played.behaviour.answer);
    }
    played.behaviour = *found;
    Behaviour& behaviour = played.behaviour;
    if (options.speed > 0) {
        using Delay = std::chrono::duration<double, std::milli>;
        const auto scaled = std::min<Delay>(found->delay / options.speed, std::chrono::hours(1000)); // fits the clock
        const bool silent = found->unanswered && !found->answer;
        behaviour.delay = silent ? std::chrono::hours(1) : std::chrono::round<milliseconds>(scaled);
        caller.waits(behaviour.delay);
    }
    if (behaviour.unanswered && !behaviour.answer)
        behaviour.answer = afterSilence();
    log(readable(played));
    return behaviour.http ? *behaviour.http : inHttp(*behaviour.answer);
}

} // namespace nelkaslave
