// nelkactl: what it takes, and what it tells.
#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <nelkanet/version.h>

#include "nelkactl.h"

using namespace support;

namespace {

// The command line -------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, TakesOptionsBeforeAndAfterTheOperation)
{
    for (const Words& words : {Words{"--json", "checkSincronizado", "1"}, Words{"checkSincronizado", "--json", "1"},
                               Words{"checkSincronizado", "1", "--json"}, Words{"--", "checkSincronizado", "1"}}) {
        const Finished finished = answered({xml::i4(0)}, words);
        EXPECT_EQ(finished.status, 0) << finished;
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"i4 1"}));
    }
}

TEST_F(Nelkactl, TakesTextsAsTheyAreTyped)
{
    for (const std::string text : {"[a,b]", "", "-1", "a=b", "{}", "\\n", "%s", "a b", "-"}) {
        answered({xml::i4(0)}, {"ejecutar_script", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
}

TEST_F(Nelkactl, TakesTextsThatLookLikeOptionsBehindTwoDashes)
{
    for (const std::string text : {"--json", "-x", "--", "--help"}) {
        answered({xml::i4(0)}, {"ejecutar_script", "--", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
    EXPECT_EQ(type({"ejecutar_script", "-x"}).status, 2);
}

TEST_F(Nelkactl, GoesWhereTheEnvironmentSaysUnlessOptionsSayOtherwise)
{
    slave.play({replyArray({xml::i4(15)})});
    const std::string port = std::to_string(slave.port());
    const ClosedPort nobody;
    const std::string closed = std::to_string(nobody.port());
    EXPECT_EQ(run({NELKACTL, "sampleadd"}, {"NELKA_HOST=127.0.0.1", "NELKA_PORT=" + port}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-p", port}, {"NELKA_HOST=127.0.0.1", "NELKA_PORT=" + closed}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-H", "127.0.0.1"}, {"NELKA_HOST=::1", "NELKA_PORT=" + port}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd", "-p", port}, {"NELKA_HOST=", "NELKA_PORT=none"}).status, 0);
    EXPECT_EQ(run({NELKACTL, "sampleadd"}, {"NELKA_HOST=", "NELKA_PORT=none"}).status, 2);
}

TEST_F(Nelkactl, PutsAnIpv6AddressInBrackets)
{
    const ClosedPort nobody;
    const std::string port = std::to_string(nobody.port());
    for (const std::string host : {"::1", "[::1]"}) {
        const Finished finished = type({"-v", "-H", host, "-p", port, "sampleadd"});
        EXPECT_NE(finished.err.find("nelkactl: Server URL: http://[::1]:" + port + "/RPC2\n"), std::string::npos)
            << finished;
        EXPECT_EQ(finished.status, 3);
    }
}

TEST_F(Nelkactl, RefusesACommandLineThatMeansNothing)
{
    const std::vector<Words> wrong{
        {},
        {"nosuch"},
        {"SAMPLEADD"},
        {"sampleadd", "1"},
        {"--nosuch", "sampleadd"},
        {"sampleadd", "-H"},
        {"sampleadd", "-H", ""},
        {"sampleadd", "-p", "0"},
        {"sampleadd", "-p", "65536"},
        {"sampleadd", "-p", "-1"},
        {"sampleadd", "-p", "8080x"},
        {"sampleadd", "-t", "65536"},
        {"sampleadd", "-t", "-1"},
        {"sampleadd", "-t", "0x10"},
        {"sampleadd", "-t", ""},
        {"sampleadd", "--yes"},
        {"getHoraModulo"},
        {"getHoraModulo", "65536"},
        {"getHoraModulo", "-1"},
        {"getHoraModulo", "1.5"},
        {"getHoraModulo", "0x1"},
        {"getHoraModulo", " 1"},
        {"getHoraModulo", "+1"},
        {"getHoraModulo", "1", "2"},
        {"setRefrescoWeb", "70000"},
        {"checkSincronizado", "2147483648"},
        {"checkSincronizado", "-2147483649"},
        {"checkSincronizado", "99999999999999999999"},
        {"initInputScan", "1", "2", "256"},
        {"initInputScan", "1", "2", "-1"},
        {"changeFPGASOC", "-1"},
        {"changeFPGASOC", "4294967296"},
        {"sintonizarCanalTerr", "1", "2"},
        {"sintonizarCanalTerr", "1", "yes"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia", "4294967296"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia", "-1"},
        {"sintonizarCanalTerr", "1", "1", "--frecuencia="},
        {"sintonizarCanalTerr", "1", "1", "--parametroTerr", "65536"},
        {"sintonizarCanalSat", "1", "1", "1", "--parametroSat", "2147483648"},
        {"resetModuleToFactorySettings"},
        {"scan", "1", "2", "3", "--interval", "0"},
        {"scan", "1", "2", "3", "--until", "-1"},
        {"statusInputScan", "1", "2", "--until", "5"},
        {"RdFicheroEsclavo", "x", "0"},
        {"RdFicheroEsclavo", "x", "0", "--output", "-", "--json"},
        {"wrFicheroTablasSI", "1", "2"},
        {"wrFicheroTablasSI", "1", "2", "--output", "{file}"},
    };
    for (const Words& words : wrong) {
        const Finished finished = type(words);
        const std::string typed = ::testing::PrintToString(words);
        EXPECT_EQ(finished.status, 2) << typed;
        EXPECT_EQ(finished.out, "") << typed;
        EXPECT_NE(finished.lastWords().find("usage: "), std::string::npos) << typed << "\n" << finished;
    }
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, NamesTheOperationTheHostAndThePortOfAUsageError)
{
    EXPECT_EQ(
        type({"getHoraModulo", "65536", "-H", "module3", "-p", "81"}).err,
        "nelkactl: getHoraModulo at module3 port 81: usage: N is an integer, 0 to 65535, not '65536' (see nelkactl "
        "--help)\n");
}

// What is told -----------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, HelpFitsAScreenAndNamesTheExitStatuses)
{
    const Finished finished = type({"--help"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_LE(std::count(finished.out.begin(), finished.out.end(), '\n'), 24);
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    for (const char* status : {"0 done", "1 the slave", "2 usage", "3 transport", "4 time-out", "5 interrupted"})
        EXPECT_NE(finished.out.find(status), std::string::npos) << status;
}

// Whether a text has a name as a word, not only as a part of one.
bool names(const std::string& text, const std::string& name)
{
    const auto inWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '-'; };
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1))
        if ((at == 0 || !inWord(text[at - 1])) && !inWord(text[at + name.size()]))
            return true;
    return false;
}

TEST_F(Nelkactl, HelpManPageAndCompletionNameEveryOperationAndOption)
{
    const std::string help = type({"--help"}).out;
    Words all = operationsNamedIn(help);
    std::set<std::string> options{"-H", "-p", "-t", "-d", "--json", "-v", "--trace", "-h", "--help", "--version"};
    for (const std::string& option : options)
        EXPECT_TRUE(names(help, option)) << option;
    for (const std::string& name : all) {
        std::istringstream words(type({name, "--help"}).out);
        for (std::string word; words >> word;)
            if (word.starts_with("--"))
                options.insert(word);
    }
    std::string page = contents(MAN_PAGE);
    page.erase(std::remove(page.begin(), page.end(), '\\'), page.end());
    const std::string completion = contents(COMPLETION);
    all.insert(all.end(), options.begin(), options.end());
    for (const std::string& name : all) {
        EXPECT_TRUE(names(page, name)) << name;
        EXPECT_TRUE(names(completion, name)) << name;
    }
}

TEST_F(Nelkactl, CompletesOperationsAndTheirOptions)
{
    const auto completed = [](const std::string& words, const std::string& index) {
        const Finished finished = run({"/bin/bash", "-c",
                                       "source " COMPLETION "; COMP_WORDS=(" + words + "); COMP_CWORD=" + index
                                           + "; _nelkactl; printf '%s ' \"${COMPREPLY[@]}\""});
        EXPECT_EQ(finished.err, "");
        return finished.out;
    };
    EXPECT_EQ(completed("nelkactl sinto", "1"), "sintonizarCanalTerr sintonizarCanalSat ");
    EXPECT_EQ(completed("nelkactl -p 1 --json scan 1 --", "6"), "--json --trace --help --version --interval --until ");
    EXPECT_EQ(completed("nelkactl rdFicheroResumen --o", "2"), "--output ");
    EXPECT_EQ(completed("nelkactl sampleadd --o", "2"), " ");
}

TEST_F(Nelkactl, SaysItsVersion)
{
    EXPECT_EQ(type({"--version"}).out, "nelkactl " NELKANET_VERSION "\n");
}

TEST_F(Nelkactl, WritesTheErrorLinesOfTheLibraryAndItsOwnLast)
{
    const Finished finished = answered({xml::i4(3)}, {"updateNTP"});
    EXPECT_TRUE(finished.err.starts_with("nelkactl: Error recibido desde el esclavo: mensaje : updateNTP, error : 3\n"
                                         "nelkactl: Error in file src/xmlrpclient.cpp, line "))
        << finished;
    EXPECT_EQ(std::count(finished.err.begin(), finished.err.end(), '\n'), 3) << finished;
}

TEST_F(Nelkactl, WritesAllLinesOfTheLibraryWhenAsked)
{
    const Finished finished = answered({xml::i4(0)}, {"updateNTP", "-v"});
    EXPECT_EQ(finished.err, "nelkactl: Server URL: http://127.0.0.1:" + std::to_string(slave.port())
                                + "/RPC2\n"
                                  "nelkactl: XMLRPC_XML_SIZE_LIMIT_DEFAULT: 1048576\n"
                                  "nelkactl: updateNTP\n"
                                  "nelkactl: INICIO ALARMA 5000\n"
                                  "nelkactl: INICIO ALARMA 0\n");
    EXPECT_EQ(finished.out, "");
}

TEST_F(Nelkactl, ShowsTheXmlThatTravelsOnStandardError)
{
    const Finished finished = answered({xml::i4(15)}, {"sampleadd", "--trace"});
    EXPECT_EQ(finished.out, "resultado: 15\n");
    EXPECT_NE(finished.err.find("<methodName>sample.add</methodName>"), std::string::npos) << finished;
    EXPECT_NE(finished.err.find("<methodResponse>"), std::string::npos) << finished;
}

TEST_F(Nelkactl, EndsWithTwoWhenItsResultCannotBeWritten)
{
    slave.play({replyArray({xml::i4(15)})});
    const Finished full = run({"/bin/sh", "-c", NELKACTL " sampleadd > /dev/full"}, environment());
    EXPECT_EQ(full.status, 2) << full;
    EXPECT_NE(full.lastWords().find(": file: cannot write standard output: "), std::string::npos) << full;
    const Finished closed = run({"/bin/sh", "-c", NELKACTL " sampleadd >&-"}, environment());
    EXPECT_EQ(closed.status, 2) << closed;
}

} // namespace
