// Tables: wrFicheroTablasSI, configureSAPServer, rdFicheroTablasSI, rdFicheroResumen.
#include <array>
#include <climits>
#include <cstdlib>
#include <new>
#include <optional>
#include <ostream>

#include "familytest.h"
#include "support/blocks.h"

namespace {

/// Records the steps of a call that sends a block: L logs a line, N copies the block, C and R begin and end the remote
/// call, D releases the copy.
class Course {
public:
    static void begin(std::size_t size)
    {
        text.fill('\0');
        length = 0;
        copy = nullptr;
        copySize = size;
    }
    static std::string end()
    {
        copySize.reset();
        return text.data();
    }

    static void note(char step)
    {
        if (copySize && length + 1 < text.size())
            text[length++] = step;
    }
    static void allocated(std::size_t size, void* pointer)
    {
        if (copySize != size || copy)
            return;
        note('N');
        copy = pointer;
    }
    static void released(void* pointer)
    {
        if (!copySize || pointer != copy || !pointer)
            return;
        note('D');
        copy = nullptr;
    }

    /// Makes the allocation of the copy fail.
    static bool refusing(std::size_t size) { return refuse && copySize == size; }
    static inline bool refuse = false;

private:
    static inline std::array<char, 64> text{};
    static inline std::size_t length = 0;
    static inline void* copy = nullptr;
    static inline std::optional<std::size_t> copySize;
};

} // namespace

// These intercept the library's arrays: the program's operators precede those of the C++ library.
void* operator new[](std::size_t size)
{
    if (Course::refusing(size))
        throw std::bad_alloc();
    void* pointer = std::malloc(size ? size : 1);
    if (!pointer)
        throw std::bad_alloc();
    Course::allocated(size, pointer);
    return pointer;
}

void operator delete[](void* pointer) noexcept
{
    Course::released(pointer);
    std::free(pointer);
}

void operator delete[](void* pointer, std::size_t) noexcept
{
    Course::released(pointer);
    std::free(pointer);
}

using namespace support;

namespace {

INSTANTIATE_TEST_SUITE_P(Tables, RemoteOperation, family("tables"), ::testing::PrintToStringParamName());

/// The two operations that send a block differ only in their names.
struct Writer {
    std::string name;
    std::string remote;
    std::string label;
    void (nelka::XmlrpcClient::*write)(int, int, const std::vector<char>&, int);

    friend std::ostream& operator<<(std::ostream& out, const Writer& writer) { return out << writer.name; }
};

class WrittenBlock : public FamilyTest, public ::testing::WithParamInterface<Writer> {
protected:
    const Writer& writer = GetParam();

    void SetUp() override
    {
        FamilyTest::SetUp();
        answerWith({xml::i4(0)});
    }

    void TearDown() override
    {
        LogRecorder::duringLogCall = nullptr;
        Course::refuse = false;
        FamilyTest::TearDown();
    }

    void write(std::string_view content, int first = 1, int second = 2, int timeout = ampleTimeout)
    {
        (client.*writer.write)(first, second, block(content), timeout);
    }

    std::string message(int first, std::size_t size) const
    {
        return writer.name + " : host : 127.0.0.1, " + writer.label + " :" + std::to_string(first)
               + ", longitud :" + std::to_string(size);
    }

    /// The steps, in order.
    std::string courseOf(std::string_view content, const Step& step, int timeout = ampleTimeout)
    {
        const std::vector<char> sent = block(content);
        slave.play({step});
        LogRecorder::duringLogCall = [] { Course::note('L'); };
        spy.beforeCall = [] { Course::note('C'); };
        spy.afterCall = [] { Course::note('R'); };
        Course::begin(sent.size());
        (client.*writer.write)(1, 2, sent, timeout);
        return Course::end();
    }

    void expectSent(const std::string& content)
    {
        answerWith({xml::i4(0)});
        write(content);
        EXPECT_EQ(client.getFault(), 0);
        EXPECT_TRUE(slave.calls().at(0).parameters.at(2) == "base64 " + content) << content.size() << " bytes";
    }
};

INSTANTIATE_TEST_SUITE_P(, WrittenBlock,
                         ::testing::Values(Writer{"wrFicheroTablasSI", "wrFicheroTablasSI", "tipo_fichero",
                                                  &nelka::XmlrpcClient::wrFicheroTablasSI},
                                           Writer{"configureSAPServer", "configureSAP", "SAPMode",
                                                  &nelka::XmlrpcClient::configureSAPServer}),
                         ::testing::PrintToStringParamName());

TEST_P(WrittenBlock, EmptyBlockIsSentAsEmptyValueAndLoggedWithSize0)
{
    write("");
    EXPECT_EQ(slave.bodies().at(0),
              requestBody(writer.remote, {"<i4>1</i4>", "<i4>2</i4>", "<base64>\r\n\r\n</base64>"}));
    EXPECT_EQ(log.lines(), replied(message(1, 0)));
}

TEST_P(WrittenBlock, LogsItsFirstIntegerAndSizeOnly)
{
    write(bytes(70'000), -3, 44'444);
    EXPECT_EQ(log.lines(), replied(message(-3, 70'000)));
}

TEST_P(WrittenBlock, SendsExtremeIntegers)
{
    write("", INT_MIN, INT_MAX);
    EXPECT_EQ(slave.calls().at(0).parameters, (std::vector<std::string>{"i4 -2147483648", "i4 2147483647", "base64 "}));
}

TEST_P(WrittenBlock, SendsEveryByteValue)
{
    expectSent(everyByteValue());
}

TEST_P(WrittenBlock, AnySizeArrivesWhole)
{
    for (const std::size_t size : {1U, 2U, 3U, 57U, 58U, 65'535U, 65'536U, 700'000U})
        expectSent(bytes(size));
}

TEST_P(WrittenBlock, IsCopiedBeforeTimerAndReleasedAfterCall)
{
    EXPECT_EQ(courseOf(bytes(4'321), replyArray({xml::i4(0)})), "LNLCRDL");
}

TEST_P(WrittenBlock, EmptyBlockIsCopiedToo)
{
    EXPECT_EQ(courseOf("", replyArray({xml::i4(0)})), "LNLCRDL");
}

TEST_P(WrittenBlock, CopyIsReleasedBeforeRefusalIsLogged)
{
    EXPECT_EQ(courseOf(bytes(4'321), replyArray({xml::i4(3)})), "LNLCRDLLL");
}

TEST_P(WrittenBlock, CopyIsReleasedBeforeWrongReplyIsLogged)
{
    EXPECT_EQ(courseOf(bytes(4'321), replyArray({xml::text("x")})), "LNLCRDLLL");
}

TEST_P(WrittenBlock, CopyIsReleasedBeforeTransportFaultIsLogged)
{
    EXPECT_EQ(courseOf(bytes(4'321), resetAfterRequest()), "LNLCRDLL");
}

TEST_P(WrittenBlock, CopyIsReleasedBeforeTimeoutIsLogged)
{
    // The first line after the call is that of the signal.
    EXPECT_EQ(courseOf(bytes(4'321), silence(), 100), "LNLCRLDL");
}

TEST_P(WrittenBlock, FailedCopyTouchesNeitherFaultStateNorTimer)
{
    client.setFault(5);
    Course::refuse = true;
    const std::string content = bytes(4'321);
    EXPECT_THROW(courseOf(content, replyArray({xml::i4(0)})), std::bad_alloc);
    Course::end();
    EXPECT_EQ(client.getFault(), 5);
    EXPECT_EQ(log.lines(), (Lines{debug(message(1, content.size()))}));
    EXPECT_EQ(timerLeft(), std::chrono::seconds(0));
    EXPECT_TRUE(slave.requests().empty());
}

struct ReadBlock : FamilyTest {
    const std::vector<char> preset = block("preset");
    std::vector<char> bloque = preset;

    void readTable(const std::vector<std::string>& values)
    {
        answerWith(values);
        client.rdFicheroTablasSI(1, 2, 3, 4, 5, bloque, ampleTimeout);
    }

    void readSummary(const std::vector<std::string>& values)
    {
        answerWith(values);
        client.rdFicheroResumen(1, 2, bloque, ampleTimeout);
    }

    /// Sizes of blocks, and how many bytes are delivered.
    static inline const std::vector<std::pair<std::size_t, std::size_t>> deliveries{
        {0, 0}, {1, 1}, {65'535, 65'535}, {65'536, 0}, {65'537, 1}, {70'000, 4'464}, {131'072, 0}, {700'000, 44'640}};
};

TEST_F(ReadBlock, SizeIsCutToLow16Bits)
{
    for (const auto& [size, delivered] : deliveries)
        for (const auto read : {&ReadBlock::readTable, &ReadBlock::readSummary}) {
            const std::string content = bytes(size);
            bloque = preset;
            (this->*read)({xml::i4(0), xml::base64(content)});
            expectSameBytes(bloque, content.substr(0, delivered));
            EXPECT_EQ(client.getFault(), 0);
        }
}

TEST_F(ReadBlock, TableLogsDeliveredSize)
{
    for (const auto& [size, delivered] : deliveries) {
        readTable({xml::i4(0), xml::base64(bytes(size))});
        EXPECT_EQ(log.lines(), replied(operation("rdFicheroTablasSI").message(ampleTimeout),
                                       {debug("longitud " + std::to_string(delivered))}));
    }
}

TEST_F(ReadBlock, KeepsEveryByteValue)
{
    readTable({xml::i4(0), xml::base64(everyByteValue())});
    expectSameBytes(bloque, everyByteValue());
    bloque.clear();
    readSummary({xml::i4(0), xml::base64(everyByteValue())});
    expectSameBytes(bloque, everyByteValue());
}

TEST_F(ReadBlock, ReplacesLongerAndShorterContents)
{
    for (const std::size_t size : {5'000U, 3U, 6'000U}) {
        readTable({xml::i4(0), xml::base64(bytes(size))});
        expectSameBytes(bloque, bytes(size));
    }
}

TEST_F(ReadBlock, TableLogsItsWholeTimeoutAndArmsItsLow16Bits)
{
    answerWith({xml::i4(0)});
    client.rdFicheroTablasSI(1, 2, 3, 4, 5, bloque, 70'000);
    EXPECT_EQ(log.lines(), (Lines{debug("rdFicheroTablasSI : host : 127.0.0.1, source :1, id_tabla :2, ext1 :3, "
                                        "ext2 :4, ext3 :5 timeout 70000"),
                                  armed(4464), disarmed()}));
}

TEST_F(ReadBlock, SendsAndLogsExtremeIntegers)
{
    answerWith({xml::i4(0)});
    client.rdFicheroTablasSI(INT_MIN, INT_MAX, -1, 0, 1, bloque, ampleTimeout);
    EXPECT_EQ(slave.calls().at(0).parameters,
              (std::vector<std::string>{"i4 -2147483648", "i4 2147483647", "i4 -1", "i4 0", "i4 1"}));
    EXPECT_EQ(log.lines()[0], debug("rdFicheroTablasSI : host : 127.0.0.1, source :-2147483648, id_tabla :2147483647, "
                                    "ext1 :-1, ext2 :0, ext3 :1 timeout 5000"));
}

} // namespace
