// Hardware: getFPGASOC, changeFPGASOC, generarJSONWeb.
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Hardware, RemoteOperation, family("hardware"), ::testing::PrintToStringParamName());

class GetFPGASOC : public FamilyTest {
protected:
    unsigned long delivered(int sent)
    {
        answerWith({xml::i4(sent), xml::i4(0)});
        unsigned long soc = 111;
        int status = 222;
        client.getFPGASOC(soc, status, ampleTimeout);
        return soc;
    }
};

TEST_F(GetFPGASOC, NegativeValueBecomesLargeUnsigned)
{
    EXPECT_EQ(delivered(-1), ULONG_MAX);
    EXPECT_EQ(delivered(INT_MIN), ULONG_MAX - 2'147'483'647UL);
}

TEST_F(GetFPGASOC, LargestIntegerStaysUnchanged)
{
    EXPECT_EQ(delivered(INT_MAX), 2'147'483'647UL);
}

class ChangeFPGASOC : public FamilyTest {};

TEST_F(ChangeFPGASOC, LogsUnsignedNumberAndSendsItsBits)
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
        answerWith({xml::i4(0)});
        int status = 222;
        client.changeFPGASOC(soc, status, ampleTimeout);
        EXPECT_EQ(log.lines().at(0), debug("changeFPGASOC : host : 127.0.0.1 newSOC: " + logged));
        EXPECT_EQ(slave.calls().at(0).parameters, (std::vector<std::string>{sent}));
    }
}

class GenerarJSONWeb : public FamilyTest {};

TEST_F(GenerarJSONWeb, DeliversAnyText)
{
    for (const std::string& text : {std::string(), std::string("{\"señal\": \"<&>\"}\n"), std::string(500'000, 'j')}) {
        answerWith({xml::i4(0), xml::text(text)});
        std::string json = "as it was";
        client.generarJSONWeb(1, json, ampleTimeout);
        EXPECT_EQ(json, text);
    }
}

} // namespace
