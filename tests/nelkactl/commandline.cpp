// nelkactl: its command line and its messages.
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

TEST_F(Nelkactl, OptionsMayPrecedeOrFollowOperation)
{
    for (const Words& words : {Words{"--json", "checkSincronizado", "1"}, Words{"checkSincronizado", "--json", "1"},
                               Words{"checkSincronizado", "1", "--json"}, Words{"--", "checkSincronizado", "1"}}) {
        const Finished finished = answered({xml::i4(0)}, words);
        EXPECT_EQ(finished.status, 0) << finished;
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"i4 1"}));
    }
}

TEST_F(Nelkactl, TextsArePassedAsTyped)
{
    for (const std::string text : {"[a,b]", "", "-1", "a=b", "{}", "\\n", "%s", "a b", "-"}) {
        answered({xml::i4(0)}, {"ejecutar_script", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
}

TEST_F(Nelkactl, OptionLikeTextsFollowTwoDashes)
{
    for (const std::string text : {"--json", "-x", "--", "--help"}) {
        answered({xml::i4(0)}, {"ejecutar_script", "--", text});
        EXPECT_EQ(slave.calls().at(0).parameters, (Words{"string " + text}));
    }
    EXPECT_EQ(type({"ejecutar_script", "-x"}).status, 2);
}

TEST_F(Nelkactl, OptionsOverrideEnvironment)
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

// HOST -------------------------------------------------------------------------------------------------------------

std::string addressTaken(const Finished& finished)
{
    const std::string label = "nelkactl: Server URL: http://";
    const std::size_t start = finished.err.find(label) + label.size();
    return finished.err.substr(start, finished.err.find("/RPC2\n") - start);
}

TEST_F(Nelkactl, HostMayIncludePort)
{
    const ClosedPort nobody;
    const std::string port = std::to_string(nobody.port());
    const std::vector<std::pair<Words, std::string>> hosts{
        {{"-H", "::1", "-p", port}, "[::1]:" + port},
        {{"-H", "[::1]", "-p", port}, "[::1]:" + port},
        {{"-H", "[::1]:" + port}, "[::1]:" + port},
        {{"-H", "fe80::1%lo", "-p", port}, "[fe80::1%lo]:" + port},
        {{"--host", "127.0.0.1:" + port}, "127.0.0.1:" + port},
        {{"--host=localhost", "--port=" + port}, "localhost:" + port},
        {{"-H", "localhost:" + port, "-p", port}, "localhost:" + port},
    };
    for (const auto& [words, address] : hosts)
        EXPECT_EQ(addressTaken(type(Words{"-v", "sampleadd"} + words)), address);
}

TEST_F(Nelkactl, PortInHostOverridesEnvironment)
{
    const std::string port = std::to_string(ClosedPort().port());
    const auto taken = [](const Words& words, const Words& environment) {
        return addressTaken(run(Words{NELKACTL, "-v", "sampleadd"} + words, environment));
    };
    EXPECT_EQ(taken({}, {"NELKA_HOST=127.0.0.1:" + port, "NELKA_PORT=1"}), "127.0.0.1:" + port);
    EXPECT_EQ(taken({"-p", port}, {"NELKA_HOST=127.0.0.1:1"}), "127.0.0.1:" + port);
    EXPECT_EQ(taken({"-H", "127.0.0.1:" + port}, {"NELKA_PORT=none"}), "127.0.0.1:" + port);
}

TEST_F(Nelkactl, InvalidHostIsRefusedWithHint)
{
    const std::vector<std::pair<std::string, std::string>> wrong{
        {"", "write a name or an address"},
        {"http://127.0.0.1", "leave out 'http://'"},
        {"127.0.0.1/x", "leave out '/x'"},
        {"127.0.0.1:80/x", "leave out '/x'"},
        {"127.0.0.1 ", "a name has letters"},
        {"mod ule", "a name has letters"},
        {"mod\nule", "a name has letters"},
        {"user@module", "a name has letters"},
        {"module?", "a name has letters"},
        {":8080", "write HOST, HOST:PORT"},
        {"module:", "write HOST, HOST:PORT"},
        {"module:80:90", "write HOST, HOST:PORT"},
        {"1::2::3", "write HOST, HOST:PORT"},
        {"module:http", "PORT must be an integer"},
        {"module:0", "PORT must be an integer"},
        {"module:65536", "PORT must be an integer"},
        {"[::1", "brackets hold"},
        {"[module]", "brackets hold"},
        {"[]", "brackets hold"},
        {"[fe80::1%]", "brackets hold"},
        {"[::1]8080", "only a port may follow"},
        {"[::1]:", "PORT must be an integer"},
    };
    for (const auto& [host, advice] : wrong) {
        const Finished finished = type({"sampleadd", "-H", host});
        EXPECT_EQ(finished.status, 2) << host << "\n" << finished;
        EXPECT_NE(finished.err.find(advice), std::string::npos) << host << "\n" << finished;
        EXPECT_EQ(std::count(finished.err.begin(), finished.err.end(), '\n'), 1) << finished;
    }
    EXPECT_EQ(type({"sampleadd", "-H", "127.0.0.1:1", "-p", "2"}).status, 2);
    EXPECT_TRUE(slave.requests().empty());
}

// The result line --------------------------------------------------------------------------------------------------

nlohmann::json object(const Finished& finished)
{
    return nlohmann::json::parse(finished.out);
}

TEST_F(Nelkactl, ResultLineHasFieldsInOrder)
{
    const auto line = [this](const Values& reply, const Words& words) {
        std::string out = answered(reply, words).out;
        const std::size_t number = out.find("\"ms\":") + 5;
        return out.replace(number, out.find_first_not_of("0123456789", number) + 2 - number, "N.N");
    };
    const std::string port = std::to_string(slave.port());
    EXPECT_EQ(line({xml::i4(0), xml::i8(42)}, {"--json", "getHoraModulo", "1"}),
              R"({"operation":"getHoraModulo","host":"127.0.0.1","port":)" + port
                  + R"(,"ending":"done","fault":0,"ms":N.N,"status":0,"hora":42})"
                    "\n");
    EXPECT_EQ(line({xml::i4(3)}, {"--json", "updateNTP"}),
              R"({"operation":"updateNTP","host":"127.0.0.1","port":)" + port
                  + R"(,"ending":"refused","fault":3,"reason":"the slave's status is 3","ms":N.N})"
                    "\n");
}

TEST_F(Nelkactl, EndingAgreesWithExitStatus)
{
    const auto ends = [this](const Step& step) {
        slave.play({step});
        const Finished finished = type({"updateNTP", "--json"});
        const nlohmann::json line = object(finished);
        return std::make_tuple(line["ending"].get<std::string>(), line["fault"].get<int>(), finished.status);
    };
    EXPECT_EQ(ends(replyFault(0, "no puedo")), std::make_tuple("faulted", 0, 3));
    EXPECT_EQ(ends(replyFault(3, "no puedo")), std::make_tuple("faulted", 3, 3));
    EXPECT_EQ(ends(replyFault(-505, "no puedo")), std::make_tuple("faulted", -505, 3));
    EXPECT_EQ(ends(replyArray({xml::i4(-504)})), std::make_tuple("refused", -504, 1));
    EXPECT_EQ(ends(replyArray({xml::i4(-505)})), std::make_tuple("refused", -505, 1));
    EXPECT_EQ(ends(resetAfterRequest()), std::make_tuple("faulted", -504, 3));
}

TEST_F(Nelkactl, ReplyWithoutTextIsFaulted)
{
    const Finished finished = answered({xml::text("x"), xml::text("y")}, {"getScanReport", "1", "2", "--json"});
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(object(finished)["ending"], "faulted");
}

TEST_F(Nelkactl, ResultLineHasDuration)
{
    slave.play({delayed(replyArray({xml::i4(0)}), std::chrono::milliseconds(120))});
    const double milliseconds = object(type({"updateNTP", "--json"}))["ms"];
    EXPECT_GE(milliseconds, 120);
    EXPECT_LT(milliseconds, 5000);
}

TEST_F(Nelkactl, UsageErrorWritesResultLine)
{
    const auto line = [this](const Words& words) {
        const Finished finished = type(words);
        EXPECT_EQ(finished.status, 2) << finished;
        nlohmann::ordered_json fields = nlohmann::ordered_json::parse(finished.out);
        EXPECT_TRUE(finished.err.ends_with(": unusable: " + fields["reason"].get<std::string>() + "\n")) << finished;
        fields["reason"] = "R";
        return fields.dump();
    };
    EXPECT_EQ(
        line({"getHoraModulo", "65536", "--json", "-H", "module3:81"}),
        R"({"operation":"getHoraModulo","host":"module3","port":81,"ending":"unusable","fault":0,"reason":"R","ms":0.0})");
    EXPECT_EQ(
        line({"--json", "sampleadd", "-H", "http://module3"}),
        R"({"operation":"sampleadd","host":"http://module3","port":0,"ending":"unusable","fault":0,"reason":"R","ms":0.0})");
    EXPECT_TRUE(line({"--json", "sampleadd", "--nosuch"}).starts_with(R"({"operation":"sampleadd",)"));
    const Finished nothing = type({"--json"});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_EQ(object(nothing)["operation"], "");
    EXPECT_EQ(object(type({"RdFicheroEsclavo", "x", "0", "--output", "-", "--json"}))["ending"], "unusable");
    EXPECT_EQ(object(type({"sampleadd", "-H", "--json"}))["ending"], "unusable");
}

// Usage errors -----------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, InvalidCommandLineIsRefused)
{
    const std::vector<Words> wrong{
        {},
        {"nosuch"},
        {"SAMPLEADD"},
        {"sampleadd", "1"},
        {"--nosuch", "sampleadd"},
        {"sampleadd", "-H"},
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
        {"wrFicheroTablasSI", "1", "2"},
        {"wrFicheroTablasSI", "1", "2", "--output", "{file}"},
    };
    for (const Words& words : wrong) {
        const Finished finished = type(words);
        const std::string typed = ::testing::PrintToString(words);
        EXPECT_EQ(finished.status, 2) << typed;
        EXPECT_EQ(finished.out, "") << typed;
        EXPECT_NE(finished.err.find("unusable: "), std::string::npos) << typed << "\n" << finished;
        EXPECT_TRUE(finished.err.ends_with(" (see nelkactl --help)\n")) << typed << "\n" << finished;
    }
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, UsageErrorNamesOperationHostAndPort)
{
    EXPECT_EQ(type({"getHoraModulo", "65536", "-H", "module3", "-p", "81"}).err,
              "nelkactl: getHoraModulo at module3 port 81: unusable: N must be an integer, 0 to 65535, not '65536' "
              "(see nelkactl --help)\n");
}

// Messages ---------------------------------------------------------------------------------------------------------

TEST_F(Nelkactl, HelpListsOperationsByFamilyAndExitStatuses)
{
    const Finished finished = type({"--help"});
    EXPECT_EQ(finished.status, 0);
    std::istringstream lines(finished.out);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80U) << line;
    for (const std::string& name : operationsNamedIn(finished.out)) {
        const std::size_t gist = finished.out.find("\n  " + name + " ") + 33;
        EXPECT_TRUE(std::isupper(static_cast<unsigned char>(finished.out.at(gist)))) << name;
    }
    std::size_t last = 0;
    for (const char* family :
         {"Core", "Database", "Identity", "Administration", "Tuning", "Scanning", "Hardware", "Files", "Tables"}) {
        const std::size_t place = finished.out.find(std::string("\n") + family + ":\n");
        EXPECT_GT(place, last) << family;
        last = place;
    }
    for (const char* status : {"0 done", "1 the slave", "2 usage", "3 transport", "4 time-out", "SIGINT"})
        EXPECT_NE(finished.out.find(status), std::string::npos) << status;
}

TEST_F(Nelkactl, TuningHelpOffersOnlyWhatIsSent)
{
    const std::string help = type({"sintonizarCanalTerr", "--help"}).out;
    for (const char* sent : {"--frecuencia ", "--parametroTerr ", "--parametroComun "})
        EXPECT_NE(help.find(sent), std::string::npos) << sent;
    for (const char* other : {"--frecuenciaIntermedia", "--parametroSat"})
        EXPECT_EQ(help.find(other), std::string::npos) << other;
    EXPECT_EQ(type({"sintonizarCanalTerr", "1", "1", "--parametroSat", "1"}).status, 2);
}

// Whether a text contains a name as a whole word.
bool names(const std::string& text, const std::string& name)
{
    const auto inWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '-'; };
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at + 1))
        if ((at == 0 || !inWord(text[at - 1])) && !inWord(text[at + name.size()]))
            return true;
    return false;
}

TEST_F(Nelkactl, HelpAndManPageNameEveryOperationAndOption)
{
    const std::string help = type({"--help"}).out;
    Words all = operationsNamedIn(help);
    std::set<std::string> options{
        "-H", "-p",     "-t",       "-d",      "--json",    "-v",      "--trace",       "--hosts",
        "-j", "--jobs", "--every",  "--count", "--changes", "--retry", "--retry-delay", "--retry-writes",
        "-h", "--help", "--version"};
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
    all.insert(all.end(), options.begin(), options.end());
    for (const std::string& name : all)
        EXPECT_TRUE(names(page, name)) << name;
}

TEST_F(Nelkactl, UnknownOperationGetsSuggestion)
{
    const auto meant = [this](const std::string& name) {
        const std::string words = type({name}).err;
        const std::size_t start = words.find("; did you mean ");
        return start == std::string::npos ? "" : words.substr(start + 15, words.find('?') - start - 15);
    };
    EXPECT_EQ(meant("gettable"), "getTable");
    EXPECT_EQ(meant("getTabel"), "getTable");
    EXPECT_EQ(meant("sintonizarCanalTer"), "sintonizarCanalTerr");
    EXPECT_EQ(meant("SCAN"), "scan");
    EXPECT_EQ(meant("rdFicheroEsclavo"), "RdFicheroEsclavo");
    EXPECT_EQ(meant("volume"), "");
}

// Completion -------------------------------------------------------------------------------------------------------

class NelkactlCompletion : public ::testing::TestWithParam<const char*> {
protected:
    /// The completions of the last of these words, in alphabetical order.
    static Words offered(const Words& words)
    {
        const std::string shell = GetParam();
        if (!std::filesystem::exists("/usr/bin/" + shell))
            return {"no " + shell};
        const std::string scripts = COMPLETIONS;
        std::string typed;
        for (const std::string& word : words)
            typed += " '" + word + "'";
        const std::string count = std::to_string(words.size());
        std::string script;
        if (shell == "bash")
            script = "source " + scripts + "/nelkactl.bash; COMP_WORDS=(" NELKACTL + typed + "); COMP_CWORD=" + count
                     + "; _nelkactl; printf '%s\\n' \"${COMPREPLY[@]}\"";
        else if (shell == "zsh") // its completion functions need a terminal
            script = "compset() { return 1 }; _files() { print -l *(N) }; _hosts() { print localhost };"
                     "_describe() { print -rl -- \"${(@)candidates%%:*}\" }; words=(" NELKACTL
                     + typed + "); CURRENT=" + std::to_string(words.size() + 1) + "; source " + scripts + "/_nelkactl";
        else // fish completes commands found under that name
            script = "set PATH (dirname " NELKACTL ") $PATH; source " + scripts
                     + "/nelkactl.fish; complete -C \"nelkactl"
                     + typed.substr(0, typed.size() - 1 - words.back().size() - 1) + words.back() + "\" | cut -f 1";
        const TemporaryFolder folder;
        fileWith(folder.path / "datei", "");
        const Finished finished = run({"/usr/bin/env", "-C", folder.path, "HOME=" + folder.path.string(),
                                       "/usr/bin/" + shell, shell == "zsh" ? "-fc" : "-c", script});
        EXPECT_EQ(finished.err, "") << script;
        std::istringstream lines(finished.out);
        std::set<std::string> all;
        for (std::string line; std::getline(lines, line);)
            if (!line.empty())
                all.insert(line);
        return {all.begin(), all.end()};
    }
};

TEST_P(NelkactlCompletion, OffersOperationsOptionsAndValues)
{
    if (offered({""}) == Words{std::string("no ") + GetParam()})
        GTEST_SKIP() << "no " << GetParam();
    Words operations = operationsNamedIn(run({NELKACTL, "--help"}).out);
    std::sort(operations.begin(), operations.end());
    EXPECT_EQ(offered({""}), operations);
    EXPECT_EQ(offered({"sinto"}), (Words{"sintonizarCanalSat", "sintonizarCanalTerr"}));
    EXPECT_EQ(offered({"-p", "1", "--json", "scan", "1", "--int"}), (Words{"--interval"}));
    EXPECT_EQ(offered({"rdFicheroResumen", "--o"}), (Words{"--output"}));
    EXPECT_EQ(offered({"sampleadd", "--o"}), (Words{}));
    EXPECT_EQ(offered({"sintonizarCanalTerr", "1", ""}), (Words{"0", "1", "false", "true"}));
    EXPECT_EQ(offered({"sintonizarCanalTerr", "--fre"}), (Words{"--frecuencia"}));
    EXPECT_EQ(offered({"RdFicheroEsclavo", "/x", ""}), (Words{"0", "1"}));
    EXPECT_EQ(offered({"--timeout", ""}), (Words{"5000"}));
    EXPECT_EQ(offered({"rdFicheroResumen", "--output", "da"}), (Words{"datei"}));
}

TEST(NelkactlComplete, OffersValueAfterEqualsSign)
{
    const std::string lines = run({NELKACTL, "--complete", "--timeout="}).out;
    EXPECT_TRUE(lines.starts_with("--timeout=5000\t")) << lines;
}

INSTANTIATE_TEST_SUITE_P(Shell, NelkactlCompletion, ::testing::Values("bash", "zsh", "fish"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_F(Nelkactl, PrintsVersion)
{
    EXPECT_EQ(type({"--version"}).out, "nelkactl " NELKANET_VERSION "\n");
}

TEST_F(Nelkactl, FailureIsOneLine)
{
    EXPECT_EQ(answered({xml::i4(3)}, {"updateNTP"}).err, "nelkactl: updateNTP at 127.0.0.1 port "
                                                             + std::to_string(slave.port())
                                                             + ": refused: the slave's status is 3\n");
}

TEST_F(Nelkactl, FailureHasReasonInWords)
{
    const auto reason = [this](const std::optional<Step>& step, const Words& words) {
        if (step)
            slave.play({*step});
        const std::string line = type(words).err;
        const std::size_t start = line.find(": faulted: ");
        return start == std::string::npos ? line : line.substr(start + 11, line.find(" (") - start - 11);
    };
    const Step tooLarge = replyArray({xml::i4(0), xml::text(std::string(1'048'576, 'x'))});
    const Step answer = replyArray({xml::i4(0)});
    const std::string nameOfLongLabel(64, 'x'); // too long to be resolved
    EXPECT_EQ(reason({}, {"updateNTP", "-H", nameOfLongLabel}), "the name does not resolve");
    EXPECT_EQ(reason({}, {"updateNTP", "-p", std::to_string(ClosedPort().port())}), "nobody listens there");
    EXPECT_EQ(reason(resetAfterRequest(), {"updateNTP"}), "the connection was cut");
    EXPECT_EQ(reason(cutAt(answer, 0, Step::Then::close), {"updateNTP"}), "the connection was cut");
    EXPECT_EQ(reason(cutAt(answer, answer.bytes.size() - 9, Step::Then::close), {"updateNTP"}),
              "the connection was cut");
    EXPECT_EQ(reason(serverError(), {"updateNTP"}), "something other than a slave answers there");
    EXPECT_EQ(reason(ok("<html/>"), {"updateNTP"}), "the reply is not XML-RPC");
    EXPECT_EQ(reason(tooLarge, {"generarJSONWeb", "1"}), "the reply is larger than 1 MiB");
    EXPECT_EQ(reason({}, {"ejecutar_script", "\xff"}), "a text is not valid UTF-8, or has a character beyond U+FFFD");
    EXPECT_EQ(reason({}, {"DlFicheroEsclavo", "x"}), "no DlFicheroEsclavo can ever be sent");
}

TEST_F(Nelkactl, FailureReportsUnreachableHost)
{
    const Words alone{"/usr/bin/unshare", "--map-root-user", "--net"};
    if (run(alone + Words{"/bin/true"}).status != 0)
        GTEST_SKIP() << "no right to make a network namespace";
    EXPECT_NE(run(alone + Words{NELKACTL, "-H", "10.1.2.3", "updateNTP"}).err.find(": no route to the host"),
              std::string::npos);
}

TEST_F(Nelkactl, VerboseRefusalExplainsStatusOfSimulatedSlave)
{
    EXPECT_NE(answered({xml::i4(4)}, {"updateNTP", "-v"}).err.find("status is 4 (nelkaslave's storage error)\n"),
              std::string::npos);
    EXPECT_TRUE(answered({xml::i4(5)}, {"updateNTP", "-v"}).err.ends_with("status is 5\n"));
    EXPECT_TRUE(answered({xml::i4(4)}, {"updateNTP"}).err.ends_with("status is 4\n"));
}

TEST_F(Nelkactl, QuietFailureIsSilent)
{
    for (const char* option : {"-q", "--quiet"}) {
        const Finished finished = answered({xml::i4(3)}, {"updateNTP", option});
        EXPECT_EQ(finished.status, 1);
        EXPECT_EQ(finished.err, "");
    }
}

TEST_F(Nelkactl, VerboseWritesAllLinesOfLibrary)
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

TEST_F(Nelkactl, TraceWritesXmlToStandardError)
{
    const Finished finished = answered({xml::i4(15)}, {"sampleadd", "--trace"});
    EXPECT_EQ(finished.out, "resultado: 15\n");
    EXPECT_NE(finished.err.find("<methodName>sample.add</methodName>"), std::string::npos) << finished;
    EXPECT_NE(finished.err.find("<methodResponse>"), std::string::npos) << finished;
}

TEST_F(Nelkactl, UnwritableResultEndsWithTwo)
{
    slave.play({replyArray({xml::i4(15)})});
    const Finished full = run({"/bin/sh", "-c", NELKACTL " sampleadd > /dev/full"}, environment());
    EXPECT_EQ(full.status, 2) << full;
    EXPECT_NE(full.lastWords().find(": unusable: cannot write standard output: "), std::string::npos) << full;
    const Finished closed = run({"/bin/sh", "-c", NELKACTL " sampleadd >&-"}, environment());
    EXPECT_EQ(closed.status, 2) << closed;
}

} // namespace
