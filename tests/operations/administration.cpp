// Administration: resetModuleToFactorySettings, getHoraModulo, setRefrescoWeb, updateNTP, ejecutar_script.
#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Administration, RemoteOperation, family("administration"),
                         ::testing::PrintToStringParamName());

class GetHoraModulo : public FamilyTest {};

TEST_F(GetHoraModulo, KeepsAllBitsOfClockAndLogsItUnsigned)
{
    struct Case {
        std::int64_t sent;
        unsigned long long hora;
        std::string logged;
    };
    const std::vector<Case> cases{{4'294'967'296, 4'294'967'296ULL, "4294967296"},
                                  {9'007'199'254'740'993, 9'007'199'254'740'993ULL, "9007199254740993"},
                                  {INT64_MAX, 9'223'372'036'854'775'807ULL, "9223372036854775807"},
                                  {INT64_MIN, 9'223'372'036'854'775'808ULL, "9223372036854775808"},
                                  {-1, 18'446'744'073'709'551'615ULL, "18446744073709551615"}};
    for (const auto& [sent, expected, logged] : cases) {
        answerWith({xml::i4(0), xml::i8(sent)});
        unsigned long long hora = 111;
        int status = 222;
        client.getHoraModulo(1, hora, status, ampleTimeout);
        EXPECT_EQ(hora, expected);
        EXPECT_EQ(log.lines().back(), debug("horaActual " + logged));
    }
}

class EjecutarScript : public FamilyTest {};

TEST_F(EjecutarScript, SendsEmptyName)
{
    answerWith({xml::i4(0)});
    client.ejecutar_script("", ampleTimeout);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("EjecutarScript", {"<string></string>"})}));
    EXPECT_EQ(log.lines().at(0), debug("ejecutar_script : nombre_script : "));
}

TEST_F(EjecutarScript, InvalidUtf8FailsAndSendsNothing)
{
    const std::string latin1 = "m\xe1s.sh";
    client.ejecutar_script(latin1, ampleTimeout);
    EXPECT_EQ(client.getFault(), -510);
    EXPECT_TRUE(slave.requests().empty());
    const std::string message = "ejecutar_script : nombre_script : " + latin1;
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug(message), armed(ampleTimeout), faultLine(message), place()}));
}

} // namespace
