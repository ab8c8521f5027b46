#include "behave.h"

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <utility>

#include "base64.h"
#include "conversion.h"
#include "procedures.h"

namespace nelkaslave {

namespace {

using std::chrono::milliseconds;

// In -----------------------------------------------------------------------------------------------------------

// The text, or {"base64": ...} if it is not UTF-8.
std::string bytesAt(const Place& place)
{
    const Json value = valueAt(place);
    if (value.is_string())
        return value.get<std::string>();
    place.require(value.size() == 1 && value.contains("base64"), R"(must be a string or {"base64": STRING})");
    return fromBase64(value["base64"].get<std::string>());
}

FaultAnswer faultAt(const Place& place)
{
    place.require(place->is_array() && place->size() == 2, "must be [CODE, TEXT]");
    return {place[std::size_t(0)].integer32(), place[std::size_t(1)].string()};
}

HttpAnswer httpAt(const Place& place)
{
    const bool complete = place->is_object() && place->size() == 3 && place->contains("status")
                          && place->contains("type") && place->contains("body");
    place.require(complete, "must be an object of status, type and body");
    const auto status = place["status"].integer(100, 999, "must be 100 to 999");
    return {static_cast<int>(status), bytesAt(place["type"]), bytesAt(place["body"])};
}

// Reads a member of a behaviour; false if `key` is unknown.
bool takeMember(const std::string& key, const Place& here, Behaviour& behaviour)
{
    if (key == "delay_ms") {
        behaviour.delay = milliseconds(here.integer(0, 3600000, "must be 0 to 3600000"));
    } else if (key == "status") {
        behaviour.status = here.integer32();
    } else if (key == "fault") {
        behaviour.answer = Answer{nullptr, faultAt(here)};
    } else if (key == "reply") {
        behaviour.answer = Answer{valueAt(here), std::nullopt};
    } else if (key == "http") {
        behaviour.http = httpAt(here);
    } else if (key == "unanswered") {
        here.require(here->is_boolean(), "must be true or false");
        behaviour.unanswered = here->get<bool>();
    } else {
        return false;
    }
    return true;
}

Json paramsAt(const Place& place)
{
    place.require(place->is_array(), "must be an array");
    return valueAt(place);
}

// An element of a list, or a line.
struct Told {
    Recorded recorded;
    bool last = false;
};

Told toldAt(const Place& place, bool isLine)
{
    place.require(place->is_object(), "must be an object");
    Told told;
    told.recorded.line = place.line();
    told.recorded.anyParams = true;
    int outcomes = 0;
    bool named = !isLine;
    for (const auto& [key, value] : place->items()) {
        const Place here = place[key];
        outcomes += key == "status" || key == "fault" || key == "reply" || key == "http";
        if (key == "params") {
            told.recorded.call.params = paramsAt(here);
            told.recorded.anyParams = false;
        } else if (key == "then") {
            here.require(*here == "simulate", "must be \"simulate\"");
            told.last = true;
        } else if (isLine && key == "time") {
            told.recorded.time = here.string();
        } else if (isLine && key == "procedure") {
            told.recorded.call.procedure = here.string();
            named = true;
        } else if (isLine && key == "request") {
            told.recorded.call = strangeCall(bytesAt(here));
            told.recorded.anyParams = false;
            named = true;
        } else {
            here.require(takeMember(key, here, told.recorded.behaviour),
                         isLine
                             ? "is not one of time, procedure, request, params, delay_ms, status, fault, reply, http, "
                               "unanswered and then"
                             : "is not one of params, delay_ms, status, fault, reply, http, unanswered and then");
        }
    }
    place.require(named, "must have a procedure");
    place.require(!place->contains("request") || place->contains("procedure") + place->contains("params") == 0,
                  "must have either a request or a procedure with params");
    place.require(outcomes <= 1, "must have at most one of status, fault, reply and http");
    return told;
}

// A file is either lines of calls, told by its first line, or one object of procedures.
bool hasLines(std::string_view text)
{
    const auto skipBlanks = [&] { text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size())); };
    skipBlanks();
    if (!text.starts_with('{'))
        return false;
    text.remove_prefix(1);
    skipBlanks();
    return text.starts_with("\"time\"") || text.starts_with("\"procedure\"") || text.starts_with("\"request\"");
}

template <typename Take>
void eachLine(const std::string& file, std::string_view text, Take take)
{
    // After a power failure a file may end in zeros.
    text = text.substr(0, text.find_last_not_of('\0') + 1);
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.find_first_not_of(" \t\r") == std::string_view::npos)
            continue;
        std::optional<Document> document;
        try {
            document = parseDocument(file, line, number);
        } catch (const MalformedFile&) {
            if (end != std::string_view::npos)
                throw;
            std::fprintf(stderr, "nelkaslave: %s:%zu: the last line is incomplete and was skipped\n", file.c_str(),
                         number);
            return;
        }
        take(Place(*document));
    }
}

// Behaviours for the simulation --------------------------------------------------------------------------------

void tell(Script& script, Told told, const Place& place)
{
    const Call& call = told.recorded.call;
    Behaviour& behaviour = told.recorded.behaviour;
    const Procedure* const procedure = findProcedure(call.procedure);
    (place->contains("procedure") ? place["procedure"] : place).require(procedure, "is not a procedure");
    place.require(!behaviour.status || procedure->statusPlace, "the reply of this procedure has no status");
    place.require(!behaviour.http, "has an answer that only --replay can give");
    if (behaviour.unanswered && !behaviour.answer)
        behaviour.answer = afterSilence();
    try {
        if (behaviour.answer)
            toValue(behaviour.answer->reply);
    } catch (const Fault& fault) {
        place.require(false, std::string("cannot be sent: ") + fault.what());
    }
    place.require(script.add(call, told.recorded.anyParams, std::move(behaviour), told.last),
                  "follows one with \"then\": \"simulate\"");
}

void tellFromObject(Script& script, const std::string& file, const std::string& text)
{
    const Document document = parseDocument(file, text);
    const Place root(document);
    root.require(root->is_object(), "must be an object of procedures");
    for (const auto& [name, value] : root->items()) {
        const auto take = [&, procedure = name](const Place& place) {
            Told told = toldAt(place, false);
            told.recorded.call.procedure = procedure;
            tell(script, std::move(told), place);
        };
        const Place place = root[name];
        place.require(findProcedure(name), "is not a procedure");
        if (!value.is_array())
            take(place);
        for (std::size_t i = 0; value.is_array() && i < value.size(); ++i)
            take(place[i]);
    }
}

// Out ----------------------------------------------------------------------------------------------------------

Json readable(const std::string& bytes)
{
    try {
        Json text = bytes;
        text.dump(); // throws for invalid UTF-8
        return text;
    } catch (const Json::exception&) {
        return {{"base64", toBase64(bytes)}};
    }
}

} // namespace

bool Script::add(const Call& call, bool anyParams, Behaviour behaviour, bool last)
{
    Sequences& all = sequences[call.procedure];
    std::vector<Sequence*> places;
    if (!anyParams)
        places.push_back(&all.ofParams[call.params]);
    if (anyParams || ends != Ends::withTheLast)
        places.push_back(&all.ofAny);
    if (places.front()->ended)
        return false;
    for (Sequence* const sequence : places)
        sequence->steps.push_back(steps.size());
    places.front()->ended = last;
    steps.push_back({std::move(behaviour)});
    return true;
}

const Behaviour* Script::next(const Call& call)
{
    const auto found = sequences.find(call.procedure);
    if (found == sequences.end())
        return nullptr;
    Sequences& all = found->second;
    const auto own = all.ofParams.find(call.params);
    return next(own == all.ofParams.end() ? all.ofAny : own->second);
}

const Behaviour* Script::next(Sequence& sequence)
{
    const std::size_t count = sequence.steps.size();
    if (ends == Ends::once)
        while (sequence.position < count && steps[sequence.steps[sequence.position]].used)
            ++sequence.position;
    if (ends == Ends::never && sequence.position == count)
        sequence.position = 0;
    if (sequence.position == count)
        return nullptr;
    Step& step = steps[sequence.steps[sequence.position]];
    step.used = true;
    if (ends != Ends::withTheLast || sequence.position + 1 < count || sequence.ended)
        ++sequence.position;
    return &step.behaviour;
}

Call strangeCall(const std::string& request)
{
    return {"", readable(request)};
}

Answer noAnswer(int code, const std::string& reason)
{
    return {nullptr, FaultAnswer{code, reason}};
}

Answer afterSilence()
{
    return noAnswer(XMLRPC_TIMEOUT_ERROR, "the real module did not answer either");
}

Script readBehaviours(const std::string& file)
{
    Script script;
    const std::string text = readText(file);
    if (hasLines(text))
        eachLine(file, text, [&](const Place& place) { tell(script, toldAt(place, true), place); });
    else
        tellFromObject(script, file, text);
    return script;
}

std::vector<Recorded> readRecording(const std::string& file)
{
    std::vector<Recorded> all;
    eachLine(file, readText(file), [&](const Place& place) {
        Told told = toldAt(place, true);
        const Behaviour& behaviour = told.recorded.behaviour;
        place.require(!behaviour.status && !told.last, "is for the simulated slave only");
        place.require(behaviour.answer || behaviour.http || behaviour.unanswered,
                      "must have one of reply, fault, http and unanswered");
        all.push_back(std::move(told.recorded));
    });
    return all;
}

std::string lineOf(const Recorded& recorded)
{
    const auto& [call, behaviour] = std::tie(recorded.call, recorded.behaviour);
    nlohmann::ordered_json line{{"time", recorded.time}};
    if (call.procedure.empty()) {
        line["request"] = call.params;
    } else {
        line["procedure"] = call.procedure;
        line["params"] = call.params;
    }
    if (behaviour.answer && behaviour.answer->fault)
        line["fault"] = {behaviour.answer->fault->code, behaviour.answer->fault->text};
    else if (behaviour.answer)
        line["reply"] = behaviour.answer->reply;
    if (behaviour.http)
        line["http"] = {{"status", behaviour.http->status},
                        {"type", readable(behaviour.http->type)},
                        {"body", readable(behaviour.http->body)}};
    if (behaviour.unanswered)
        line["unanswered"] = true;
    line["delay_ms"] = behaviour.delay.count();
    return line.dump() + "\n";
}

} // namespace nelkaslave
