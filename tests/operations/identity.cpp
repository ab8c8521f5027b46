// Identity: actualizaIdentificacion, getAlarmasEstadoControlador, checkSincronizado, xmlrpc_changes.
#include <array>
#include <climits>

#include "familytest.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Identity, RemoteOperation, family("identity"), ::testing::PrintToStringParamName());

class ActualizaIdentificacion : public FamilyTest {};

TEST_F(ActualizaIdentificacion, EmptyTextsReplaceFormerOnes)
{
    std::vector<std::string> answer(8, xml::text(""));
    answer[0] = answer[4] = xml::i4(0);
    answerWith(answer);
    std::array<std::string, 6> texts{"1", "2", "3", "5", "6", "7"};
    int campo4 = 4;
    client.actualizaIdentificacion(texts[0], texts[1], texts[2], campo4, texts[3], texts[4], texts[5], ampleTimeout);
    EXPECT_EQ(texts, (std::array<std::string, 6>{}));
    EXPECT_EQ(campo4, 0);
}

class GetAlarmasEstadoControlador : public FamilyTest {};

TEST_F(GetAlarmasEstadoControlador, DeliversAnyText)
{
    for (const std::string& text : {std::string(), std::string("temperatura > 70 ºC\n"), std::string(100'000, 'a')}) {
        answerWith({xml::i4(0), xml::text(text)});
        std::string alarmas = "as it was";
        int status = 222;
        client.getAlarmasEstadoControlador(alarmas, status, ampleTimeout);
        EXPECT_EQ(alarmas, text);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("getAlarmasEstadoControlador : host : 127.0.0.1"));
    }
}

class CheckSincronizado : public FamilyTest {};

TEST_F(CheckSincronizado, LogsAnyInput)
{
    for (const auto& [entrada, logged] :
         std::vector<std::pair<int, std::string>>{{0, "0"}, {INT_MAX, "2147483647"}, {INT_MIN, "-2147483648"}}) {
        answerWith({xml::i4(0)});
        int status = 222;
        client.checkSincronizado(entrada, status, ampleTimeout);
        EXPECT_EQ(log.linesWithoutNumbers(), replied("checkSincronizado : entrada: " + logged));
    }
}

class XmlrpcChanges : public FamilyTest {
protected:
    void callOn(const std::string& database)
    {
        client.dbName = database;
        answerWith({xml::i4(0), xml::i4(17)});
        int changes = 222;
        client.xmlrpc_changes(changes, ampleTimeout);
    }
};

TEST_F(XmlrpcChanges, EscapesItsDatabaseName)
{
    callOn("canales & <más>");
    EXPECT_EQ(slave.bodies(),
              (std::vector<std::string>{requestBody("Changes", {"<string>canales &amp; &lt;más&gt;</string>"})}));
}

TEST_F(XmlrpcChanges, UnassignedDatabaseNameIsSentEmpty)
{
    callOn("");
    EXPECT_EQ(slave.bodies(), (std::vector<std::string>{requestBody("Changes", {"<string></string>"})}));
    EXPECT_EQ(log.lines().at(0), debug("changes :host : 127.0.0.1, dbName : "));
}

} // namespace
