#include "EndToEnd/CaptureTest.h"

#include <csignal>
#include <limits>

using namespace std::chrono_literals;
using namespace support;

namespace {

// A capture that is ended from outside gives its answer all the same, and soon.
class EndRequest : public CaptureTest {
protected:
    EndRequest()
    {
        server.on("/page.html", html("<!DOCTYPE html><title>t</title><p>text<img src=never.png>"));
        settings["WebToolTimeout"] = int64_t(60);
    }

    // A capture that the server has been asked for `path` by, which is never answered.
    std::unique_ptr<Subprocess> startHanging(const std::string& path)
    {
        server.hold(path);
        const size_t before = server.requests(path).size();
        auto process = start(url("/page.html"));
        EXPECT_TRUE(server.waitForRequests(path, before + 1));
        return process;
    }

    // The record of a capture that was ended.
    void expectEnd(const Captured& captured, long long code, const std::string& reason)
    {
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        expectError(captured, "NSURLErrorDomain", code);
        EXPECT_EQ(captured.record.url, url("/page.html"));
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_EQ(error.value("NSLocalizedFailureReason").value_or(""), reason);
        EXPECT_EQ(error.value("NSErrorFailingURLStringKey").value_or(""), url("/page.html"));
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    }
};

TEST_F(EndRequest, BySignalIsAnsweredWithACancelledCapture)
{
    const std::pair<int, const char*> rows[] = {{SIGTERM, "Terminated"}, {SIGINT, "Interrupt"}, {SIGHUP, "Hangup"}};
    // While a picture is missing, and while the page itself is.
    for (const char* path : {"/never.png", "/page.html"}) {
        for (const auto& [signal, name] : rows) {
            SCOPED_TRACE(std::string(name) + " " + path);
            const auto process = startHanging(path);
            process->sendSignal(signal);
            expectEnd(finish(*process), -999, "The capture was ended by the signal “" + std::string(name) + "”.");
        }
    }
}

TEST_F(EndRequest, BySignalAtOnceIsAnswered)
{
    // Signals that come before there is anything to end wait until they can be answered.
    const auto process = start(url("/page.html"));
    process->sendSignal(SIGTERM);
    const ProcessOutcome outcome = process->wait(20s);
    if (outcome.signal) {
        // The program had not begun yet.
        EXPECT_EQ(outcome.signal, SIGTERM);
        EXPECT_EQ(outcome.output, "");
    } else {
        EXPECT_EQ(outcome.exitStatus, 0);
        EXPECT_EQ(readRecord(outcome.output).url, url("/page.html"));
    }
    expectNothingLeft();
}

TEST_F(EndRequest, ByManySignalsIsAnsweredOnce)
{
    const auto process = startHanging("/never.png");
    for (int round = 0; round < 20; ++round) {
        for (const int signal : {SIGTERM, SIGINT, SIGHUP})
            process->sendSignal(signal);
    }
    const Captured captured = finish(*process);
    expectError(captured, "NSURLErrorDomain", -999);
}

TEST_F(EndRequest, BySignalIsAnsweredDuringADownload)
{
    Response endless = typed("application/octet-stream", std::string(100'000, 'x'));
    endless.framing = Framing::Chunked;
    endless.endsChunks = false;
    endless.ending = Ending::StayOpen;
    server.on("/file.bin", endless);
    const auto process = start(url("/file.bin"));
    // The view asks first, then the download.
    ASSERT_TRUE(server.waitForRequests("/file.bin", 2));
    process->sendSignal(SIGTERM);
    const Captured captured = finish(*process);
    expectError(captured, "NSURLErrorDomain", -999);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
}

TEST_F(EndRequest, BySignalIsAnsweredWhileTheEngineHangs)
{
    server.on("/started", html(""));
    writeEngine("python3 -c \"import urllib.request; urllib.request.urlopen('" + url("/started") + "')\"\nexec sleep 1000\n");
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/started"));
    process->sendSignal(SIGTERM);
    const Captured captured = finish(*process);
    expectError(captured, "NSURLErrorDomain", -999);
}

TEST_F(EndRequest, ByTheTimeLimitIsAnsweredWithATimeOut)
{
    settings["WebToolMaxCaptureTime"] = int64_t(2);
    const auto process = startHanging("/never.png");
    const Captured captured = finish(*process);
    expectEnd(captured, -1001, "The capture took longer than the setting “WebToolMaxCaptureTime” allows.");
    EXPECT_GE(captured.seconds(), 2);
    // Without the limit it is the time-out of the load, some time later.
    EXPECT_LT(captured.seconds(), 20);
}

TEST_F(EndRequest, ByTheTimeLimitComesOnlyWhenTheHostAsksForOne)
{
    server.on("/whole.html", html("<!DOCTYPE html><title>whole</title>"));
    settings["WebToolExtraLoadingTime"] = int64_t(2);
    for (const int64_t limit :
        {int64_t(0), int64_t(-1), std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(), int64_t(3600)}) {
        SCOPED_TRACE(limit);
        settings["WebToolMaxCaptureTime"] = limit;
        expectArchive(capture(url("/whole.html")));
    }
    settings["WebToolMaxCaptureTime"] = int64_t(1);
    expectError(capture(url("/whole.html")), "NSURLErrorDomain", -1001);
}

}
