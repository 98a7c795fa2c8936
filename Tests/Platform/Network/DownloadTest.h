#pragma once

#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Network/NSURLDownload.h"
#include "Support/Printing.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestServer.h"
#include "Support/Waiting.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

inline NSString textOf(const std::string& text)
{
    return NSString::stringWithUTF8String(text);
}

inline NSMutableURLRequest requestFor(const std::string& address, double timeoutInterval = 20)
{
    return NSMutableURLRequest::requestWithURL(
        NSURL::URLWithUncheckedString(textOf(address)), NSURLRequestReloadIgnoringLocalCacheData, timeoutInterval);
}

// A download and what it told. Its file goes into a folder under the suggested name unless a test says otherwise.
class Downloading : public NSURLDownloadDelegate {
public:
    explicit Downloading(const NSURLRequest& request, std::string folder)
        : _folder(std::move(folder)), _download(std::make_unique<NSURLDownload>(request, this))
    {
    }
    Downloading(const std::string& address, std::string folder) : Downloading(requestFor(address), std::move(folder)) { }

    // Runs the loop until the end of the download. Whether that came.
    [[nodiscard]] bool ends(double limit = 20)
    {
        return support::runLoopUntil([this] { return isFinished || !error.isAbsent(); }, limit);
    }
    [[nodiscard]] bool finishes(double limit = 20)
    {
        const bool ended = ends(limit);
        EXPECT_TRUE(error.isAbsent()) << error.description().UTF8();
        return ended && isFinished;
    }
    [[nodiscard]] bool fails(double limit = 20) { return ends(limit) && !isFinished; }
    NSURLDownload& download() { return *_download; }
    void destroy() { _download.reset(); }

    // What happened, data told once: "response destination created data finish".
    std::string story;
    NSURLResponse response;
    std::string suggestedFilename;
    std::string path;
    uint64_t length = 0;
    NSError error;
    bool isFinished = false;
    // Called first in the callback that adds this word to the story.
    std::function<void(const std::string&)> onNews = [](const std::string&) {};
    // Instead of the folder and the suggested name.
    std::string destination;
    bool mayOverwrite = false;
    bool choosesDestination = true;

private:
    void tell(const std::string& word)
    {
        if (!story.ends_with(word))
            story += (story.empty() ? "" : " ") + word;
        onNews(word);
    }
    void downloadDidReceiveResponse(NSURLDownload&, const NSURLResponse& received) override
    {
        response = received;
        tell("response");
    }
    void downloadDidReceiveDataOfLength(NSURLDownload&, uint64_t more) override
    {
        EXPECT_GT(more, 0u);
        length += more;
        tell("data");
    }
    void downloadDecideDestinationWithSuggestedFilename(NSURLDownload& download, const NSString& filename) override
    {
        suggestedFilename = filename.UTF8();
        if (choosesDestination)
            download.setDestination(
                destination.empty() ? textOf(_folder).stringByAppendingPathComponent(filename) : textOf(destination),
                mayOverwrite);
        tell("destination");
    }
    void downloadDidCreateDestination(NSURLDownload&, const NSString& created) override
    {
        path = created.UTF8();
        tell("created");
    }
    void downloadDidFinish(NSURLDownload&) override
    {
        isFinished = true;
        tell("finish");
    }
    void downloadDidFailWithError(NSURLDownload&, const NSError& failure) override
    {
        error = failure;
        tell("fail");
    }

    const std::string _folder;
    std::unique_ptr<NSURLDownload> _download;
};

// A server and an empty folder.
class DownloadTest : public testing::Test {
protected:
    [[nodiscard]] std::string folder() const { return temporaryFolder.path().string(); }
    [[nodiscard]] std::vector<std::string> names() const { return support::namesIn(temporaryFolder.path()); }
    [[nodiscard]] std::unique_ptr<Downloading> start(const std::string& path)
    {
        return std::make_unique<Downloading>(server.url(path), folder());
    }
    // What a finished download of `path` has saved.
    [[nodiscard]] std::string saved(const std::string& path)
    {
        const auto download = start(path);
        return download->finishes() ? support::readFile(download->path) : "did not finish";
    }
    // Downloads `path`, expects a failure that leaves nothing behind, and gives its code.
    [[nodiscard]] int64_t codeOfFailure(const std::string& path)
    {
        const auto download = start(path);
        EXPECT_TRUE(download->fails());
        EXPECT_EQ(download->error.domain(), NSURLErrorDomain);
        EXPECT_EQ(names(), std::vector<std::string>());
        return download->error.code();
    }

    support::TemporaryFolder temporaryFolder;
    support::TestServer server;
};

// The addresses that an error names under the three keys, which must agree.
inline std::string failingAddress(const NSError& error)
{
    const NSDictionary userInfo = error.userInfo();
    const NSString text = userInfo[NSURLErrorFailingURLStringErrorKey].string();
    EXPECT_EQ(userInfo[NSURLErrorFailingURLErrorKey].url().absoluteString(), text);
    EXPECT_EQ(userInfo[NSURLErrorKey].url().absoluteString(), text);
    return text.UTF8();
}
