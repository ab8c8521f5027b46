// Files: DlFicheroEsclavo, RdFicheroEsclavo.
#include <climits>

#include "familytest.h"
#include "support/blocks.h"

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Files, RemoteOperation, family("files"), ::testing::PrintToStringParamName());

class DlFicheroEsclavo : public FamilyTest {
protected:
    void remove(const std::string& path, int timeout = ampleTimeout)
    {
        log.clear();
        client.DlFicheroEsclavo(path, status, timeout);
    }

    Lines failure(const std::string& message, int milliseconds = ampleTimeout) const
    {
        return {debug(message), armed(milliseconds), faultLine(message), place()};
    }

    int status = 99;
};

TEST_F(DlFicheroEsclavo, SendsNothingAndLeavesStatusAndTimer)
{
    remove("/tmp/a");
    EXPECT_TRUE(slave.requests().empty());
    EXPECT_EQ(slave.connections(), 0U);
    EXPECT_EQ(status, 99);
    EXPECT_GT(timerLeft(), std::chrono::seconds(0));
    EXPECT_LE(timerLeft(), std::chrono::milliseconds(ampleTimeout));
}

TEST_F(DlFicheroEsclavo, TimeoutOf65536ArmsNoTimer)
{
    remove("/tmp/a", 65'536);
    EXPECT_EQ(log.linesWithoutNumbers(), failure("DlFicheroEsclavo : ruta_archivo : /tmp/a", 0));
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
}

TEST_F(DlFicheroEsclavo, ArmsTimerWithLow16BitsOfTimeout)
{
    remove("/tmp/a", 70'000);
    EXPECT_EQ(log.lines().at(1), armed(4464));
    EXPECT_GT(timerLeft(), std::chrono::seconds(0));
    EXPECT_LE(timerLeft(), std::chrono::milliseconds(4464));
}

TEST_F(DlFicheroEsclavo, AnyPathEndsInTransportFault)
{
    for (const std::string path : {"", "relativo/a", "/tmp/a b&<c>", "/tmp/señal"}) {
        remove(path);
        EXPECT_EQ(client.getFault(), XMLRPC_INTERNAL_ERROR);
        EXPECT_EQ(log.linesWithoutNumbers(), failure("DlFicheroEsclavo : ruta_archivo : " + path));
    }
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(DlFicheroEsclavo, InvalidUtf8HasOtherFault)
{
    const std::string path = "/tmp/se\xF1"
                             "al";
    remove(path);
    EXPECT_EQ(client.getFault(), XMLRPC_INVALID_UTF8_ERROR);
    EXPECT_EQ(log.linesWithoutNumbers(), failure("DlFicheroEsclavo : ruta_archivo : " + path));
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(DlFicheroEsclavo, ReplacesFormerFault)
{
    client.setFault(7);
    remove("/tmp/a");
    EXPECT_EQ(client.getFault(), XMLRPC_INTERNAL_ERROR);
}

TEST_F(DlFicheroEsclavo, ClientThatIsNotReadyLeavesTimer)
{
    client.cleanup();
    remove("/tmp/a");
    const std::string message = "DlFicheroEsclavo : ruta_archivo : /tmp/a";
    EXPECT_EQ(client.getFault(), XMLRPC_INTERNAL_ERROR);
    EXPECT_EQ(log.linesWithoutNumbers(), (Lines{debug(message), notReadyLine(message), place()}));
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
}

TEST_F(DlFicheroEsclavo, LeavesClientWorking)
{
    remove("/tmp/a");
    answerWith({xml::i4(0)});
    client.updateNTP(ampleTimeout);
    EXPECT_EQ(client.getFault(), 0);
    EXPECT_EQ(slave.requests().size(), 1U);
}

class RdFicheroEsclavo : public FamilyTest {
protected:
    void fetch(const std::string& path, int borrar = 0)
    {
        log.clear();
        client.RdFicheroEsclavo(path, borrar, contenido, ampleTimeout);
    }

    void fetchAnswered(const std::vector<std::string>& values)
    {
        answerWith(values);
        fetch("/tmp/a", 1);
    }

    void expectWhole(const std::string& expected)
    {
        fetchAnswered({xml::i4(0), xml::base64(expected)});
        EXPECT_EQ(client.getFault(), 0);
        expectSameBytes(contenido, expected);
    }

    const std::vector<char> preset = block("preset");
    std::vector<char> contenido = preset;
};

TEST_F(RdFicheroEsclavo, MoreThan65535BytesArriveWhole)
{
    for (const std::size_t size : {65'535U, 65'536U, 70'000U, 100'000U})
        expectWhole(bytes(size));
}

TEST_F(RdFicheroEsclavo, LargestFileArrivesWhole)
{
    expectWhole(bytes(780'000));
}

TEST_F(RdFicheroEsclavo, KeepsEveryByteValue)
{
    expectWhole(everyByteValue());
}

TEST_F(RdFicheroEsclavo, EmptyFileEmptiesContent)
{
    expectWhole("");
}

TEST_F(RdFicheroEsclavo, ReplacesLongerAndShorterContents)
{
    expectWhole(bytes(5'000));
    expectWhole(bytes(3));
    expectWhole(bytes(6'000));
}

TEST_F(RdFicheroEsclavo, AnyFlagIsSentAsItIs)
{
    answerWith({xml::i4(0)});
    for (const int borrar : {INT_MIN, -1, 0, 2, INT_MAX}) {
        fetch("/tmp/a", borrar);
        EXPECT_EQ(slave.calls().back().parameters[1], "i4 " + std::to_string(borrar));
        EXPECT_EQ(log.lines()[0],
                  debug("RdFicheroEsclavo : ruta_archivo : /tmp/a borrar_archivo: " + std::to_string(borrar)));
    }
}

TEST_F(RdFicheroEsclavo, AnyPathIsSentAsItIs)
{
    answerWith({xml::i4(0)});
    for (const std::string path : {"", "relativo/../a", "/tmp/a b&<c>\"'", "/tmp/señal"}) {
        fetch(path);
        EXPECT_EQ(slave.calls().back().parameters[0], "string " + path);
    }
}

TEST_F(RdFicheroEsclavo, PathIsSentUpToFirstNul)
{
    answerWith({xml::i4(0)});
    fetch(std::string("/tmp/a\0b", 8));
    EXPECT_EQ(slave.calls().at(0).parameters[0], "string /tmp/a");
}

TEST_F(RdFicheroEsclavo, InvalidUtf8SendsNothing)
{
    answerWith({xml::i4(0)});
    fetch("/tmp/se\xF1"
          "al");
    EXPECT_EQ(client.getFault(), XMLRPC_INVALID_UTF8_ERROR);
    EXPECT_EQ(contenido, preset);
    EXPECT_TRUE(slave.requests().empty());
}

} // namespace
