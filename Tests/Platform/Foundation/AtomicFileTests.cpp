#include "Platform/Foundation/AtomicFile.h"

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <set>
#include <string>

namespace {

NSString nativePath(const std::string& path)
{
    return NSString::stringWithUTF8String(path);
}

mode_t permissionsOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

int64_t causeOf(const NSError& error)
{
    return error.userInfo()[NSUnderlyingErrorKey].error().code();
}

// Runs `body` in a process of its own, whose limits and identity it may change, and gives what it returns.
int inAnotherProcess(const std::function<int()>& body)
{
    const pid_t process = fork();
    if (process == 0)
        _exit(body());
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Root may write anywhere, so it becomes somebody else.
void giveUpPrivileges()
{
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
        _exit(99);
}

}

TEST(AtomicFile, AppearsOnlyWithTheCommit)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.pathOf("new");
    const auto file = AtomicFile::open(nativePath(path));
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->write("hello "));
    EXPECT_TRUE(file->write(std::string(200'000, 'x')));
    EXPECT_TRUE(file->write(" end"));
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(support::readFile(path), "hello " + std::string(200'000, 'x') + " end");
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"new"});
}

TEST(AtomicFile, LeavesNothingWithoutACommit)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.write("old", "before");
    {
        const auto file = AtomicFile::open(nativePath(path));
        ASSERT_TRUE(file);
        EXPECT_TRUE(file->write(std::string(100'000, 'x')));
        EXPECT_EQ(support::readFile(path), "before");
    }
    EXPECT_EQ(support::readFile(path), "before");
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"old"});
}

TEST(AtomicFile, CollectsSmallPiecesInOrder)
{
    const support::TemporaryFolder folder;
    const auto file = AtomicFile::open(nativePath(folder.pathOf("a")));
    ASSERT_TRUE(file);
    std::string expected;
    for (int i = 0; i < 50'000; ++i) {
        const std::string piece = std::to_string(i);
        expected += piece;
        EXPECT_TRUE(file->write(piece));
    }
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(support::readFile(folder.pathOf("a")), expected);
}

TEST(AtomicFile, ShowsAtMostAHiddenFileMeanwhile)
{
    // Nothing at all where the file system has files without names.
    const support::TemporaryFolder folder;
    std::set<std::string> names;
    for (int i = 0; i < 8; ++i) {
        const auto file = AtomicFile::open(nativePath(folder.pathOf("a")));
        ASSERT_TRUE(file);
        for (const std::string& name : support::namesIn(folder.path())) {
            EXPECT_EQ(name.front(), '.');
            EXPECT_GE(name.size(), 32u);
            EXPECT_TRUE(names.insert(name).second);
        }
    }
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>());
}

TEST(AtomicFile, OfAKilledProcessLeavesNothing)
{
    const support::TemporaryFolder folder;
    const FileDescriptor probe(::open(folder.path().c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0600));
    const pid_t child = fork();
    if (child == 0) {
        const auto file = AtomicFile::open(nativePath(folder.pathOf("a")));
        if (!file || !file->write(std::string(200'000, 'x')))
            _exit(1);
        raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    // A file system without nameless files keeps the hidden one; never one of the wanted name.
    EXPECT_EQ(support::namesIn(folder.path()).size(), probe ? 0U : 1U);
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("a")));
}

TEST(AtomicFile, FollowsAFolderThatIsRenamedMeanwhile)
{
    const support::TemporaryFolder folder;
    const std::string first = folder.makeFolder("first");
    const auto file = AtomicFile::open(nativePath(first + "/a"));
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->write("x"));
    std::filesystem::rename(first, folder.pathOf("second"));
    EXPECT_TRUE(file->commit());
    EXPECT_EQ(support::readFile(folder.pathOf("second/a")), "x");
}

TEST(AtomicFile, FailsWhenTheFolderVanishesMeanwhile)
{
    const support::TemporaryFolder folder;
    const std::string inner = folder.makeFolder("inner");
    const auto file = AtomicFile::open(nativePath(inner + "/a"));
    ASSERT_TRUE(file);
    std::filesystem::remove_all(inner);
    NSError error;
    EXPECT_FALSE(file->commit(&error));
    EXPECT_EQ(error.code(), NSFileNoSuchFileError);
}

TEST(NSDataWriteToFile, RefusesPathsThatCannotBeWritten)
{
    const support::TemporaryFolder folder;
    folder.makeFolder("folder");
    folder.write("file", "x");
    const struct {
        std::string path;
        int64_t code;
        int64_t cause;
    } rows[] = {
        {folder.pathOf("none/a"), NSFileNoSuchFileError, ENOENT},
        {folder.pathOf("folder"), NSFileWriteUnknownError, EISDIR},
        {folder.pathOf("folder/"), NSFileWriteUnknownError, EISDIR},
        {folder.pathOf("folder/."), NSFileWriteUnknownError, EISDIR},
        {folder.pathOf("folder/.."), NSFileWriteUnknownError, EISDIR},
        {folder.pathOf("file/a"), NSFileWriteUnknownError, ENOTDIR},
        {folder.pathOf(std::string(256, 'x')), NSFileWriteInvalidFileNameError, ENAMETOOLONG},
        {folder.pathOf(std::string("a\0b", 3)), NSFileWriteInvalidFileNameError, EILSEQ},
        {"", NSFileNoSuchFileError, ENOENT},
    };
    for (const auto& row : rows) {
        for (const NSDataWritingOptions options : {NSDataWritingAtomic, NSDataWritingNone}) {
            SCOPED_TRACE(row.path + (options ? ", atomic" : ""));
            if (!options && (row.path.ends_with(".") || row.path.ends_with("/")))
                continue;   // the system refuses these with one number or another
            NSError error;
            EXPECT_FALSE(NSData::dataWithBytes("new").writeToFile(nativePath(row.path), options, &error));
            EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
            EXPECT_EQ(error.code(), row.code);
            EXPECT_EQ(causeOf(error), row.cause);
            EXPECT_EQ(error.userInfo()[NSFilePathErrorKey].string(), nativePath(row.path));
        }
    }
    NSError error;
    EXPECT_FALSE(NSData::dataWithBytes("x").writeToFile(NSString(std::u16string{u'/', 0xd800}), NSDataWritingAtomic, &error));
    EXPECT_EQ(error.code(), NSFileWriteInvalidFileNameError);
    EXPECT_FALSE(NSData::dataWithBytes("x").writeToFile(NSString(), NSDataWritingAtomic, nullptr));
    EXPECT_EQ(support::namesIn(folder.path()), (std::vector<std::string>{"file", "folder"}));
    EXPECT_EQ(support::namesIn(folder.pathOf("folder")), std::vector<std::string>());
    EXPECT_EQ(support::readFile(folder.pathOf("file")), "x");
}

TEST(NSDataWriteToFile, TakesNamesAsLongAsTheFileSystemDoes)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.pathOf(std::string(255, 'x'));
    EXPECT_TRUE(NSData::dataWithBytes("a").writeToFile(nativePath(path), NSDataWritingAtomic));
    EXPECT_EQ(support::readFile(path), "a");
}

TEST(NSDataWriteToFile, GivesNewFilesWhatTheUmaskLeavesAndKeepsAnOldFilesPermissions)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.pathOf("a");
    const int result = inAnotherProcess([&] {
        umask(027);
        return NSData::dataWithBytes("1").writeToFile(nativePath(path), NSDataWritingAtomic) ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(permissionsOf(path), 0640u);
    chmod(path.c_str(), 0604);
    EXPECT_TRUE(NSData::dataWithBytes("2").writeToFile(nativePath(path), NSDataWritingAtomic));
    EXPECT_EQ(permissionsOf(path), 0604u);
    EXPECT_EQ(support::readFile(path), "2");
}

TEST(NSDataWriteToFile, ReplacesALinkAndLeavesItsTarget)
{
    const support::TemporaryFolder folder;
    const std::string target = folder.write("target", "old");
    const std::string link = folder.pathOf("link");
    std::filesystem::create_symlink(target, link);
    EXPECT_TRUE(NSData::dataWithBytes("new").writeToFile(nativePath(link), NSDataWritingAtomic));
    EXPECT_FALSE(std::filesystem::is_symlink(link));
    EXPECT_EQ(support::readFile(link), "new");
    EXPECT_EQ(support::readFile(target), "old");
    // Not atomically, the target is written.
    std::filesystem::remove(link);
    std::filesystem::create_symlink(target, link);
    EXPECT_TRUE(NSData::dataWithBytes("in place").writeToFile(nativePath(link), NSDataWritingNone));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(support::readFile(target), "in place");
}

// The size limit stands in for a disk that fills up: both end a write in the middle.
TEST(NSDataWriteToFile, KeepsTheOldFileWhenTheNewOneDoesNotFit)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.write("a", "old");
    const NSData big(std::vector<std::byte>(1'000'000));
    const auto write = [&](const std::string& to, NSDataWritingOptions options) {
        return inAnotherProcess([&] {
            std::signal(SIGXFSZ, SIG_IGN);
            const rlimit limit = {100'000, 100'000};
            setrlimit(RLIMIT_FSIZE, &limit);
            NSError error;
            if (big.writeToFile(nativePath(to), options, &error))
                return 1;
            return error.code() == NSFileWriteUnknownError && causeOf(error) == EFBIG ? 0 : 2;
        });
    };
    EXPECT_EQ(write(path, NSDataWritingAtomic), 0);
    EXPECT_EQ(support::readFile(path), "old");
    EXPECT_EQ(write(folder.pathOf("new"), NSDataWritingAtomic), 0);
    EXPECT_EQ(write(folder.pathOf("new"), NSDataWritingNone), 0);
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>{"a"});
}

TEST(AtomicFile, FailsForGoodAfterAFailedWrite)
{
    const support::TemporaryFolder folder;
    const int result = inAnotherProcess([&] {
        const auto file = AtomicFile::open(nativePath(folder.pathOf("a")));
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {100'000, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        NSError first;
        NSError second;
        NSError last;
        const bool refused = file && !file->write(std::string(200'000, 'x'), &first);
        limit.rlim_cur = RLIM_INFINITY;
        setrlimit(RLIMIT_FSIZE, &limit);
        return refused && !file->write("y", &second) && !file->commit(&last) && first == second && second == last ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(support::namesIn(folder.path()), std::vector<std::string>());
}

TEST(NSDataWriteToFile, TellsMissingPermission)
{
    const support::TemporaryFolder folder;
    const std::string locked = folder.makeFolder("locked");
    const std::string file = folder.write("locked/a", "old");
    chmod(folder.path().c_str(), 0755);
    chmod(locked.c_str(), 0555);
    chmod(file.c_str(), 0400);
    for (const NSDataWritingOptions options : {NSDataWritingAtomic, NSDataWritingNone}) {
        const int result = inAnotherProcess([&] {
            giveUpPrivileges();
            NSError error;
            return !NSData::dataWithBytes("x").writeToFile(nativePath(locked + "/b"), options, &error)
                    && error.code() == NSFileWriteNoPermissionError
                    && error.localizedDescription()
                        == NSString(u"You don’t have permission to save the file “b” in the folder “locked”.")
                ? 0
                : 1;
        });
        EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(support::namesIn(locked), std::vector<std::string>{"a"});
    chmod(locked.c_str(), 0755);
}

TEST(NSDataWriteToFile, WritesIntoFoldersThatMayNotBeListed)
{
    const support::TemporaryFolder folder;
    const std::string inner = folder.makeFolder("inner");
    chmod(folder.path().c_str(), 0755);
    chmod(inner.c_str(), 0733);
    const int result = inAnotherProcess([&] {
        giveUpPrivileges();
        return NSData::dataWithBytes("x").writeToFile(nativePath(inner + "/a"), NSDataWritingAtomic) ? 0 : 1;
    });
    EXPECT_EQ(result, 0);
    chmod(inner.c_str(), 0755);
    EXPECT_EQ(support::namesIn(inner), std::vector<std::string>{"a"});
}

TEST(NSDataWriteToFile, OverwritesInPlaceWhenNotAtomic)
{
    const support::TemporaryFolder folder;
    const std::string path = folder.write("a", "a longer text");
    EXPECT_TRUE(NSData::dataWithBytes("short").writeToFile(nativePath(path), NSDataWritingNone));
    EXPECT_EQ(support::readFile(path), "short");
    EXPECT_TRUE(NSData().writeToFile(nativePath(path), NSDataWritingAtomic));
    EXPECT_EQ(support::readFile(path), "");
}

TEST(NSDataWithContentsOfFile, ReadsAllBytes)
{
    const support::TemporaryFolder folder;
    std::string bytes;
    for (int i = 0; i < 300'000; ++i)
        bytes += static_cast<char>(i * 7);
    const NSData data = NSData::dataWithContentsOfFile(nativePath(folder.write("a", bytes)));
    EXPECT_EQ(data.characters(), bytes);
    const NSData empty = NSData::dataWithContentsOfFile(nativePath(folder.write("empty", "")));
    EXPECT_FALSE(empty.isAbsent());
    EXPECT_EQ(empty.length(), 0u);
    // A file that tells no size.
    EXPECT_GT(NSData::dataWithContentsOfFile(u"/proc/self/status").length(), 0u);
}

TEST(NSDataWithContentsOfFile, TellsWhyAFileCannotBeRead)
{
    const support::TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.pathOf("pipe").c_str(), 0600), 0);
    const struct {
        std::string path;
        int64_t code;
    } rows[] = {
        {folder.pathOf("none"), NSFileReadNoSuchFileError},
        {folder.path().string(), NSFileReadUnknownError},
        {folder.pathOf("pipe"), NSFileReadUnknownError},
        {folder.pathOf(std::string(256, 'x')), NSFileReadInvalidFileNameError},
        {std::string("a\0b", 3), NSFileReadInvalidFileNameError},
        {"", NSFileReadNoSuchFileError},
    };
    for (const auto& row : rows) {
        NSError error;
        EXPECT_TRUE(NSData::dataWithContentsOfFile(nativePath(row.path), &error).isAbsent());
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.code(), row.code) << row.path;
        EXPECT_EQ(error.userInfo()[NSFilePathErrorKey].string(), nativePath(row.path));
    }
    EXPECT_TRUE(NSData::dataWithContentsOfFile(NSString()).isAbsent());
}
