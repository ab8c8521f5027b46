// Identity: actualizaIdentificacion, getAlarmasEstadoControlador, checkSincronizado, xmlrpc_changes.
#include <climits>
#include <tuple>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Identity, RemoteOperation, family("identity"), ::testing::PrintToStringParamName());

class ActualizaIdentificacion : public FamilyTest {
protected:
    using Fields = std::tuple<std::string, std::string, std::string, int, std::string, std::string, std::string>;

    void call(const std::vector<std::string>& answer)
    {
        answerWith(answer);
        auto& [campo1, campo2, campo3, campo4, campo5, campo6, campo7] = fields;
        client.actualizaIdentificacion(campo1, campo2, campo3, campo4, campo5, campo6, campo7, ampleTimeout);
    }

    static std::vector<std::string> identification(int status)
    {
        return {xml::i4(status),  xml::text("uno"),   xml::text("dos"),  xml::text("tres"),
                xml::i4(INT_MIN), xml::text("cinco"), xml::text("seis"), xml::text("siete")};
    }

    static inline const Fields presets{"1", "2", "3", 4, "5", "6", "7"};
    static inline const Fields delivered{"uno", "dos", "tres", INT_MIN, "cinco", "seis", "siete"};

    Fields fields = presets;
    const std::string message = "actualizaIdentificacion : host : 127.0.0.1";
};

TEST_F(ActualizaIdentificacion, SendsTheseBytes)
{
    call(identification(0));
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("ActualizaIdentificacion", {"<i4>0</i4>"})}));
}

TEST_F(ActualizaIdentificacion, DeliversTheSevenFieldsInTheOrderOfTheReply)
{
    call(identification(0));
    EXPECT_EQ(fields, delivered);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
}

TEST_F(ActualizaIdentificacion, DeliversTheSevenFieldsBesideAnErrorStatus)
{
    call(identification(6));
    EXPECT_EQ(fields, delivered);
    EXPECT_EQ(client.getFault(), 6);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {refusedLine(message, 6), place()}));
}

TEST_F(ActualizaIdentificacion, LeavesTheSevenFieldsAloneWhenOnlyAStatusComes)
{
    for (const int status : {0, 6}) {
        call({xml::i4(status)});
        EXPECT_EQ(fields, presets);
        EXPECT_EQ(client.getFault(), status);
    }
}

TEST_F(ActualizaIdentificacion, DeliversEmptyTexts)
{
    std::vector<std::string> answer(8, xml::text(""));
    answer[0] = answer[4] = xml::i4(0);
    call(answer);
    EXPECT_EQ(fields, (Fields{"", "", "", 0, "", "", ""}));
}

// The decoder frees the texts before the wrong one and leaves its callers pointers to them: none may be followed.
TEST_F(ActualizaIdentificacion, RaisesWithoutTouchingATextWhicheverOfTheEightPlacesIsWrong)
{
    for (std::size_t wrong = 0; wrong < 8; ++wrong) {
        SCOPED_TRACE(wrong);
        std::vector<std::string> answer = identification(6);
        answer[wrong] = xml::real("0.5");
        fields = presets;
        EXPECT_THROW(call(answer), std::logic_error);
        std::get<3>(fields) = std::get<3>(presets); // the integer is decoded in place
        EXPECT_EQ(fields, presets);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
        EXPECT_EQ(spy.resultsReleased, 1);
    }
}

TEST_F(ActualizaIdentificacion, WritesTheIntegerOnceTheDecodingHasReachedIt)
{
    for (std::size_t wrong = 0; wrong < 8; ++wrong) {
        SCOPED_TRACE(wrong);
        std::vector<std::string> answer = identification(0);
        answer[wrong] = xml::nil();
        fields = presets;
        EXPECT_THROW(call(answer), std::logic_error);
        EXPECT_EQ(std::get<3>(fields), wrong > 4 ? INT_MIN : 4);
    }
}

TEST_F(ActualizaIdentificacion, RaisesWithoutTouchingAFieldWhenElementsAreMissing)
{
    for (const std::size_t size : {0U, 2U, 3U, 4U, 5U, 6U, 7U}) {
        SCOPED_TRACE(size);
        std::vector<std::string> answer = identification(0);
        answer.resize(size);
        EXPECT_THROW(call(answer), std::logic_error);
        EXPECT_EQ(fields, presets);
    }
}

class GetAlarmasEstadoControlador : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer)
    {
        answerWith(answer);
        client.getAlarmasEstadoControlador(alarmas, status, ampleTimeout);
    }

    std::string alarmas = "as it was";
    int status = 222;
    const std::string message = "getAlarmasEstadoControlador : host : 127.0.0.1";
};

TEST_F(GetAlarmasEstadoControlador, SendsTheseBytes)
{
    call({xml::i4(0), xml::text("")});
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("GetAlarmasEstadoControlador", {"<i4>0</i4>"})}));
}

TEST_F(GetAlarmasEstadoControlador, DeliversTheText)
{
    for (const std::string& text : {std::string(), std::string("temperatura > 70 ºC\n"), std::string(100'000, 'a')}) {
        call({xml::i4(0), xml::text(text)});
        EXPECT_EQ(alarmas, text);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
    }
}

TEST_F(GetAlarmasEstadoControlador, DeliversTheTextBesideAnErrorStatus)
{
    call({xml::i4(3), xml::text("ventilador")});
    EXPECT_EQ(alarmas, "ventilador");
    EXPECT_EQ(status, 3);
    EXPECT_EQ(client.getFault(), 3);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {refusedLine(message, 3), place()}));
}

TEST_F(GetAlarmasEstadoControlador, LeavesTheTextAloneWhenOnlyAStatusComes)
{
    for (const int alone : {0, 3}) {
        call({xml::i4(alone)});
        EXPECT_EQ(alarmas, "as it was");
        EXPECT_EQ(status, alone);
        EXPECT_EQ(client.getFault(), alone);
    }
}

TEST_F(GetAlarmasEstadoControlador, RaisesForAMissingTextWithTheStatusAlreadyWritten)
{
    call({xml::i4(0), xml::text("before")});
    EXPECT_THROW(call({xml::i4(3), xml::i4(8)}), std::logic_error);
    EXPECT_EQ(alarmas, "before");
    EXPECT_EQ(status, 3);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
}

class CheckSincronizado : public FamilyTest {
protected:
    void call(int entrada, const std::vector<std::string>& answer = {xml::i4(0)})
    {
        answerWith(answer);
        client.checkSincronizado(entrada, status, ampleTimeout);
    }

    int status = 222;
};

TEST_F(CheckSincronizado, SendsTheseBytes)
{
    call(-1);
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("CheckSincronizado", {"<i4>-1</i4>"})}));
}

TEST_F(CheckSincronizado, LogsItsInputAndNoHost)
{
    for (const auto& [entrada, logged] :
         std::vector<std::pair<int, std::string>>{{0, "0"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}}) {
        call(entrada);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("checkSincronizado : entrada: " + logged));
    }
}

TEST_F(CheckSincronizado, MakesNoFaultOfANonZeroAnswer)
{
    for (const int answer : {1, -1, INT_MIN}) {
        client.setFault(9);
        call(2, {xml::i4(answer)});
        EXPECT_EQ(status, answer);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("checkSincronizado : entrada: 2"));
    }
}

TEST_F(CheckSincronizado, TakesTheFirstElementOfALongReply)
{
    call(2, {xml::i4(1), xml::text("x"), xml::array({})});
    EXPECT_EQ(status, 1);
    EXPECT_EQ(client.getFault(), 0);
}

class XmlrpcChanges : public FamilyTest {
protected:
    void call(const std::vector<std::string>& answer)
    {
        answerWith(answer);
        client.xmlrpc_changes(changes, ampleTimeout);
    }

    int changes = 222;
    const std::string message = "changes :host : 127.0.0.1, dbName : modulo";
};

TEST_F(XmlrpcChanges, SendsTheseBytes)
{
    client.dbName = "canales & <más>";
    call({xml::i4(0), xml::i4(17)});
    EXPECT_EQ(slave.bodies(),
              (std::vector<std::string>{requestBody("Changes", {"<string>canales &amp; &lt;más&gt;</string>"})}));
}

TEST_F(XmlrpcChanges, SendsAnEmptyDatabaseNameWhenNoneWasAssigned)
{
    client.dbName.clear();
    call({xml::i4(0), xml::i4(17)});
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("Changes", {"<string></string>"})}));
    EXPECT_EQ(log.lines().at(0), debug("changes :host : 127.0.0.1, dbName : "));
}

TEST_F(XmlrpcChanges, DeliversAndLogsTheCounter)
{
    call({xml::i4(0), xml::i4(17)});
    EXPECT_EQ(changes, 17);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {debug("check_changes result 0, tmp_changes : 17")}));
}

TEST_F(XmlrpcChanges, DeliversTheCounterBesideAnErrorStatus)
{
    call({xml::i4(-2), xml::i4(-17)});
    EXPECT_EQ(changes, -17);
    EXPECT_EQ(client.getFault(), -2);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {debug("check_changes result -2, tmp_changes : -17"),
                                                           refusedLine(message, -2), place()}));
}

TEST_F(XmlrpcChanges, LeavesTheCounterAloneAndUnloggedWhenOnlyAStatusComes)
{
    call({xml::i4(0)});
    EXPECT_EQ(changes, 222);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message));
}

TEST_F(XmlrpcChanges, LogsNoCounterAfterADecodingFault)
{
    call({xml::i4(0), xml::text("17")});
    EXPECT_EQ(changes, 222);
    EXPECT_EQ(client.getFault(), -501);
    EXPECT_EQ(log.linesWithoutNumbers(), replied(message, {faultLine(message), place()}));
}

} // namespace
