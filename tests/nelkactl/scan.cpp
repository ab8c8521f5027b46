// nelkactl: interruption, a whole scan, a terminal, and many slaves.
#include <csignal>
#include <functional>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "nelkactl.h"

using namespace support;

namespace {

// Interruption -----------------------------------------------------------------------------------------------------

void await(const std::function<bool()>& condition)
{
    for (int tries = 0; tries < 10000 && !condition(); ++tries)
        usleep(1000);
}

// A program that reads a file before it calls: it catches SIGINT by then.
void interruptReader(Program& program)
{
    await([&program] {
        const std::string status = contents("/proc/" + std::to_string(program.pid()) + "/status");
        return (std::stoull(status.substr(status.find("SigCgt:") + 7), nullptr, 16) >> (SIGINT - 1) & 1) != 0;
    });
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_NE(finished.lastWords().find(": interrupted: SIGINT"), std::string::npos) << finished;
}

TEST_F(Nelkactl, EndsWithFiveWhenItIsInterruptedWhileItReads)
{
    Program program(command({"wrFicheroTablasSI", "1", "2", "--input", "-"}), environment(), std::nullopt);
    interruptReader(program);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, EndsWithFiveWhenItIsInterruptedWhileItReadsAPipeThatNobodyWritesTo)
{
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    Program program(command({"wrFicheroTablasSI", "1", "2", "--input", "{file}"}), environment());
    interruptReader(program);
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(Nelkactl, EndsWithFiveWhenItIsInterruptedWhileAnotherProcessWritesToItsOutput)
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
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_EQ(contents(file()), "");
    close(output);
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

TEST_F(NelkactlScan, IsDoneAtTheStatusAskedFor)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(5)}), replyArray({xml::i4(0), xml::text("r")})});
    EXPECT_EQ(type(words + Words{"--until", "5"}).status, 0);
    EXPECT_EQ(procedures().size(), 3U);
}

TEST_F(NelkactlScan, ThatIsRefusedEndsWithOne)
{
    slave.play({replyArray({xml::i4(-2)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"refused","fault":-2})");
}

TEST_F(NelkactlScan, EndsWithOneAtANegativeStatus)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(50)}), replyArray({xml::i4(-3)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"refused","fault":-3,"idScan":7,"status":-3})");
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "StatusInputScan"}));
}

TEST_F(NelkactlScan, ThatTakesTooLongToAnswerEndsWithFour)
{
    slave.play({replyArray({xml::i4(7)}), silence()});
    const Finished finished = type(words + Words{"-t", "50"});
    EXPECT_EQ(finished.status, 4) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"timed out","fault":-505})");
}

TEST_F(NelkactlScan, WhoseReportIsNoTextEndsWithThree)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(100)}), replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"faulted","fault":-502})");
}

TEST_F(NelkactlScan, ThatIsInterruptedInACallIsCancelledOnTheSlave)
{
    slave.play({replyArray({xml::i4(7)}), silence(), replyArray({xml::i4(0)})});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"scan","ending":"interrupted","fault":-505})");
    EXPECT_NE(finished.lastWords().find(": interrupted: SIGINT, the scan is cancelled"), std::string::npos) << finished;
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "CancelInputScan"}));
    EXPECT_EQ(slave.calls().at(2).parameters, (Words{"i4 1"}));
}

TEST_F(NelkactlScan, ThatIsInterruptedBetweenCallsIsCancelledOnTheSlave)
{
    slave.play({replyArray({xml::i4(7)}), replyArray({xml::i4(0)})});
    Program program(command({"scan", "1", "2", "3", "--interval", "60000", "-v"}), environment());
    for (int answered = 0; answered < 2;)
        answered += program.errorLine().ends_with("INICIO ALARMA 0");
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_EQ(finished.err.find("TIMEOUT POR SIGNAL"), std::string::npos) << finished;
    EXPECT_EQ(procedures(), (Words{"InitInputScan", "StatusInputScan", "CancelInputScan"}));
}

TEST_F(NelkactlScan, ThatCannotBeCancelledSaysSo)
{
    slave.play({replyArray({xml::i4(7)}), silence(), replyArray({xml::i4(4)})});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    program.signal(SIGINT);
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, 5) << finished;
    EXPECT_NE(finished.lastWords().find("the scan could not be cancelled: the slave's status is 4"), std::string::npos)
        << finished;
}

// Of a terminal, and of many slaves: scripts that say what they expect -----------------------------------------------

class NelkactlScript : public ::testing::TestWithParam<const char*> {};

TEST_P(NelkactlScript, Succeeds)
{
    const Finished finished = run({"/usr/bin/python3", SCRIPT, NELKACTL, GetParam()});
    EXPECT_EQ(finished.status, 0) << finished;
}

INSTANTIATE_TEST_SUITE_P(Nelkactl, NelkactlScript,
                         ::testing::Values("a_terminal_sees_a_progress_bar_that_goes_away",
                                           "no_terminal_sees_no_progress_bar",
                                           "the_log_takes_the_place_of_the_progress_bar",
                                           "an_interrupt_key_cancels_the_scan", "fifty_slaves_answer_in_whole_lines",
                                           "long_lines_of_many_processes_stay_whole"),
                         [](const auto& instance) { return std::string(instance.param); });

} // namespace
