// nelkactl dump.
#include <set>
#include <string>

#include "fleet.h"
#include "support/simulatedslave.h"

using namespace support;

namespace {

class Dump : public Nelkactl {
protected:
    const std::string state = folder / "state";

    Dump() { makeState(state); }

    static Finished dump(const SimulatedSlave& slave_, const Words& words = {})
    {
        return run(Words{NELKACTL, "-p", std::to_string(slave_.port()), "dump"} + words, {"NELKA_HOST="});
    }

    std::string behaviour(const std::string& text) const { return fileWith(folder / "behave.json", text); }
};

TEST_F(Dump, HasOutputsOfOperations)
{
    const SimulatedSlave simulated({"--state", state});
    const Finished finished = dump(simulated);
    EXPECT_EQ(finished.status, 0) << finished;
    const Json document = Json::parse(finished.out);
    EXPECT_EQ(document.at("operation"), "dump");
    EXPECT_EQ(document.at("ending"), "done");
    for (const Words& words : {Words{"actualizaIdentificacion"}, Words{"getAlarmasEstadoControlador"},
                               Words{"xmlrpc_changes"}, Words{"getFPGASOC"}}) {
        const Finished single =
            run(Words{NELKACTL, "-p", std::to_string(simulated.port()), "--json"} + words, {"NELKA_HOST="});
        Json outputs = Json::parse(single.out);
        for (const char* head : {"operation", "host", "port", "ending", "fault", "ms"})
            outputs.erase(head);
        EXPECT_FALSE(outputs.empty());
        EXPECT_EQ(document.at(words.front()), outputs);
    }
    EXPECT_TRUE(document.at("getHoraModulo").contains("hora"));
    EXPECT_TRUE(document.at("generarJSONWeb").contains("json"));
    EXPECT_EQ(document.at("checkSincronizado").at(0).at("ENTRADA"), "1");
}

TEST_F(Dump, HasGivenInputsTablesAndFiles)
{
    const std::string bytes{"a\0\xff", 3};
    fileWith(std::filesystem::path(state) / "files" / "bloque", bytes);
    const SimulatedSlave simulated({"--state", state});
    const Finished finished =
        dump(simulated, {"--entrada", "2", "--entrada=3", "--table", "SELECT id FROM canales WHERE id < 3 ORDER BY id",
                         "--table=SELECT nosuch FROM canales", "--file", "/bloque", "--file=/nosuch"});
    EXPECT_EQ(finished.status, 1) << finished;
    const Json document = Json::parse(finished.out);
    EXPECT_EQ(document["checkSincronizado"].size(), 2U);
    EXPECT_EQ(document["checkSincronizado"][1]["ENTRADA"], "3");
    EXPECT_EQ(document["getTable"][0]["rows"], Json::parse(R"([["1"],["2"]])"));
    EXPECT_EQ(document["getTable"][1]["ending"], "refused");
    EXPECT_EQ(document["RdFicheroEsclavo"][0]["base64"], "YQD/");
    EXPECT_EQ(document["RdFicheroEsclavo"][0]["bytes"], 3);
    EXPECT_EQ(document["RdFicheroEsclavo"][1]["ending"], "refused");
    EXPECT_EQ(document["RdFicheroEsclavo"][1]["RUTA"], "/nosuch");
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(state) / "files" / "bloque"));
}

TEST_F(Dump, NamesFailedPartAndGoesOn)
{
    const SimulatedSlave simulated(
        {"--state", state, "--behave",
         behaviour(R"({"GetAlarmasEstadoControlador": {"reply": [0, 1]}, "Changes": {"status": 3}})")});
    const Finished finished = dump(simulated);
    EXPECT_EQ(finished.status, 3) << finished;
    const Json document = Json::parse(finished.out);
    EXPECT_EQ(document["ending"], "faulted");
    EXPECT_TRUE(document["reason"].get<std::string>().starts_with("getAlarmasEstadoControlador: ")) << document;
    EXPECT_EQ(document["getAlarmasEstadoControlador"]["ending"], "faulted");
    EXPECT_EQ(document["xmlrpc_changes"]["ending"], "refused");
    EXPECT_EQ(document["xmlrpc_changes"]["fault"], 3);
    EXPECT_TRUE(document["getFPGASOC"].contains("soc")) << document;
}

TEST_F(Dump, VerboseExplainsStatus)
{
    const SimulatedSlave simulated({"--state", state, "--behave", behaviour(R"({"Changes": {"status": 3}})")});
    const Json document = Json::parse(dump(simulated, {"-v"}).out);
    EXPECT_EQ(document["xmlrpc_changes"]["reason"], "the slave's status is 3 (nelkaslave's database error)");
}

TEST_F(Dump, StopsIfSlaveIsMissing)
{
    slave.play({silence()});
    const Finished finished = type({"dump", "-t", "1000"});
    EXPECT_EQ(finished.status, 4) << finished;
    EXPECT_EQ(slave.requests().size(), 1U);
    EXPECT_EQ(Json::parse(finished.out)["sampleadd"]["ending"], "timed out");
}

TEST_F(Dump, IsOneLinePerHost)
{
    const SimulatedSlave simulated({"--state", state});
    const std::string at = "127.0.0.1:" + std::to_string(simulated.port());
    const Finished finished = run({NELKACTL, "--hosts", fileWith(folder / "hosts", "uno " + at + "\ndos " + at + "\n"),
                                   "dump", "--table", "SELECT 1", "--table", "SELECT 2"});
    EXPECT_EQ(finished.status, 0) << finished;
    std::istringstream lines(finished.out);
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const Json document = Json::parse(line);
        names.insert(document.at("name"));
        EXPECT_EQ(document.at("getTable").size(), 2U) << line;
    }
    EXPECT_EQ(names, (std::set<std::string>{"uno", "dos"}));
}

TEST_F(Dump, HasOrExcludesEveryReadingOperation)
{
    const SimulatedSlave simulated({"--state", state});
    const Json document = Json::parse(dump(simulated, {"--table", "SELECT 1", "--file", "/nosuch"}).out);
    std::string leftOut = type({"dump", "--help"}).out;
    leftOut.erase(0, leftOut.find("Not included"));
    int reading = 0;
    for (const std::string& name : operationsNamedIn(type({"--help"}).out)) {
        const bool changes = type({name, "--help"}).out.find("Changes the slave") != std::string::npos;
        if (name == "dump" || changes)
            continue;
        ++reading;
        EXPECT_NE(document.contains(name), leftOut.find(name) != std::string::npos) << name;
    }
    EXPECT_GE(reading, 16);
}

TEST_F(Dump, ChangesNothing)
{
    const SimulatedSlave simulated({"--state", state});
    const Json before = Json::parse(dump(simulated, {"--file", "/nosuch"}).out);
    Json after = Json::parse(dump(simulated, {"--file", "/nosuch"}).out);
    for (const char* name : {"xmlrpc_changes", "actualizaIdentificacion", "getFPGASOC"})
        EXPECT_EQ(after[name], before.at(name));
}

} // namespace
