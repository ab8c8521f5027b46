// nelkactl: the files it reads and writes.
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "nelkactl.h"

using namespace support;

namespace {

TEST_F(Nelkactl, OutputIsReplacedInOneStep)
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

TEST_F(Nelkactl, OutputIsUntouchedWithoutBlock)
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

TEST_F(Nelkactl, BlockWithErrorStatusIsWritten)
{
    keep("former");
    const Finished finished =
        answered({xml::i4(3), xml::base64("")}, {"rdFicheroResumen", "1", "2", "--output", file()});
    EXPECT_EQ(finished.status, 1);
    EXPECT_EQ(contents(file()), "");
}

TEST_F(Nelkactl, LinkToReplacedFileIsFollowed)
{
    keep("former");
    const std::filesystem::path link = folder / "link";
    std::filesystem::create_symlink("file", link);
    answered({xml::i4(0), xml::base64("new")}, {"RdFicheroEsclavo", "x", "0", "--output", link});
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(contents(file()), "new");
}

TEST_F(Nelkactl, LinkToNewFileIsFollowed)
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

TEST_F(Nelkactl, DeviceIsNotReplaced)
{
    const std::filesystem::path pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Program reader({"/bin/cat", pipe});
    EXPECT_EQ(answered({xml::i4(0), xml::base64("bytes")}, {"RdFicheroEsclavo", "x", "0", "--output", pipe}).status, 0);
    EXPECT_EQ(reader.finish().out, "bytes");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST_F(Nelkactl, StandardOutputReceivesBlockOnly)
{
    const Finished finished = answered({xml::i4(0), xml::base64(std::string("\0\xff\n", 3))},
                                       {"RdFicheroEsclavo", "x", "0", "--output", "-"});
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(finished.out, std::string("\0\xff\n", 3));
}

TEST_F(Nelkactl, UnwritableBlockEndsWithTwo)
{
    const Finished finished =
        answered({xml::i4(0), xml::base64("bytes")}, {"RdFicheroEsclavo", "x", "0", "--output", "/dev/full", "--json"});
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"RdFicheroEsclavo","ending":"unusable","fault":0})");
    EXPECT_NE(finished.lastWords().find(": unusable: cannot write /dev/full: "), std::string::npos) << finished;
}

TEST_F(Nelkactl, BlockIsReadFromStandardInput)
{
    slave.play({replyArray({xml::i4(0)})});
    EXPECT_EQ(type({"configureSAPServer", "1", "2", "--input", "-"}, std::string("a\0b", 3)).status, 0);
    EXPECT_EQ(slave.calls().at(0).parameters.at(2), "base64 " + std::string("a\0b", 3));
}

TEST_F(Nelkactl, UnusableFileEndsWithTwoBeforeCall)
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

TEST_F(Nelkactl, EndlessInputIsRefused)
{
    const Finished finished = type({"wrFicheroTablasSI", "1", "2", "--input", "/dev/zero"});
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_NE(finished.err.find("as many as fit into 1 MiB of XML (see nelkactl --help)\n"), std::string::npos)
        << finished;
    const std::size_t largest = 766'251;
    slave.play({replyArray({xml::i4(0)})});
    keep(std::string(largest, 'x'));
    EXPECT_EQ(type({"wrFicheroTablasSI", "1", "2", "--input", file()}).status, 0);
    keep(std::string(largest + 1, 'x'));
    EXPECT_EQ(type({"wrFicheroTablasSI", "1", "2", "--input", file()}).status, 2);
    EXPECT_EQ(slave.requests().size(), 1U);
}

// Files that are not replaced --------------------------------------------------------------------------------------

// The command without any privileges of the superuser.
Words unprivileged(const Words& command)
{
    return geteuid() == 0 ? Words{"/usr/bin/setpriv", "--bounding-set=-all", "--inh-caps=-all"} + command : command;
}

class NelkactlOutput : public Nelkactl {
protected:
    Finished fetched(const std::string& output, const std::string& redirections = "", const std::string& before = "")
    {
        slave.play({replyArray({xml::i4(0), xml::base64("bytes")})});
        return run({"/bin/bash", "-c",
                    before + "exec " NELKACTL " RdFicheroEsclavo x 0 --output " + output + " " + redirections},
                   environment());
    }

    Finished fetchedUnprivileged()
    {
        slave.play({replyArray({xml::i4(0), xml::base64("bytes")})});
        return run(unprivileged(command({"RdFicheroEsclavo", "x", "0", "--output", file()})), environment());
    }

    // Shell commands that preload preload.cpp with these settings.
    static std::string preloading(const std::string& settings)
    {
        return "export " + settings + " LD_PRELOAD=" PRELOAD " ASAN_OPTIONS=verify_asan_link_order=0; ";
    }

    static struct stat state(const std::string& path)
    {
        struct stat found = {};
        EXPECT_EQ(stat(path.c_str(), &found), 0) << path;
        return found;
    }
};

TEST_F(NelkactlOutput, OpenFileKeepsContents)
{
    for (const auto& [output, redirection] : {std::pair{"/dev/stdout", ">>"},
                                              {"/dev/stderr", "2>>"},
                                              {"/dev/fd/1", ">>"},
                                              {"/dev/fd/2", "2>>"},
                                              {"/dev/fd/7", "7>>"},
                                              {"/proc/self/fd/7", "7>>"},
                                              {"/proc/thread-self/fd/7", "7>>"},
                                              {"/proc/$$/fd/7", "7>>"},
                                              {"/dev/fd/7", "7<>"},
                                              {"/proc/thread-self/fd/7", "7<>"}}) {
        const bool appends = std::string(redirection) != "7<>";
        keep(appends ? "former " : "formerly");
        const ino_t inode = state(file()).st_ino;
        const Finished finished = fetched(output, redirection + file());
        EXPECT_EQ(finished.status, 0) << output << redirection << finished;
        EXPECT_EQ(contents(file()), appends ? "former bytes" : "bytesrly") << output << redirection;
        EXPECT_EQ(state(file()).st_ino, inode) << output << redirection;
    }
}

TEST_F(NelkactlOutput, OpenFileOfOtherProcessIsAppendedTo)
{
    keep("former ");
    Program other({"/bin/bash", "-c", "exec 7>>" + file() + "; echo; read"}, {}, std::nullopt);
    other.line();
    EXPECT_EQ(fetched("/proc/" + std::to_string(other.pid()) + "/fd/7").status, 0);
    EXPECT_EQ(contents(file()), "former bytes");
}

TEST_F(NelkactlOutput, StandardOutputHasSeveralNames)
{
    for (const char* name : {"-", "/dev/stdout", "/dev/fd/1", "/proc/self/fd/1"}) {
        EXPECT_EQ(fetched(name).out, "bytes") << name;
        EXPECT_EQ(fetched(name, "--json").status, 2) << name;
    }
}

TEST_F(NelkactlOutput, ReadOnlyDescriptorIsRefused)
{
    for (const char* name : {"/dev/fd/7", "/dev/fd/x", "/dev/fd/0"}) {
        const Finished finished = fetched(name, "</dev/null");
        EXPECT_EQ(finished.status, 2) << finished;
        EXPECT_TRUE(slave.requests().empty()) << name;
    }
}

TEST_F(NelkactlOutput, FileBelowDevIsWrittenTo)
{
    const TemporaryFolder shared("/dev/shm");
    const std::string path = shared.path / "file";
    fileWith(path, "something longer");
    const ino_t inode = state(path).st_ino;
    EXPECT_EQ(fetched(path).status, 0);
    EXPECT_EQ(contents(path), "bytes");
    EXPECT_EQ(state(path).st_ino, inode);
    EXPECT_EQ(fetched(shared.path / "new").status, 0);
    EXPECT_EQ(contents(shared.path / "new"), "bytes");
}

TEST_F(NelkactlOutput, HardLinksAreKept)
{
    keep("something longer");
    std::filesystem::create_hard_link(file(), folder / "other");
    EXPECT_EQ(fetched(file()).status, 0);
    EXPECT_EQ(contents(folder / "other"), "bytes");
    EXPECT_EQ(state(file()).st_nlink, 2U);
}

TEST_F(NelkactlOutput, FileInReadOnlyFolderIsOverwritten)
{
    keep("something longer");
    chmod(folder.c_str(), 0555);
    const Finished finished = fetchedUnprivileged();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(contents(file()), "bytes");
    chmod(folder.c_str(), 0700);
}

TEST_F(NelkactlOutput, UnwritableFileIsRefusedBeforeCall)
{
    keep("former");
    chmod(file().c_str(), 0444);
    const Finished finished = fetchedUnprivileged();
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_TRUE(slave.requests().empty());
}

TEST_F(NelkactlOutput, FullDiskLeavesFileThatIsNotReplaced)
{
    keep("former");
    std::filesystem::create_hard_link(file(), folder / "other");
    const Finished finished = fetched(file(), "", preloading("FULL_DISK=1"));
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(contents(file()), "former");
}

TEST_F(NelkactlOutput, NewFileHasModeOfUmask)
{
    EXPECT_EQ(fetched(file(), "", "umask 027; ").status, 0);
    EXPECT_EQ(state(file()).st_mode & 07777, 0640U);
}

TEST_F(NelkactlOutput, IsOnDiskBeforeItHasItsName)
{
    const std::string notes = folder / "notes";
    EXPECT_EQ(fetched(file(), "", preloading("SYNCS=" + notes + " JOURNAL=" + file())).status, 0);
    EXPECT_EQ(contents(notes), "-j") << "the bytes, then the folder";
}

TEST_F(NelkactlOutput, InterruptedSyncIsRepeated)
{
    const Finished finished = fetched(file(), "", preloading("INTERRUPT_SYNCS=1"));
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(contents(file()), "bytes");
}

TEST_F(NelkactlOutput, FailedReplacementLeavesFileAndNothingElse)
{
    keep("former");
    const Finished finished = fetched(file(), "", "trap '' XFSZ; ulimit -f 0; ");
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(contents(file()), "former");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(NelkactlOutput, ReplacedFileKeepsOwner)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "no right to make a file somebody else's";
    keep("former");
    ASSERT_EQ(chown(file().c_str(), 65534, 65534), 0);
    chmod(file().c_str(), 04640);
    EXPECT_EQ(fetched(file()).status, 0);
    const struct stat after = state(file());
    EXPECT_EQ(after.st_uid, 65534U);
    EXPECT_EQ(after.st_gid, 65534U);
    EXPECT_EQ(after.st_mode & 07777, 04640U);
}

TEST_F(NelkactlOutput, FileOfNewOwnerLosesPrivilegesOfFormer)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "no right to make a file somebody else's";
    keep("former");
    ASSERT_EQ(chown(file().c_str(), 65534, 65534), 0);
    chmod(file().c_str(), 06666);
    const Finished finished = fetchedUnprivileged();
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(state(file()).st_uid, 0U);
    EXPECT_EQ(state(file()).st_mode & 07777, 0666U);
}

// Deletion on the slave --------------------------------------------------------------------------------------------

class NelkactlDeletion : public Nelkactl {
protected:
    const Step former = replyArray({xml::i4(0), xml::base64("bytes")});
    const Words words{"RdFicheroEsclavo", "x", "1", "--json", "--output", "{file}"};

    /// The value of BORRAR in each call: 0 to send only, otherwise to delete too.
    Words asked() const
    {
        Words all;
        for (const xml::Request& call : slave.calls())
            all.push_back(call.parameters.at(1));
        return all;
    }

    Finished fetched(const Step& second)
    {
        slave.play({former, second});
        const Finished finished = type(words);
        EXPECT_EQ(asked(), (Words{"i4 0", "i4 1"}));
        EXPECT_EQ(contents(file()), "bytes");
        return finished;
    }
};

TEST_F(NelkactlDeletion, FollowsStoringOfBlock)
{
    slave.play({former, silence()});
    Program program(command(words), environment());
    slave.awaitRequests(2);
    EXPECT_EQ(contents(file()), "bytes");
    EXPECT_EQ(asked(), (Words{"i4 0", "i4 1"}));
}

TEST_F(NelkactlDeletion, OfSameBlockAddsNothing)
{
    const Finished finished = fetched(former);
    EXPECT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(essence(finished.out), R"({"operation":"RdFicheroEsclavo","ending":"done","fault":0,"bytes":5})");
    EXPECT_EQ(finished.err, "");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 2) << "block and file";
}

TEST_F(NelkactlDeletion, OfOtherBlockKeepsBoth)
{
    const Finished finished = fetched(replyArray({xml::i4(0), xml::base64("changed")}));
    EXPECT_EQ(finished.status, 0) << finished;
    const std::string kept = nlohmann::json::parse(finished.out)["kept"];
    EXPECT_EQ(contents(kept), "changed");
    EXPECT_EQ(std::filesystem::path(kept).parent_path(), folder);
    EXPECT_TRUE(finished.err.ends_with(": done: the file changed meanwhile: " + file() + " holds the first answer, "
                                       + kept + " the second\n"))
        << finished;
}

TEST_F(NelkactlDeletion, OfOtherBlockAfterPipeKeepsBoth)
{
    slave.play({former, replyArray({xml::i4(0), xml::base64("changed")})});
    const Finished finished = type({"RdFicheroEsclavo", "x", "1", "--output", "-"});
    EXPECT_EQ(finished.out.substr(0, 5), "bytes") << finished;
    const std::size_t start = finished.err.find("holds the first answer, ") + 24;
    const std::string kept = finished.err.substr(start, finished.err.find(" the second") - start);
    EXPECT_EQ(contents(kept), "changed") << finished;
    std::filesystem::remove(kept);
}

TEST_F(NelkactlDeletion, OfOtherBlockBesideReadOnlyFolderKeepsBoth)
{
    const TemporaryFolder elsewhere;
    keep("former");
    chmod(folder.c_str(), 0555);
    slave.play({former, replyArray({xml::i4(0), xml::base64("changed")})});
    const Finished finished =
        run(unprivileged(command(words)), environment() + Words{"TMPDIR=" + elsewhere.path.string()});
    chmod(folder.c_str(), 0700);
    ASSERT_EQ(finished.status, 0) << finished;
    EXPECT_EQ(contents(file()), "bytes");
    const std::string kept = nlohmann::json::parse(finished.out)["kept"];
    EXPECT_EQ(std::filesystem::path(kept).parent_path(), elsewhere.path);
    EXPECT_EQ(contents(kept), "changed");
}

TEST_F(NelkactlDeletion, IsOmittedAfterInterruptWhileStoring)
{
    slave.play({replyArray({xml::i4(0), xml::base64("first\n" + std::string(200'000, 'x'))})});
    Program program(command({"RdFicheroEsclavo", "x", "1", "--output", "-"}), environment());
    EXPECT_EQ(program.line(), "first");
    program.signal(SIGINT); // the rest is more than a pipe holds
    const Finished finished = program.finish();
    EXPECT_EQ(finished.status, -SIGINT) << finished.err;
    EXPECT_EQ(finished.out.substr(0, 200'000), std::string(200'000, 'x'));
    EXPECT_EQ(asked(), (Words{"i4 0"}));
}

TEST_F(NelkactlDeletion, IsOmittedIfBlockCannotBeWritten)
{
    slave.play({former});
    const Finished finished = type({"RdFicheroEsclavo", "x", "1", "--output", "/dev/full"});
    EXPECT_EQ(finished.status, 2) << finished;
    EXPECT_EQ(asked(), (Words{"i4 0"}));
}

TEST_F(NelkactlDeletion, IsOmittedAfterRefusal)
{
    slave.play({replyArray({xml::i4(3), xml::base64("bytes")})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_TRUE(finished.err.ends_with(": the slave's status is 3; the slave keeps its file\n")) << finished;
    EXPECT_EQ(asked(), (Words{"i4 0"}));
}

TEST_F(NelkactlDeletion, IsOmittedWithoutBlock)
{
    slave.play({replyArray({xml::i4(0)})});
    const Finished finished = type(words);
    EXPECT_EQ(finished.status, 3) << finished;
    EXPECT_TRUE(finished.err.ends_with(": no block came; the slave keeps its file\n")) << finished;
    EXPECT_EQ(asked(), (Words{"i4 0"}));
}

TEST_F(NelkactlDeletion, WithoutAnswerLosesNothing)
{
    const Step tooLarge = replyArray({xml::i4(0), xml::base64(std::string(800'000, 'x'))});
    for (const Step& second : {resetAfterRequest(), tooLarge}) {
        const Finished finished = fetched(second);
        EXPECT_EQ(finished.status, 3) << finished;
        EXPECT_TRUE(
            finished.err.ends_with("; " + file() + " holds the block, and the slave may have deleted its file\n"))
            << finished;
        EXPECT_NE(finished.out.find(R"("bytes":5)"), std::string::npos) << finished;
    }
}

TEST_F(NelkactlDeletion, RefusalNamesStoredFile)
{
    const Finished finished = fetched(replyArray({xml::i4(2)}));
    EXPECT_EQ(finished.status, 1) << finished;
    EXPECT_TRUE(finished.err.ends_with(": the slave's status is 2; " + file() + " holds the block\n")) << finished;
}

} // namespace
