#include "Platform/Network/DownloadFile.h"
#include "Platform/Network/DownloadTest.h"
#include "Support/EnvironmentVariable.h"

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Names = std::vector<std::string>;

class DownloadDestination : public DownloadTest {
protected:
    DownloadDestination() { server.on("/name.txt", support::typed("text/plain", "new")); }
    [[nodiscard]] std::unique_ptr<Downloading> startTo(const std::string& destination)
    {
        auto download = start("/name.txt");
        download->destination = destination;
        return download;
    }
    // Downloads to `destination`, expects a file error that names `path`, and gives the errno value under it.
    [[nodiscard]] int64_t errnoOfFailure(const std::string& destination, const std::string& path)
    {
        const auto download = startTo(destination);
        EXPECT_TRUE(download->fails());
        EXPECT_EQ(download->story, "response destination fail");
        return errnoOf(download->error, path);
    }
    [[nodiscard]] static int64_t errnoOf(const NSError& error, const std::string& path)
    {
        EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
        EXPECT_EQ(error.userInfo()[NSFilePathErrorKey].string().UTF8(), path);
        return error.userInfo()[NSUnderlyingErrorKey].error().code();
    }
    // The body in two pieces, the second one after a release.
    void serveInTwoPieces(const std::string& path, size_t length)
    {
        server.onRaw(path, [length](support::Exchange& exchange) {
            exchange.send(
                "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(2 * length) + "\r\n\r\n" + std::string(length, 'a'));
            if (exchange.awaitRelease())
                exchange.send(std::string(length, 'b'));
        });
    }
};

TEST_F(DownloadDestination, IsNeverAFileThatExists)
{
    temporaryFolder.write("name.txt", "old");
    temporaryFolder.makeFolder("name-1.txt");
    std::filesystem::create_symlink(temporaryFolder.pathOf("target"), temporaryFolder.pathOf("name-2.txt"));
    const auto download = start("/name.txt");
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->path, temporaryFolder.pathOf("name-3.txt"));
    EXPECT_EQ(support::readFile(download->path), "new");
    EXPECT_EQ(support::readFile(temporaryFolder.pathOf("name.txt")), "old");
    EXPECT_EQ(names(), (Names{"name-1.txt", "name-2.txt", "name-3.txt", "name.txt"}));
}

TEST_F(DownloadDestination, IsAFreeNameForEachOfManyAtOnce)
{
    std::vector<std::unique_ptr<Downloading>> downloads;
    for (int count = 0; count < 5; ++count)
        downloads.push_back(start("/name.txt"));
    for (const auto& download : downloads)
        ASSERT_TRUE(download->finishes());
    EXPECT_EQ(names(), (Names{"name-1.txt", "name-2.txt", "name-3.txt", "name-4.txt", "name.txt"}));
}

TEST_F(DownloadDestination, IsRefusedWhenNoNameIsFree)
{
    temporaryFolder.write("name.txt", "old");
    for (int number = 1; number < 1000; ++number)
        ASSERT_EQ(mknod(temporaryFolder.pathOf("name-" + std::to_string(number) + ".txt").c_str(), S_IFREG | 0600, 0), 0);
    EXPECT_EQ(errnoOfFailure(temporaryFolder.pathOf("name.txt"), temporaryFolder.pathOf("name.txt")), EEXIST);
    EXPECT_EQ(names().size(), 1000u);
}

TEST_F(DownloadDestination, ReplacesAFileAtTheEndWhenAllowed)
{
    const std::string path = temporaryFolder.write("file", "old");
    serveInTwoPieces("/pieces", 100'000);
    const auto download = start("/pieces");
    download->destination = path;
    download->mayOverwrite = true;
    download->onNews = [&](const std::string& word) {
        if (word == "data") {
            EXPECT_EQ(support::readFile(path), "old");
            server.release("/pieces");
        }
    };
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->path, path);
    EXPECT_EQ(support::readFile(path), std::string(100'000, 'a') + std::string(100'000, 'b'));
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(DownloadDestination, KeepsTheOldFileWhenReplacingFails)
{
    const std::string path = temporaryFolder.write("file", "old");
    server.onRaw("/cut", [](support::Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
        exchange.close();
    });
    const auto download = start("/cut");
    download->destination = path;
    download->mayOverwrite = true;
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(support::readFile(path), "old");
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(DownloadDestination, IsAlwaysOnePlainNameInTheFolder)
{
    const struct {
        const char* what;
        std::string component;
        std::string name;
    } rows[] = {
        {"parent", "..", "name.txt"},
        {"itself", ".", "name.txt"},
        {"empty", "", "name.txt"},
        {"control character", "con\n", "con"},
        {"only control characters", "\x01\x7f", "name.txt"},
        {"300 bytes", std::string(296, 'n') + ".txt", std::string(251, 'n') + ".txt"},
        {"backslash", "a\\b", "a\\b"},
        {"blanks", " a ", " a "},
    };
    for (const auto& [what, component, name] : rows) {
        SCOPED_TRACE(what);
        const std::string inner = temporaryFolder.makeFolder("inner");
        const auto download = startTo(inner + '/' + component);
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(support::namesIn(inner), Names{name});
        EXPECT_EQ(download->path, inner + '/' + name);
        EXPECT_EQ(names(), Names{"inner"});
        std::filesystem::remove_all(inner);
    }
}

TEST_F(DownloadDestination, NeverLeavesTheFolderWhateverTheServerSays)
{
    const std::string inner = temporaryFolder.makeFolder("inner");
    for (const char* const name : {"..", ".", "con\x01", "a/b", "../../x", "/etc/x", "..\\y", "", "%2e%2e%2fz"}) {
        SCOPED_TRACE(name);
        server.on("/dir/",
            support::typed("text/plain", "x").with("Content-Disposition", "attachment; filename=\"" + std::string(name) + '"'));
        Downloading download(server.url("/dir/"), inner);
        ASSERT_TRUE(download.finishes());
        EXPECT_EQ(std::filesystem::path(download.path).parent_path(), inner);
        EXPECT_EQ(support::namesIn(inner), Names{std::filesystem::path(download.path).filename().string()});
        EXPECT_EQ(names(), Names{"inner"});
        std::filesystem::remove(download.path);
    }
}

TEST_F(DownloadDestination, MustBeAFolderThatExists)
{
    const std::string file = temporaryFolder.write("file", "x");
    EXPECT_EQ(errnoOfFailure(temporaryFolder.pathOf("missing/x"), temporaryFolder.pathOf("missing/x")), ENOENT);
    EXPECT_EQ(errnoOfFailure(file + "/x", file + "/x"), ENOTDIR);
    const std::string deep = temporaryFolder.pathOf(std::string(300, 'n')) + "/x";
    EXPECT_EQ(errnoOfFailure(deep, deep), ENAMETOOLONG);
    const std::string null = temporaryFolder.pathOf(std::string("a\0b", 3)) + "/x";
    EXPECT_EQ(errnoOfFailure(null, null), EILSEQ);
    EXPECT_EQ(names(), Names{"file"});
}

TEST_F(DownloadDestination, MustBeAFolderThatMayBeWritten)
{
    const std::string inner = temporaryFolder.makeFolder("inner");
    ASSERT_EQ(chmod(inner.c_str(), 0555), 0);
    // The superuser may write everywhere; in the file system's eyes this thread is somebody else for a while.
    const auto before = static_cast<uid_t>(setfsuid(geteuid() == 0 ? 65534 : geteuid()));
    const int64_t failure = errnoOfFailure(inner + "/x", inner + "/x");
    setfsuid(before);
    EXPECT_EQ(failure, EACCES);
    EXPECT_EQ(support::namesIn(inner), Names());
}

TEST_F(DownloadDestination, ThatVanishesEndsTheDownload)
{
    const std::string inner = temporaryFolder.makeFolder("inner");
    serveInTwoPieces("/pieces", 1000);
    const auto download = start("/pieces");
    download->destination = inner + "/x";
    download->onNews = [&](const std::string& word) {
        if (word == "data") {
            std::filesystem::remove_all(inner);
            server.release("/pieces");
        }
    };
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(errnoOf(download->error, inner + "/x"), ENOENT);
    EXPECT_EQ(names(), Names());
}

TEST_F(DownloadDestination, ThatMovesAwayTakesNoFileAlong)
{
    const std::string inner = temporaryFolder.makeFolder("inner");
    const auto download = startTo(inner + "/x");
    download->onNews = [&](const std::string& word) {
        if (word == "data")
            std::filesystem::rename(inner, temporaryFolder.pathOf("moved"));
    };
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(errnoOf(download->error, inner + "/x"), ENOENT);
    EXPECT_EQ(names(), Names{"moved"});
    EXPECT_EQ(support::namesIn(temporaryFolder.pathOf("moved")), Names());
}

TEST_F(DownloadDestination, IsNotRemovedWhenSomebodyElseHasTakenItsPlace)
{
    const auto download = startTo(temporaryFolder.pathOf("x"));
    download->onNews = [&](const std::string& word) {
        if (word == "data") {
            std::filesystem::remove(temporaryFolder.pathOf("x"));
            temporaryFolder.write("x", "of somebody else");
        }
    };
    ASSERT_TRUE(download->fails());
    EXPECT_EQ(support::readFile(temporaryFolder.pathOf("x")), "of somebody else");
}

TEST_F(DownloadDestination, ThatTakesNoMoreBytesEndsTheDownload)
{
    server.on("/big", support::typed("text/plain", std::string(1'000'000, 'x')));
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small = {.rlim_cur = 300'000, .rlim_max = before.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    for (const bool mayOverwrite : {false, true}) {
        const auto download = start("/big");
        download->mayOverwrite = mayOverwrite;
        const bool failed = download->fails();
        EXPECT_TRUE(failed);
        EXPECT_EQ(errnoOf(download->error, temporaryFolder.pathOf("big.txt")), EFBIG);
        EXPECT_EQ(names(), Names());
    }
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
}

TEST_F(DownloadDestination, CanBeSetBeforeTheDownloadStarts)
{
    const auto download = start("/name.txt");
    download->choosesDestination = false;
    download->download().setDestination(textOf(temporaryFolder.pathOf("chosen")), false);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(names(), Names{"chosen"});
}

// The user's folders are read once per process, so this needs one of its own.
TEST_F(DownloadDestination, IsTheUsersDownloadFolderUnlessSet)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto downloadInHome = [this] {
        temporaryFolder.makeFolder("home/Incoming");
        temporaryFolder.write("home/.config/user-dirs.dirs", "XDG_DOWNLOAD_DIR=\"$HOME/Incoming\"\n");
        const std::string home = temporaryFolder.pathOf("home");
        const support::EnvironmentVariable homeVariable("HOME", home.c_str());
        const support::EnvironmentVariable configuration("XDG_CONFIG_HOME", nullptr);
        const auto download = start("/name.txt");
        download->choosesDestination = false;
        const bool isRight =
            download->finishes() && download->path == home + "/Incoming/name.txt" && support::readFile(download->path) == "new";
        std::filesystem::remove_all(folder());
        _exit(isRight ? 42 : 1);
    };
    EXPECT_EXIT(downloadInHome(), testing::ExitedWithCode(42), "");
}

TEST(NumberedFilename, KeepsTheExtensionAndTheLimit)
{
    const std::string letters(255, 'n');
    const struct {
        std::string name;
        int number;
        std::string numbered;
    } rows[] = {
        {"name.txt", 1, "name-1.txt"},
        {"name.txt", 9999, "name-9999.txt"},
        {"name", 2, "name-2"},
        {"a.b.c", 1, "a.b-1.c"},
        {"archive.tar.gz", 1, "archive-1.tar.gz"},
        {".tar.gz", 1, ".tar-1.gz"},
        {".profile", 1, ".profile-1"},
        {"name.", 1, "name-1."},
        {"Version 1. A long sentence that is no extension", 1, "Version 1. A long sentence that is no extension-1"},
        {letters, 1, letters.substr(0, 253) + "-1"},
        {letters.substr(0, 251) + ".txt", 10, letters.substr(0, 248) + "-10.txt"},
        {letters.substr(0, 251) + "\xC3\xBC" + ".x", 1, letters.substr(0, 251) + "-1.x"},
        {letters.substr(0, 250) + "\xC3\xBC" + ".xy", 1, letters.substr(0, 250) + "-1.xy"},
    };
    for (const auto& [name, number, numbered] : rows) {
        EXPECT_EQ(numberedFilename(name, number), numbered);
        EXPECT_LE(numberedFilename(name, number).size(), 255u);
    }
}

}
