#include "Platform/Network/DownloadTest.h"

#include <atomic>
#include <fstream>
#include <thread>

namespace {

using Names = std::vector<std::string>;

// Thrown by delegates; deliberately no exception class.
struct RunEnded {
    std::string word;
};

class DownloadDelegate : public DownloadTest {
protected:
    DownloadDelegate()
    {
        server.on("/x", support::typed("text/plain", std::string(1'000'000, 'x')));
        server.onRaw("/cut", [](support::Exchange& exchange) {
            exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
            exchange.close();
        });
    }
    const Names words = {"response", "destination", "created", "data", "finish"};
};

TEST_F(DownloadDelegate, CanThrowOutOfTheRunOfTheLoopAndGoOnLater)
{
    for (const std::string& word : words) {
        SCOPED_TRACE(word);
        const auto download = start("/x");
        int thrown = 0;
        download->onNews = [&](const std::string& present) {
            if (present == word && thrown++ == 0)
                throw RunEnded{word};
        };
        try {
            static_cast<void>(download->ends());
            ADD_FAILURE() << "nothing was thrown";
        } catch (const RunEnded& ended) {
            EXPECT_EQ(ended.word, word);
        }
        ASSERT_TRUE(download->finishes());
        EXPECT_EQ(download->story, "response destination created data finish");
        EXPECT_EQ(download->length, 1'000'000u);
    }
}

TEST_F(DownloadDelegate, CanThrowWhenToldOfAFailure)
{
    const auto download = start("/cut");
    download->onNews = [](const std::string& word) {
        if (word == "fail")
            throw RunEnded{word};
    };
    EXPECT_THROW(static_cast<void>(download->ends()), RunEnded);
    EXPECT_EQ(names(), Names());
    support::runLoopFor(0.02);
    EXPECT_EQ(download->story, "response destination created data fail");
}

TEST_F(DownloadDelegate, CanDestroyTheDownload)
{
    for (const std::string& word : words) {
        SCOPED_TRACE(word);
        const auto download = start("/x");
        download->onNews = [&](const std::string& present) {
            if (present == word)
                download->destroy();
        };
        ASSERT_TRUE(support::runLoopUntil([&] { return download->story.ends_with(word); }));
        support::runLoopFor(0.05);
        EXPECT_TRUE(download->story.ends_with(word)) << download->story;
        EXPECT_EQ(names(), word == "finish" ? Names{"x.txt"} : Names());
    }
}

TEST_F(DownloadDelegate, CanCancelTheDownload)
{
    for (const std::string& word : words) {
        SCOPED_TRACE(word);
        const auto download = start("/x");
        download->onNews = [&](const std::string& present) {
            if (present == word)
                download->download().cancel();
        };
        ASSERT_TRUE(support::runLoopUntil([&] { return download->story.ends_with(word); }));
        support::runLoopFor(0.05);
        EXPECT_TRUE(download->story.ends_with(word)) << download->story;
        EXPECT_EQ(names(), word == "finish" ? Names{"x.txt"} : Names());
    }
}

TEST_F(DownloadDelegate, CanRunTheLoopAndHearsNothingMeanwhile)
{
    const auto download = start("/x");
    int depth = 0;
    download->onNews = [&](const std::string&) {
        EXPECT_EQ(depth, 0);
        ++depth;
        support::runLoopFor(0.01);
        --depth;
    };
    ASSERT_TRUE(download->finishes());
    EXPECT_EQ(download->story, "response destination created data finish");
    EXPECT_EQ(download->length, 1'000'000u);
}

TEST_F(DownloadDelegate, CanStartAnotherDownload)
{
    const auto first = start("/x");
    std::unique_ptr<Downloading> second;
    first->onNews = [&](const std::string& word) {
        if (word == "finish")
            second = start("/x");
    };
    ASSERT_TRUE(first->finishes());
    ASSERT_TRUE(second->finishes());
    EXPECT_EQ(names(), (Names{"x-1.txt", "x.txt"}));
}

TEST_F(DownloadDelegate, IsNotNeeded)
{
    NSURLDownload download(requestFor(server.url("/x")), nullptr);
    download.setDestination(textOf(temporaryFolder.pathOf("quiet")), false);
    const std::string path = temporaryFolder.pathOf("quiet");
    EXPECT_TRUE(support::runLoopUntil([&] { return names() == Names{"quiet"} && support::readFile(path).size() == 1'000'000; }));
}

TEST_F(DownloadDelegate, HearsNothingOfDownloadsThatNeverRan)
{
    {
        const auto download = start("/x");
    }
    const auto cancelled = start("/x");
    cancelled->download().cancel();
    cancelled->download().cancel();
    support::runLoopFor(0.02);
    EXPECT_EQ(cancelled->story, "");
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(DownloadDelegate, HearsNothingOfADownloadThatIsDestroyedWhileItWaits)
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n";
    for (const std::string& begin : {std::string(), head, head + "12345"}) {
        SCOPED_TRACE(begin);
        std::atomic<bool> isClosed = false;
        server.onRaw("/wait", [&](support::Exchange& exchange) {
            exchange.send(begin);
            exchange.awaitClose();
            isClosed = true;
            exchange.close();
        });
        const size_t before = server.requests("/wait").size();
        auto download = start("/wait");
        const std::string expected = begin.empty() ? "" : begin == head ? "created" : "data";
        ASSERT_TRUE(support::runLoopUntil(
            [&] { return server.requests("/wait").size() > before && download->story.ends_with(expected); }));
        download.reset();
        EXPECT_EQ(names(), Names());
        EXPECT_TRUE(support::runLoopUntil([&] { return isClosed.load(); }));
    }
}

TEST_F(DownloadDelegate, IsCalledOnTheThreadThatStartedTheDownload)
{
    std::thread([this] {
        const auto thread = std::this_thread::get_id();
        const auto download = start("/x");
        download->onNews = [thread](const std::string&) { EXPECT_EQ(std::this_thread::get_id(), thread); };
        EXPECT_TRUE(download->finishes());
    }).join();
    EXPECT_EQ(names(), Names{"x.txt"});
}

// Bytes of this process in memory.
size_t residentSize()
{
    std::ifstream stream("/proc/self/statm");
    size_t total = 0;
    size_t resident = 0;
    stream >> total >> resident;
    return resident * 4096;
}

TEST_F(DownloadDelegate, SeesLittleMemoryInUse)
{
    constexpr size_t megabytes = 200;
    server.onRaw("/big", [](support::Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(megabytes << 20) + "\r\n\r\n");
        const std::string piece(1 << 20, 'x');
        for (size_t index = 0; index < megabytes && exchange.send(piece); ++index) { }
    });
    const auto download = start("/big");
    const size_t before = residentSize();
    size_t most = 0;
    download->onNews = [&](const std::string&) { most = std::max(most, residentSize()); };
    ASSERT_TRUE(download->finishes(60));
    EXPECT_EQ(download->length, megabytes << 20);
    EXPECT_LT(most - before, size_t{32} << 20);
}

}
