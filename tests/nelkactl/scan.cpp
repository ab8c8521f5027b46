// nelkactl: interruption, a whole scan, a terminal, and many slaves.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nelkactl.h"
#include "support/signals.h"

using namespace support;

namespace {

// Interruption -----------------------------------------------------------------------------------------------------

void await(const std::function<bool()>& condition)
{
    for (int tries = 0; tries < 10000 && !condition(); ++tries)
        usleep(1000);
}

// Waits until the program, which reads a file first, catches SIGINT.
void interruptReader(Program& program)
{
    await([&program] {
        const std::string status = contents("/proc/" + std::to_string(program.pid()) + "/status");
        return (std::stoull(status.substr(status.find("SigCgt:") + 7), nullptr, 16) >> (SIGINT - 1) & 1) != 0;
    });
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished;
    EXPECT_NE(finished.lastWords().find(": interrupted: SIGINT"), std::string::npos) << finished;
}

TEST_F(Nelkactl, DiesOfSigintWhileReading)
{
    Program program(command({"wrFicheroTablasSI", "1", "2", "--input", "-"}), environment(), std::nullopt);
    interruptReader(program);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, DiesOfSigintWhileReadingSilentPipe)
{
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    Program program(command({"wrFicheroTablasSI", "1", "2", "--input", "{file}"}), environment());
    interruptReader(program);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, DiesOfSigintWhileOutputIsLocked)
{
    const int output = open(file().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(lockf(output, F_LOCK, 0), 0);
    slave.play({replyArray({xml::i4(15)})});
    Program program({"/bin/sh", "-c", "exec " NELKACTL " sampleadd > " + file()}, environment());
    await([waiting = "-> POSIX  ADVISORY  WRITE " + std::to_string(program.pid()) + " "] {
        return contents("/proc/locks").find(waiting) != std::string::npos;
    });
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished;
    EXPECT_EQ(contents(file()), "");
    close(output);
}

TEST_F(Nelkactl, DiesOfSignalThatEndsIt)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        slave.play({silence()});
        const BlockedSignals inherited({signal}); // nelkactl unblocks it
        Program program(command({"updateNTP", "--json", "-t", "30000"}), environment());
        slave.awaitRequests(1);
        program.signal(signal);
        const Finished finished = program.finish();
        EXPECT_EQ(finished.status, -signal) << finished;
        EXPECT_EQ(essence(finished.out), R"({"operation":"updateNTP","ending":"interrupted","fault":-505})");
        EXPECT_TRUE(finished.err.ends_with(std::string(": interrupted: SIG") + sigabbrev_np(signal) + "\n"))
            << finished;
    }
}

TEST_F(Nelkactl, SigintEndsLoopOfShell)
{
    slave.play({silence()});
    // A shell goes on if its child catches a SIGINT and exits.
    Program shell({"/bin/bash", "-c", "for i in 1 2; do " NELKACTL " updateNTP -t 30000; done; echo went on"},
                  environment());
    slave.awaitRequests(1);
    const std::string process = std::to_string(shell.pid());
    shell.signal(SIGINT); // it waits for the end of its child
    kill(std::stoi(contents("/proc/" + process + "/task/" + process + "/children")), SIGINT);
    const Finished finished = shell.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished;
    EXPECT_EQ(finished.out, "");
    EXPECT_EQ(slave.requests().size(), 1U);
}

TEST_F(Nelkactl, KeepsIgnoringIgnoredSignals)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        slave.play({delayed(replyArray({xml::i4(0)}), std::chrono::milliseconds(100))});
        const std::string name = sigabbrev_np(signal);
        Program program({"/bin/sh", "-c", "trap '' " + name + "; exec " NELKACTL " updateNTP"}, environment());
        slave.awaitRequests(1);
        program.signal(signal);
        EXPECT_EQ(program.finish().status, 0) << name;
    }
}

// A whole scan -----------------------------------------------------------------------------------------------------

class NelkactlScan : public Nelkactl {
protected:
    const Words words{"scan", "1", "2", "3", "--interval", "10", "--json"};

    Words procedures() const
    {
        Words all;
        for (const xml::Request& call : slave.calls())
            all.push_back(call.method);
        return all;
    }
};

TEST_F(NelkactlScan, StartsPollsAndReports)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(0)}), replyArray({xml::i4(99)}),
                replyArray({xml::i4(101)}), replyArray({xml::i4(0), xml::text("tres canales")})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out),
              R"({"operation":"scan","ending":"done","fault":0,"idScan":7,"status":101,"report":"tres canales"})");
    EXPECT_EQ(finished.err, "") << "no progress bar without a terminal";
    EXPECT_EQ(procedures(),
              (Words{"InitInputScan", "StatusInputScan", "StatusInputScan", "StatusInputScan", "getScanReport"}));
    EXPECT_EQ(slave.calls()[0].parameters, (Words{"i4 1", "i4 2", "i4 3"}));
    EXPECT_EQ(slave.calls()[1].parameters, (Words{"i4 1", "i4 7"}));
    EXPECT_EQ(slave.calls()[4].parameters, (Words{"i4 1", "i4 7"}));
}

TEST_F(NelkactlScan, EndsAtGivenStatus)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(5)}), replyArray({xml::i4(0), xml::text("r")})});
    EXPECT_EQ(type(words + Words{"--until", "5"}).status, 0);
    EXPECT_EQ(procedures().size(), 3U);
}

TEST_F(NelkactlScan, RefusedStartEndsWithOne)
{
    slave.play({replyArray({xml::i4(-2)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"refused","fault":-2})");
    EXPECT_EQ(procedures(), (Words{"InitInputScan"}));
}

const Words startPollCancel{"InitInputScan", "StatusInputScan", "CancelInputScan"};

TEST_F(NelkactlScan, NegativeStatusEndsWithOneAndCancels)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(-3)}), replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"refused","fault":-3,"idScan":7,"status":-3})");
    EXPECT_TRUE(finished.err.ends_with(": refused: the slave's status is -3; the scan is cancelled\n")) << finished;
    EXPECT_EQ(procedures(), startPollCancel);
}

TEST_F(NelkactlScan, LostPollsAreRepeated)
{
    const Step status = replyArray({xml::i4(50)});
    slave.play({replyArray({xml::i4(7)}), silence(), resetAfterRequest(), serverError(), status, silence(), silence(),
                silence(), replyArray({xml::i4(100)}), silence(), replyArray({xml::i4(0), xml::text("r")})});
    const Finished finished = type(words + Words{"-t", shortTimeout()});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out),
              R"({"operation":"scan","ending":"done","fault":0,"idScan":7,"status":100,"report":"r"})");
    EXPECT_EQ(finished.err, "");
}

TEST_F(NelkactlScan, GivesUpAfterRetriesAndCancels)
{
    for (const auto& [retries, polls] : {std::pair{Words{}, 4}, {{"--retry", "1"}, 2}, {{"--retry", "0"}, 1}}) {
        std::vector<Step> script(1 + static_cast<std::size_t>(polls), silence());
        script.front() = replyArray({xml::i4(7)});
        script.push_back(replyArray({xml::i4(0)}));
        slave.play(script);
        const Finished finished = type(words + Words{"-t", shortTimeout()} + retries);
        EXPECT_EQ(finished.status, 4) << finished;
        EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"timed out","fault":-505,"idScan":7})");
        EXPECT_TRUE(
            finished.err.ends_with(": timed out: no answer within " + shortTimeout() + " ms; the scan is cancelled\n"))
            << finished;
        EXPECT_EQ(std::count(finished.err.begin(), finished.err.end(), '\n'), 1);
        EXPECT_EQ(procedures().size(), static_cast<std::size_t>(polls) + 2);
        EXPECT_EQ(procedures().back(), "CancelInputScan");
    }
}

TEST_F(NelkactlScan, FaultResponseIsNotRetried)
{
    slave.play({replyArray({xml::i4(7)}), replyFault(-504, "no"), replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(procedures(), startPollCancel);
}

TEST_F(NelkactlScan, UnansweredStartIsCancelled)
{
    slave.play({silence(), replyArray({xml::i4(0)})});
    const Finished finished = type(words + Words{"-t", shortTimeout()});
    EXPECT_EQ(finished.status, 4) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"timed out","fault":-505})");
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "CancelInputScan"}));
}

TEST_F(NelkactlScan, InvalidReportEndsWithThree)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(100)}), replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"faulted","fault":-502,"idScan":7,"status":100})");
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "getScanReport"}));
}

TEST_F(NelkactlScan, SignalDuringCallCancels)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        slave.play({replyArray({xml::i4(7)}), silence(), replyArray({xml::i4(0)})});
        Program program(command(words), environment());
        slave.awaitRequests(2);
        program.signal(signal);
        const Finished finished = program.finish();
        EXPECT_EQ(finished.status, -signal) << finished;
        EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"interrupted","fault":-505,"idScan":7})");
        EXPECT_TRUE(finished.err.ends_with(std::string(": interrupted: SIG") + sigabbrev_np(signal)
                                           + "; the scan is cancelled\n"))
            << finished;
        EXPECT_EQ(procedures(), startPollCancel);
        EXPECT_EQ(slave.calls().at(2).parameters, (Words{"i4 1"}));
    }
}

TEST_F(NelkactlScan, SignalBetweenCallsCancels)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(0)})});
    Program program(command({"scan", "1", "2", "3", "--interval", "60000", "-v"}), environment());
    for (int answered = 0; answered < 2;)
        answered += program.errorLine().ends_with("INICIO ALARMA 0");
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished;
    EXPECT_EQ(finished.err.find("TIMEOUT POR SIGNAL"), std::string::npos) << finished;
    EXPECT_EQ(procedures(), startPollCancel);
}

TEST_F(NelkactlScan, FailedCancellationIsReported)
{
    // Later than the first repetition of the signal, which must not cut the cancellation.
    const Step refusal = delayed(replyArray({xml::i4(4)}), std::chrono::milliseconds(250));
    slave.play({replyArray({xml::i4(7)}), silence(), refusal});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished;
    EXPECT_TRUE(finished.err.ends_with("SIGINT; the scan could not be cancelled: the slave's status is 4\n"))
        << finished;
}

// Terminals and many slaves: nelkactl.py -----------------------------------------------------------------------------

class NelkactlScript : public ::testing::TestWithParam<const char*> {};

TEST_P(NelkactlScript, Succeeds)
{
    const Finished finished = run({"/usr/bin/python3", SCRIPT, NELKACTL, GetParam()});
    EXPECT_EQ(finished.status, 0) << finished;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, NelkactlScript,
                         ::testing::Values("terminal_shows_fleet_progress", "terminal_shows_transient_progress_bar",
                                           "progress_bar_fits_terminal", "progress_bar_shows_time_left",
                                           "progress_bar_shows_hours_left", "scan_with_lines_shows_no_progress_bar",
                                           "words_replace_progress_bar", "interrupt_key_cancels_scan",
                                           "fifty_slaves_answer_in_whole_lines",
                                           "long_lines_of_many_processes_stay_whole"),
                         [](const auto& instance) { return std::string(instance.param); });

} // namespace
