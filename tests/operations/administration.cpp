// Administration: resetModuleToFactorySettings, getHoraModulo, setRefrescoWeb, updateNTP, ejecutar_script.
#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Administration, RemoteOperation, family("administration"),
                         ::testing::PrintToStringParamName());

class ResetModuleToFactorySettings : public FamilyTest {};

TEST_F(ResetModuleToFactorySettings, SendsTheseBytes)
{
    answerWith({xml::i4(0)});
    client.resetModuleToFactorySettings(ampleTimeout);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("ResetFactoryEsclavo", {})}));
}

TEST_F(ResetModuleToFactorySettings, DropsTheStatus)
{
    for (const int status : {1, 7, -1}) {
        answerWith({xml::i4(status)});
        client.resetModuleToFactorySettings(ampleTimeout);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("resetModuleToFactorySettings : host : 127.0.0.1"));
    }
}

class GetHoraModulo : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer, unsigned short parametro = 1)
    {
        answerWith(answer);
        client.getHoraModulo(parametro, hora, status, ampleTimeout);
    }

    unsigned long long hora = 111;
    int status = 222;
};

TEST_F(GetHoraModulo, SendsTheseBytes)
{
    call({xml::i4(0), xml::i8(42)}, 65535);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("RdHora", {"<i4>65535</i4>"})}));
}

TEST_F(GetHoraModulo, DeliversAndLogsTheClock)
{
    call({xml::i4(0), xml::i8(42)});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(hora, 42ULL);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getHoraModulo", {debug("horaActual 42")}));
}

TEST_F(GetHoraModulo, LeavesANonZeroStatusToItsCaller)
{
    call({xml::i4(3), xml::i8(0)});
    EXPECT_EQ(status, 3);
    EXPECT_EQ(hora, 0ULL);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getHoraModulo", {debug("horaActual 0")}));
}

TEST_F(GetHoraModulo, DoesNotTakeAStatusAlone)
{
    call({xml::i4(0)});
    EXPECT_EQ(status, 222);
    EXPECT_EQ(hora, 111ULL);
    EXPECT_EQ(client.getFault(), -502);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("getHoraModulo", {faultLine("getHoraModulo"), place()}));
}

TEST_F(GetHoraModulo, DoesNotTakeA32BitClock)
{
    call({xml::i4(3), xml::i4(42)});
    EXPECT_EQ(status, 3);
    EXPECT_EQ(hora, 111ULL);
    EXPECT_EQ(client.getFault(), -501);
}

TEST_F(GetHoraModulo, KeepsAllBitsOfTheClockAndLogsItUnsigned)
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
        call({xml::i4(0), xml::i8(sent)});
        EXPECT_EQ(hora, expected);
        EXPECT_EQ(log.lines().back(), debug("horaActual " + logged));
    }
}

class SetRefrescoWeb : public FamilyTest {
protected:
    void call(unsigned short valor, const std::vector<std::string>& answer = {xml::i4(0)})
    {
        answerWith(answer);
        client.setRefrescoWeb(valor, status, ampleTimeout);
    }

    int status = 222;
};

TEST_F(SetRefrescoWeb, SendsTheseBytes)
{
    call(65535);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("ActualizaRefrescoWeb", {"<i4>65535</i4>"})}));
}

TEST_F(SetRefrescoWeb, LogsItsValueWithoutSign)
{
    for (const auto& [valor, logged] :
         std::vector<std::pair<unsigned short, std::string>>{{0, "0"}, {32768, "32768"}, {65535, "65535"}}) {
        call(valor);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("setRefrescoWeb : host : 127.0.0.1 valor: " + logged));
    }
}

TEST_F(SetRefrescoWeb, LeavesANonZeroStatusToItsCaller)
{
    for (const int refusal : {1, -1}) {
        call(30, {xml::i4(refusal)});
        EXPECT_EQ(status, refusal);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("setRefrescoWeb : host : 127.0.0.1 valor: 30"));
    }
}

class UpdateNTP : public FamilyTest {
protected:
    void call(int status)
    {
        answerWith({xml::i4(status)});
        client.updateNTP(ampleTimeout);
    }
};

TEST_F(UpdateNTP, SendsTheseBytes)
{
    call(0);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("UpdateNTP", {})}));
}

TEST_F(UpdateNTP, EndsWithoutFaultWhenTheSlaveAgrees)
{
    call(0);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("updateNTP"));
}

TEST_F(UpdateNTP, ReportsARefusal)
{
    call(4);
    EXPECT_EQ(client.getFault(), 4);
    EXPECT_EQ(log.linesWithoutNumbers(), replied("updateNTP", {refusedLine("updateNTP", 4), place()}));
}

TEST_F(UpdateNTP, ReleasesTheReplyOfARefusal)
{
    call(4);
    EXPECT_EQ(spy.resultsReleased, 1);
}

class EjecutarScript : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer, const std::string& script = "limpia.sh")
    {
        answerWith(answer);
        client.ejecutar_script(script, ampleTimeout);
    }

    const std::string message = "ejecutar_script : nombre_script : limpia.sh";
};

TEST_F(EjecutarScript, SendsTheseBytes)
{
    call({xml::i4(0)}, "/opt/limpia \"todo\" & más.sh");
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody(
                                  "EjecutarScript", {"<string>/opt/limpia \"todo\" &amp; más.sh</string>"})}));
}

TEST_F(EjecutarScript, SendsAnEmptyName)
{
    call({xml::i4(0)}, "");
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("EjecutarScript", {"<string></string>"})}));
    EXPECT_EQ(log.lines().at(0), debug("ejecutar_script : nombre_script : "));
}

TEST_F(EjecutarScript, LogsItsResult)
{
    call({xml::i4(0)});
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {debug("ejecutar_script result 0")}));
}

TEST_F(EjecutarScript, LogsItsResultBeforeTheRefusal)
{
    call({xml::i4(9)});
    EXPECT_EQ(client.getFault(), 9);
    EXPECT_EQ(log.linesWithoutNumbers(),
              replied(message, {debug("ejecutar_script result 9"), refusedLine(message, 9), place()}));
}

TEST_F(EjecutarScript, LogsAResultOfZeroBeforeADecodingFault)
{
    call({xml::text("9")});
    EXPECT_EQ(client.getFault(), -501);
    EXPECT_EQ(log.linesWithoutNumbers(),
              replied(message, {debug("ejecutar_script result 0"), faultLine(message), place()}));
}

TEST_F(EjecutarScript, KeepsTheReplyOfARefusalAndOfNothingElse)
{
    for (const auto& [answer, releases] : std::vector<std::pair<std::string, int>>{
             {xml::i4(9), 0}, {xml::i4(-9), 0}, {xml::i4(0), 1}, {xml::nil(), 1}}) {
        call({answer});
        EXPECT_EQ(spy.resultsReleased, releases) << answer;
    }
}

TEST_F(EjecutarScript, OfANameThatIsNotUtf8FailsAndSendsNothing)
{
    const std::string latin1 = "m\xe1s.sh";
    call({xml::i4(0)}, latin1);
    EXPECT_EQ(client.getFault(), -510);
    EXPECT_TRUE(slave.requests().empty());
    const std::string latin1Message = "ejecutar_script : nombre_script : " + latin1;
    EXPECT_EQ(log.linesWithoutNumbers(),
              (Lines{debug(latin1Message), armed(ampleTimeout), faultLine(latin1Message), place()}));
}

} // namespace
