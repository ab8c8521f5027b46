// Hardware: getFPGASOC, changeFPGASOC, generarJSONWeb.
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Hardware, RemoteOperation, family("hardware"), ::testing::PrintToStringParamName());

class GetFPGASOC : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer)
    {
        answerWith(answer);
        client.getFPGASOC(soc, status, ampleTimeout);
    }

    unsigned long soc = 111;
    int status = 222;
};

TEST_F(GetFPGASOC, SendsTheseBytes)
{
    call({xml::i4(7), xml::i4(0)});
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("get_FPGA_SOC", {})}));
}

TEST_F(GetFPGASOC, TakesTheValueFirstAndTheStatusSecond)
{
    call({xml::i4(7), xml::i4(0)});
    EXPECT_EQ(soc, 7UL);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getFPGASOC"));
}

TEST_F(GetFPGASOC, DeliversTheValueBesideAnErrorStatus)
{
    call({xml::i4(7), xml::i4(4)});
    EXPECT_EQ(soc, 7UL);
    EXPECT_EQ(status, 4);
    EXPECT_EQ(client.getFault(), 4);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getFPGASOC", {refusedLine("getFPGASOC", 4), place()}));
}

TEST_F(GetFPGASOC, DoesNotTakeOneElement)
{
    call({xml::i4(0)});
    EXPECT_EQ(soc, 111UL);
    EXPECT_EQ(status, 222);
    EXPECT_EQ(client.getFault(), -502);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getFPGASOC", {faultLine("getFPGASOC"), place()}));
}

TEST_F(GetFPGASOC, KeepsTheFormerValueWhenTheStatusIsNoInteger)
{
    call({xml::i4(7), xml::text("0")});
    EXPECT_EQ(soc, 111UL);
    EXPECT_EQ(client.getFault(), -501);
}

TEST_F(GetFPGASOC, MakesANegativeValueALargeUnsignedOne)
{
    call({xml::i4(-1), xml::i4(0)});
    EXPECT_EQ(soc, ULONG_MAX);
    call({xml::i4(INT_MIN), xml::i4(0)});
    EXPECT_EQ(soc, ULONG_MAX - 2'147'483'647UL);
}

TEST_F(GetFPGASOC, DeliversTheLargestIntegerUnchanged)
{
    call({xml::i4(INT_MAX), xml::i4(0)});
    EXPECT_EQ(soc, 2'147'483'647UL);
}

class ChangeFPGASOC : public FamilyTest {
protected:
    void call(unsigned long soc, const std::vector<std::string>& answer = {xml::i4(0)})
    {
        answerWith(answer);
        client.changeFPGASOC(soc, status, ampleTimeout);
    }

    int status = 222;
};

TEST_F(ChangeFPGASOC, SendsTheseBytes)
{
    call(3'000'000'000UL);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("Change_FPGA_SOC", {"<i4>-1294967296</i4>"})}));
}

TEST_F(ChangeFPGASOC, LogsAnUnsignedNumberAndSendsTheIntegerOfItsBits)
{
    struct Case {
        unsigned long soc;
        std::string logged;
        std::string sent;
    };
    const std::vector<Case> cases
    {
        {0UL, "0", "i4 0"}, {2'147'483'647UL, "2147483647", "i4 2147483647"},
            {2'147'483'648UL, "2147483648", "i4 -2147483648"}, {3'000'000'000UL, "3000000000", "i4 -1294967296"},
            {4'294'967'295UL, "4294967295", "i4 -1"},
#if ULONG_MAX > 4294967295UL
            {4'294'967'301UL, "4294967301", "i4 5"}, {ULONG_MAX, "18446744073709551615", "i4 -1"},
#endif
    };
    for (const auto& [soc, logged, sent] : cases) {
        call(soc);
        EXPECT_EQ(log.lines().at(0), debug("changeFPGASOC : host : 127.0.0.1 newSOC: " + logged));
        EXPECT_EQ(slave.calls().at(0).parameters, (std::vector<std::string>{sent}));
    }
}

TEST_F(ChangeFPGASOC, ReportsARefusalWithTheNumberInItsLine)
{
    call(3'000'000'000UL, {xml::i4(-6)});
    EXPECT_EQ(status, -6);
    EXPECT_EQ(client.getFault(), -6);
    const std::string message = "changeFPGASOC : host : 127.0.0.1 newSOC: 3000000000";
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {refusedLine(message, -6), place()}));
}

TEST_F(ChangeFPGASOC, NeedsNoMoreThanTheStatusToBeAnInteger)
{
    call(1, {xml::i4(0), xml::array({xml::nil()}), xml::real("2.5")});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(client.getFault(), 0);
}

class GenerarJSONWeb : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer, int parametro = 1)
    {
        answerWith(answer);
        client.generarJSONWeb(parametro, json, ampleTimeout);
    }

    std::string json = "as it was";
};

TEST_F(GenerarJSONWeb, SendsTheseBytes)
{
    call({xml::i4(0)}, INT_MIN);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("Generate_JSON_WEB", {"<i4>-2147483648</i4>"})}));
}

TEST_F(GenerarJSONWeb, DeliversTheTextAndLogsTheNumberOfElements)
{
    call({xml::i4(0), xml::text("{}")});
    EXPECT_EQ(json, "{}");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("generarJSONWeb", {debug("size 2")}));
}

TEST_F(GenerarJSONWeb, LeavesTheTextAloneWhenOnlyAStatusComes)
{
    call({xml::i4(0)});
    EXPECT_EQ(json, "as it was");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("generarJSONWeb", {debug("size 1")}));
}

TEST_F(GenerarJSONWeb, DeliversTheTextBesideAnErrorStatus)
{
    call({xml::i4(5), xml::text("x")});
    EXPECT_EQ(json, "x");
    EXPECT_EQ(client.getFault(), 5);
    EXPECT_EQ(log.linesWithoutNumbers(),
              replied("generarJSONWeb", {debug("size 2"), refusedLine("generarJSONWeb", 5), place()}));
}

TEST_F(GenerarJSONWeb, LogsTheNumberOfElementsBeforeItRaisesForAnEmptyReply)
{
    EXPECT_THROW(call({}), std::logic_error);
    EXPECT_EQ(json, "as it was");
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("generarJSONWeb", {debug("size 0")}));
}

TEST_F(GenerarJSONWeb, RaisesForATextThatIsMissingBesideAnErrorStatus)
{
    EXPECT_THROW(call({xml::i4(5), xml::nil()}), std::logic_error);
    EXPECT_EQ(json, "as it was");
    EXPECT_EQ(client.getFault(), 0);
}

TEST_F(GenerarJSONWeb, LogsNoNumberOfElementsWhenTheReplyIsNoArray)
{
    slave.play({reply(xml::text("{}"))});
    client.generarJSONWeb(1, json, ampleTimeout);
    EXPECT_EQ(json, "as it was");
    EXPECT_EQ(client.getFault(), -501);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("generarJSONWeb", {faultLine("generarJSONWeb"), place()}));
}

TEST_F(GenerarJSONWeb, DeliversTextsAsTheyAre)
{
    for (const std::string& text : {std::string(), std::string("{\"señal\": \"<&>\"}\n"), std::string(500'000, 'j')}) {
        call({xml::i4(0), xml::text(text)});
        EXPECT_EQ(json, text);
    }
}

} // namespace
