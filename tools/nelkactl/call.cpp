#include "call.h"

#include <memory>

#include "failure.h"
#include "files.h"
#include "interruption.h"
#include "reason.h"

namespace nelkactl {

namespace {

struct Release {
    void operator()(xmlrpc_value* value) const { xmlrpc_DECREF(value); }
};

std::string reasonOfStatus(int status, bool verbose)
{
    static const char* const meanings[] = {"not found", "bad argument", "database error", "storage error"};
    std::string words = "the slave's status is " + std::to_string(status);
    if (verbose && status >= 1 && status <= 4)
        words += std::string(" (nelkaslave's ") + meanings[status - 1] + ")";
    return words;
}

std::optional<OutputFile> outputFile(const Given& given)
{
    const auto path = given.find(option::output.name);
    if (path == given.end())
        return std::nullopt;
    OutputFile file(path->second);
    if (file.isStandardOutput() && option::json.in(given))
        throw UsageError("--output - and --json both take standard output");
    return file;
}

} // namespace

Call::Call(nelka::XmlrpcClient& client_, const Options& options_, const Given& given_)
    : client(client_), timeout(options_.timeout),
      input(given_.contains(option::input.name) ? readBlock(option::input.in(given_)) : std::vector<char>()),
      file(outputFile(given_)), options(options_), given(given_)
{
}

Table::Table()
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    const std::unique_ptr<xmlrpc_value, Release> preset(
        xmlrpc_build_value(&env, "((s#))", Text::preset.data(), Text::preset.size()));
    if (preset)
        value.fill(env, preset.get());
    xmlrpc_env_clean(&env);
}

bool Table::written() const
{
    return value.columnCount() == 0 || value.columnName(0) != Text::preset;
}

Call Call::with(const Given& arguments) const
{
    return Call(client, options, arguments);
}

bool Call::answered() const
{
    return !client.environment().fault_occurred;
}

void Call::output(const std::string& name, const Text& text)
{
    if (text.written())
        output(name, text.value);
}

void Call::output(const std::string& name, const Number& number)
{
    if (number.written())
        output(name, number.value);
}

void Call::output(const Table& table)
{
    if (!table.written())
        return;
    const nelkadb::ResultSet& set = table.value;
    Json columns = Json::array();
    for (std::size_t column = 0; column < set.columnCount(); ++column)
        columns.push_back(set.columnName(column));
    Json rows = Json::array();
    for (std::size_t row = 0; row < set.rowCount(); ++row) {
        Json cells = Json::array();
        for (std::size_t column = 0; column < set.columnCount(); ++column)
            cells.push_back(set.isNull(row, column) ? Json() : Json(set.value(row, column)));
        rows.push_back(std::move(cells));
    }
    output("columns", columns);
    output("rows", rows);
}

void Call::output(const Block& block)
{
    if (!answered() || !block.written())
        return;
    file->replace({block.value.data(), block.value.size()});
    if (!file->isStandardOutput())
        output("bytes", block.value.size());
}

Ending Call::ending() const
{
    if (conclusion)
        return *conclusion;
    const xmlrpc_env& env = client.environment();
    const int fault = client.getFault();
    if (!env.fault_occurred)
        return fault == 0 ? Ending{}
                          : Ending{Kind::refused, fault, reasonOfStatus(fault, options.has(option::verbose))};
    if (fault == XMLRPC_TIMEOUT_ERROR && !isFaultResponse(env)) {
        if (interruption::seen())
            return {Kind::interrupted, fault, interruption::name()};
        return {Kind::timedOut, fault, "no answer within " + std::to_string(timeout) + " ms"};
    }
    // The call has no fault if the table cannot be filled in, but there is no result.
    return {Kind::faulted, fault != 0 ? fault : env.fault_code, reasonOf(env, options)};
}

bool Call::lost() const
{
    const Kind kind = ending().kind;
    const xmlrpc_env& env = client.environment();
    return kind == Kind::timedOut
           || (kind == Kind::faulted && env.fault_code == XMLRPC_NETWORK_ERROR && !isFaultResponse(env));
}

} // namespace nelkactl
