// nelkactl: the files it reads and writes.
#include <filesystem>
#include <iterator>
#include <string>

#include <sys/stat.h>

#include "nelkactl.h"

using namespace support;

namespace {

TEST_F(Nelkactl, ReplacesTheFileInOneStep)
{
    keep("former");
    chmod(file().c_str(), 0640);
    struct stat before = {};
    struct stat after = {};
    stat(file().c_str(), &before);
    EXPECT_EQ(
        answered({xml::i4(0), xml::base64(std::string("a\0b", 3))}, {"RdFicheroEsclavo", "x", "0", "--output", file()})
            .out,
        "bytes: 3\n");
    stat(file().c_str(), &after);
    EXPECT_EQ(contents(file()), std::string("a\0b", 3));
    EXPECT_NE(before.st_ino, after.st_ino);
    EXPECT_EQ(after.st_mode & 0777, 0640U);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(Nelkactl, LeavesTheFileUntouchedWhenNoBlockComes)
{
    keep("former");
    const Words words{"rdFicheroTablasSI", "1", "2", "3", "4", "5", "--output", file()};
    EXPECT_EQ(answered({xml::i4(0)}, words).status, 0);
    EXPECT_EQ(answered({xml::i4(3)}, words).status, 1);
    EXPECT_EQ(answered({xml::i4(0), xml::text("x")}, words).status, 3);
    EXPECT_EQ(type(words + Words{"-p", std::to_string(ClosedPort().port())}).status, 3);
    slave.play({silence()});
    EXPECT_EQ(type(words + Words{"-t", "50"}).status, 4);
    EXPECT_EQ(contents(file()), "former");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(Nelkactl, WritesABlockThatCameWithAnErrorStatus)
{
    keep("former");
    const Finished finished =
        answered({xml::i4(3), xml::base64("")}, {"rdFicheroResumen", "1", "2", "--output", file()});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(contents(file()), "");
}

TEST_F(Nelkactl, FollowsALinkToTheFileItReplaces)
{
    keep("former");
    const std::filesystem::path link = folder / "link";
    std::filesystem::create_symlink("file", link);
    answered({xml::i4(0), xml::base64("new")}, {"RdFicheroEsclavo", "x", "0", "--output", link});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contents(file()), "new");
}

TEST_F(Nelkactl, FollowsALinkToTheFileItMakes)
{
    namespace fs = std::filesystem;
    const fs::path link = folder / "link";
    fs::create_symlink("second", link);
    fs::create_symlink(file(), folder / "second");
    for (const char* block : {"first", "new"}) {
        EXPECT_EQ(answered({xml::i4(0), xml::base64(block)}, {"RdFicheroEsclavo", "x", "0", "--output", link}).status,
                  0);
        EXPECT_TRUE(fs::is_symlink(link));
        EXPECT_TRUE(fs::is_symlink(folder / "second"));
        EXPECT_EQ(contents(file()), block);
    }
}

TEST_F(Nelkactl, WritesToADeviceWithoutReplacingIt)
{
    const std::filesystem::path pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Program reader({"/bin/cat", pipe});
    EXPECT_EQ(answered({xml::i4(0), xml::base64("bytes")}, {"RdFicheroEsclavo", "x", "0", "--output", pipe}).status, 0);
    EXPECT_EQ(reader.finish().out, "bytes");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST_F(Nelkactl, WritesABlockToStandardOutputAlone)
{
    const Finished finished = answered({xml::i4(0), xml::base64(std::string("\0\xff\n", 3))},
                                       {"RdFicheroEsclavo", "x", "0", "--output", "-"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, std::string("\0\xff\n", 3));
}

TEST_F(Nelkactl, EndsWithTwoWhenTheBlockThatCameCannotBeWritten)
{
    const Finished finished =
        answered({xml::i4(0), xml::base64("bytes")}, {"RdFicheroEsclavo", "x", "0", "--output", "/dev/full", "--json"});
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"RdFicheroEsclavo","ending":"unusable","fault":0})");
    EXPECT_NE(finished.lastWords().find(": unusable: cannot write /dev/full: "), std::string::npos) << finished;
}

TEST_F(Nelkactl, SendsABlockFromStandardInput)
{
    slave.play({replyArray({xml::i4(0)})});
    EXPECT_EQ(type({"configureSAPServer", "1", "2", "--input", "-"}, std::string("a\0b", 3)).status, 0);
    EXPECT_EQ(slave.calls().at(0).parameters.at(2), "base64 " + std::string("a\0b", 3));
}

TEST_F(Nelkactl, EndsWithTwoBeforeItCallsWhenAFileCannotBeUsed)
{
    const std::string nowhere = folder / "nowhere" / "file";
    const std::string circle = folder / "circle";
    std::filesystem::create_symlink("circle", circle);
    for (const Words& words : {Words{"wrFicheroTablasSI", "1", "2", "--input", nowhere},
                               Words{"wrFicheroTablasSI", "1", "2", "--input", folder},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", nowhere},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", folder},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", circle},
                               Words{"RdFicheroEsclavo", "x", "1", "--output", ""}}) {
        const Finished finished = type(words);
        EXPECT_EQ(finished.status, 2) << finished;
        EXPECT_EQ(finished.out, "");
        EXPECT_NE(finished.lastWords().find(": unusable: cannot "), std::string::npos) << finished;
    }
    EXPECT_TRUE(slave.requests().empty());
}

} // namespace
