// Scanning: initInputScan, statusInputScan, getScanReport, cancelInputScan.
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Scanning, RemoteOperation, family("scanning"), ::testing::PrintToStringParamName());

class ScanTest : public FamilyTest {
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

using InitInputScan = ScanTest;
using StatusInputScan = ScanTest;
using GetScanReport = ScanTest;

TEST_F(InitInputScan, BandIsLoggedAsOneRawCharacter)
{
    for (const int banda : {1, 2, 10, 65, 127, 128, 200, 255}) {
        init(static_cast<unsigned char>(banda), 0);
        EXPECT_EQ(log.lines()[0], debug(std::string("initInputScan : Entrada: 1 tipoScan: 2 bandaScan: ")
                                        + static_cast<char>(banda) + "\n"));
    }
}

TEST_F(InitInputScan, BandIsSentUnsigned)
{
    for (const int banda : {0, 2, 127, 128, 255}) {
        init(static_cast<unsigned char>(banda), 0);
        EXPECT_EQ(slave.calls()[0].parameters,
                  (std::vector<std::string>{"i4 1", "i4 2", "i4 " + std::to_string(banda)}));
    }
}

TEST_F(InitInputScan, LogLineEndsAtBandZero)
{
    init(0, -2);
    const std::string line = "initInputScan : Entrada: 1 tipoScan: 2 bandaScan: ";
    EXPECT_EQ(log.linesWithoutNumbers(), replied(line, {refusedLine(line, -2), place()}));
}

TEST_F(GetScanReport, EmptyReportIsDelivered)
{
    askReport({xml::i4(0), xml::text("")});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(report, "");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(GetScanReport, ReportKeepsLinesAndMarkup)
{
    const std::string text = "<canal id=\"1\">\n\tRTVE & Telefónica \xE2\x82\xAC\n</canal>\n";
    askReport({xml::i4(0), xml::text(text)});
    EXPECT_EQ(report, text);
}

TEST_F(GetScanReport, LineBreaksBecomeLineFeeds)
{
    // xmlrpc-c normalises line breaks.
    askReport({xml::i4(0), xml::text("uno\r\ndos\rtres\n")});
    EXPECT_EQ(report, "uno\ndos\ntres\n");
}

TEST_F(GetScanReport, LongReportArrivesWhole)
{
    std::string text;
    while (text.size() < 1'000'000)
        text += "canal " + std::to_string(text.size()) + "\n";
    askReport({xml::i4(0), xml::text(text)});
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_TRUE(report == text) << report.size() << " of " << text.size() << " bytes";
}

TEST_F(GetScanReport, ShortReportReplacesLongerOne)
{
    report.assign(10'000, 'x');
    askReport({xml::i4(0), xml::text("corto")});
    EXPECT_EQ(report, "corto");
}

TEST_F(StatusInputScan, SendsExtremeIntegers)
{
    answerWith({xml::i4(0)});
    client.statusInputScan(INT_MIN, INT_MAX, status, ampleTimeout);
    EXPECT_EQ(slave.calls()[0].parameters, (std::vector<std::string>{"i4 -2147483648", "i4 2147483647"}));
    EXPECT_EQ(log.lines()[0], debug("statusInputScan : Entrada: -2147483648 idScan: 2147483647\n"));
}

} // namespace
