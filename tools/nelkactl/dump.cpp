#include "dump.h"

#include <memory>
#include <string>
#include <utility>

#include "fleet.h"
#include "interruption.h"
#include "operations.h"

namespace nelkactl {

namespace {

struct Release {
    void operator()(xmlrpc_mem_block* block) const { xmlrpc_mem_block_free(block); }
};

std::string base64(const std::vector<char>& bytes)
{
    xmlrpc_env env;
    xmlrpc_env_init(&env);
    const std::unique_ptr<xmlrpc_mem_block, Release> text(xmlrpc_base64_encode_without_newlines(
        &env, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
    xmlrpc_env_clean(&env);
    return text ? std::string(static_cast<const char*>(xmlrpc_mem_block_contents(text.get())),
                              xmlrpc_mem_block_size(text.get()))
                : "";
}

class Document {
public:
    explicit Document(Call& asked) : call(asked) {}

    /// Runs an operation. Returns whether it brought a usable answer.
    bool add(const std::string& name, const Given& arguments = {})
    {
        Call part = call.with(arguments);
        const Ending ending = carryOut(operationNamed(name), part);
        call.keep(name, described(Json::object(), name, ending, part.results()));
        return part.answered();
    }

    /// Runs an operation several times: the output is a list, whose members name their argument.
    void addTo(const std::string& name, const Parameter& argument, const std::string& text)
    {
        Call part = call.with({{argument.name, text}});
        const Ending ending = carryOut(operationNamed(name), part);
        keepIn(name, argument, text, ending, part.results());
    }

    void addFile(const std::string& path)
    {
        Block block;
        call.client.RdFicheroEsclavo(path, 0, block.value, call.timeout); // 0: the slave keeps it
        Json outputs = Json::object();
        if (call.answered() && block.written())
            outputs = {{"bytes", block.value.size()}, {"base64", base64(block.value)}};
        keepIn("RdFicheroEsclavo", argument::ruta, path, call.ending(), outputs);
    }

    void conclude() { call.conclude(worst); }

private:
    void keepIn(const std::string& name, const Parameter& argument, const std::string& text, const Ending& ending,
                const Json& outputs)
    {
        Json list = call.results().value(name, Json::array());
        list.push_back(described({{argument.name, text}}, name, ending, outputs));
        call.keep(name, std::move(list));
    }

    Json described(Json part, const std::string& name, const Ending& ending, const Json& outputs)
    {
        interruption::check();
        if (ending.kind != Kind::done) {
            part.update({{"ending", nameOf(ending.kind)}, {"fault", ending.fault}, {"reason", ending.reason}});
            if (worse(worst.kind, ending.kind) != worst.kind)
                worst = {ending.kind, ending.fault, name + ": " + ending.reason};
        }
        part.update(outputs);
        return part;
    }

    Call& call;
    Ending worst;
};

} // namespace

void dump(Call& call)
{
    Document document(call);
    if (document.add("sampleadd")) {
        document.add("actualizaIdentificacion");
        document.add("getAlarmasEstadoControlador");
        const std::vector<std::string> entradas = call.texts(option::entrada);
        for (const std::string& entrada : entradas.empty() ? std::vector<std::string>{"1"} : entradas)
            document.addTo("checkSincronizado", argument::entrada, entrada);
        document.add("xmlrpc_changes");
        document.add("getHoraModulo", {{argument::parametroHora.name, "0"}});
        document.add("getFPGASOC");
        document.add("generarJSONWeb", {{argument::n.name, "0"}});
        for (const std::string& query : call.texts(option::table))
            document.addTo("getTable", argument::query, query);
        for (const std::string& path : call.texts(option::file))
            document.addFile(path);
    }
    document.conclude();
}

} // namespace nelkactl
