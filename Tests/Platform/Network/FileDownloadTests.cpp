#include "Platform/Network/DownloadTest.h"

#include <filesystem>
#include <sys/stat.h>

namespace {

class FileDownload : public DownloadTest {
protected:
    FileDownload() { temporaryFolder.makeFolder("to"); }
    [[nodiscard]] std::unique_ptr<Downloading> fetch(const std::string& address)
    {
        return std::make_unique<Downloading>(address, temporaryFolder.pathOf("to"));
    }
    [[nodiscard]] std::vector<std::string> fetched() const { return support::namesIn(temporaryFolder.pathOf("to")); }
};

TEST_F(FileDownload, CopiesTheFile)
{
    std::string bytes;
    while (bytes.size() < 3'000'000)
        bytes += std::to_string(bytes.size());
    const std::string path = temporaryFolder.write("from/picture.png", bytes);
    const auto download = fetch("file://" + path);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->story, "response destination created data finish");
    EXPECT_EQ(download->path, temporaryFolder.pathOf("to/picture.png"));
    EXPECT_TRUE(support::readFile(download->path) == bytes);
    EXPECT_EQ(download->length, bytes.size());
    EXPECT_EQ(download->response.expectedContentLength(), static_cast<int64_t>(bytes.size()));
    EXPECT_EQ(download->response.MIMEType(), NSString(u"image/png"));
    EXPECT_FALSE(download->response.isHTTP());
    EXPECT_EQ(support::readFile(path).size(), bytes.size());
}

TEST_F(FileDownload, ReadsNamesWithEscapesAndLeavesQueriesOut)
{
    const std::string path = temporaryFolder.write("from/a b#c?.txt", "x");
    const auto download = fetch("file://" + temporaryFolder.pathOf("from/a%20b%23c%3F.txt") + "?query#part");
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(support::readFile(download->path), "x");
    EXPECT_EQ(fetched(), std::vector<std::string>{"a b#c?.txt"});
}

TEST_F(FileDownload, MakesAnEmptyFileOfAnEmptyOne)
{
    const auto download = fetch("file://" + temporaryFolder.write("from/empty.txt", ""));
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->story, "response destination created finish");
    EXPECT_EQ(fetched(), std::vector<std::string>{"empty.txt"});
}

TEST_F(FileDownload, DoesNotReplaceTheFileItReads)
{
    const std::string path = temporaryFolder.write("to/same.txt", "x");
    const auto download = fetch("file://" + path);
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(fetched(), (std::vector<std::string>{"same-1.txt", "same.txt"}));
    EXPECT_EQ(support::readFile(path), "x");
}

TEST_F(FileDownload, FailsWhereThereIsNoFileToRead)
{
    ASSERT_EQ(mkfifo(temporaryFolder.pathOf("pipe").c_str(), 0600), 0);
    std::filesystem::create_symlink("loop", temporaryFolder.pathOf("loop"));
    const struct {
        std::string address;
        int64_t code;
    } rows[] = {
        {"file://" + temporaryFolder.pathOf("missing"), NSURLErrorFileDoesNotExist},
        {"file://" + temporaryFolder.write("file", "x") + "/below", NSURLErrorFileDoesNotExist},
        {"file://" + temporaryFolder.pathOf(std::string(300, 'n')), NSURLErrorFileDoesNotExist},
        {"file://" + temporaryFolder.pathOf("loop"), NSURLErrorFileDoesNotExist},
        {"file://elsewhere.test/x", NSURLErrorFileDoesNotExist},
        {"file://" + folder(), NSURLErrorFileIsDirectory},
        {"file:///", NSURLErrorFileIsDirectory},
        {"file://" + temporaryFolder.pathOf("pipe"), NSURLErrorResourceUnavailable},
        {"file:///dev/zero", NSURLErrorResourceUnavailable},
    };
    for (const auto& [address, code] : rows) {
        SCOPED_TRACE(address);
        const auto download = fetch(address);
        ASSERT_TRUE(download->fails());
        EXPECT_EQ(download->error.domain(), NSURLErrorDomain);
        EXPECT_EQ(download->error.code(), code);
        EXPECT_EQ(failingAddress(download->error), address);
        EXPECT_EQ(fetched(), std::vector<std::string>());
    }
}

TEST_F(FileDownload, CanBeDestroyedAtAnyMoment)
{
    const std::string address = "file://" + temporaryFolder.write("from/x.txt", std::string(1'000'000, 'x'));
    for (const std::string word : {"response", "destination", "created", "data"}) {
        SCOPED_TRACE(word);
        const auto download = fetch(address);
        download->onNews = [&](const std::string& present) {
            if (present == word)
                download->destroy();
        };
        ASSERT_TRUE(support::runLoopUntil([&] { return download->story.ends_with(word); }));
        support::runLoopFor(0.02);
        EXPECT_TRUE(download->story.ends_with(word));
        EXPECT_EQ(fetched(), std::vector<std::string>());
    }
}

}
