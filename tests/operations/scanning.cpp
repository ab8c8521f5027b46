// Scanning: initInputScan, statusInputScan, getScanReport, cancelInputScan.
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Scanning, RemoteOperation, family("scanning"), ::testing::PrintToStringParamName());

class AScan : public FamilyTest {
protected:
    int status = 99;
    std::string report = "preset";

    void init(unsigned char bandaScan, int answer)
    {
        answerWith({xml::i4(answer)});
        client.initInputScan(1, 2, status, bandaScan, ampleTimeout);
    }

    void askReport(const std::vector<std::string>& values)
    {
        answerWith(values);
        client.getScanReport(1, 4, report, status, ampleTimeout);
    }
};

TEST_F(AScan, SendsTheseBytesToStart)
{
    init(65, 0);
    EXPECT_EQ(slave.bodies().at(0), requestBody("InitInputScan", {"<i4>1</i4>", "<i4>2</i4>", "<i4>65</i4>"}));
}

TEST_F(AScan, SendsTheseBytesForItsStatus)
{
    answerWith({xml::i4(0)});
    client.statusInputScan(1, 4, status, ampleTimeout);
    EXPECT_EQ(slave.bodies().at(0), requestBody("StatusInputScan", {"<i4>1</i4>", "<i4>4</i4>"}));
}

TEST_F(AScan, SendsTheseBytesForItsReport)
{
    askReport({xml::i4(0), xml::text("texto")});
    EXPECT_EQ(slave.bodies().at(0), requestBody("getScanReport", {"<i4>1</i4>", "<i4>4</i4>"}));
}

TEST_F(AScan, SendsTheseBytesToStop)
{
    answerWith({xml::i4(0)});
    client.cancelInputScan(1, ampleTimeout);
    EXPECT_EQ(slave.bodies().at(0), requestBody("CancelInputScan", {"<i4>1</i4>"}));
}

TEST_F(AScan, LogsItsBandAsOneRawCharacter)
{
    for (const int banda : {1, 2, 10, 65, 127, 128, 200, 255}) {
        init(static_cast<unsigned char>(banda), 0);
        EXPECT_EQ(log.lines()[0], debug(std::string("initInputScan : Entrada: 1 tipoScan: 2 bandaScan: ")
                                        + static_cast<char>(banda) + "\n"));
    }
}

TEST_F(AScan, SendsItsBandWithoutSign)
{
    for (const int banda : {0, 2, 127, 128, 255}) {
        init(static_cast<unsigned char>(banda), 0);
        EXPECT_EQ(slave.calls()[0].parameters,
                  (std::vector<std::string>{"i4 1", "i4 2", "i4 " + std::to_string(banda)}));
    }
}

TEST_F(AScan, OfBand0EndsItsLinesAtTheBand)
{
    init(0, -2);
    const std::string line = "initInputScan : Entrada: 1 tipoScan: 2 bandaScan: ";
    EXPECT_EQ(log.linesWithoutNumbers(), replied(line, {refusedLine(line, -2), place()}));
}

TEST_F(AScan, HandsOutItsIdentifierWithoutAnErrorLine)
{
    init(2, 7);
    EXPECT_EQ(status, 7);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(AScan, ThatIsAnsweredWith1IsAnErrorOnlyWhenCancelled)
{
    answerWith({xml::i4(1)});
    client.statusInputScan(1, 4, status, ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    client.cancelInputScan(1, ampleTimeout);
    EXPECT_EQ(client.getFault(), 1);
}

TEST_F(AScan, WithAnEmptyReportIsReportedAsTheEmptyText)
{
    askReport({xml::i4(0), xml::text("")});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(report, "");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(AScan, ThatFailedStillDeliversTheTextOfItsReport)
{
    askReport({xml::i4(-1), xml::text("entrada sin señal")});
    EXPECT_EQ(status, -1);
    EXPECT_EQ(report, "entrada sin señal");
    EXPECT_EQ(client.getFault(), -1);
}

TEST_F(AScan, DeliversItsReportWithLinesAndMarkup)
{
    const std::string text = "<canal id=\"1\">\n\tRTVE & Telefónica \xE2\x82\xAC\n</canal>\n";
    askReport({xml::i4(0), xml::text(text)});
    EXPECT_EQ(report, text);
}

TEST_F(AScan, DeliversEveryLineBreakOfItsReportAsALineFeed)
{
    // xmlrpc-c keeps its texts that way.
    askReport({xml::i4(0), xml::text("uno\r\ndos\rtres\n")});
    EXPECT_EQ(report, "uno\ndos\ntres\n");
}

TEST_F(AScan, DeliversALongReportWhole)
{
    std::string text;
    while (text.size() < 1'000'000)
        text += "canal " + std::to_string(text.size()) + "\n";
    askReport({xml::i4(0), xml::text(text)});
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_TRUE(report == text) << report.size() << " of " << text.size() << " bytes";
}

TEST_F(AScan, ReplacesALongerReport)
{
    report.assign(10'000, 'x');
    askReport({xml::i4(0), xml::text("corto")});
    EXPECT_EQ(report, "corto");
}

TEST_F(AScan, WithoutAReportRaisesWithItsTimerStoppedAndNoErrorLine)
{
    client.setFault(5);
    EXPECT_THROW(askReport({xml::i4(4)}), std::logic_error);
    EXPECT_EQ(report, "preset");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.lines(), replied("getScanReport : Entrada: 1 idScan: 4\n"));
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
}

TEST_F(AScan, WhoseReportIsNoTextHasItsStatusWrittenBeforeItRaises)
{
    EXPECT_THROW(askReport({xml::i4(4), xml::nil()}), std::logic_error);
    EXPECT_EQ(status, 4);
    EXPECT_EQ(report, "preset");
}

TEST_F(AScan, WithoutAReportKeepsTheReply)
{
    EXPECT_THROW(askReport({xml::i4(4)}), std::logic_error);
    EXPECT_EQ(spy.resultsReleased, 0);
}

TEST_F(AScan, WithAReportReleasesTheReplyWhateverTheStatus)
{
    for (const int answer : {0, 3, -3}) {
        askReport({xml::i4(answer), xml::text("texto")});
        EXPECT_EQ(spy.resultsReleased, 1);
    }
}

TEST_F(AScan, SendsTheSmallestAndTheLargestIntegers)
{
    answerWith({xml::i4(0)});
    client.statusInputScan(INT_MIN, INT_MAX, status, ampleTimeout);
    EXPECT_EQ(slave.calls()[0].parameters, (std::vector<std::string>{"i4 -2147483648", "i4 2147483647"}));
    EXPECT_EQ(log.lines()[0], debug("statusInputScan : Entrada: -2147483648 idScan: 2147483647\n"));
}

} // namespace
