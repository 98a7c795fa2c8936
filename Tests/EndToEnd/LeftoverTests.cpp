#include "EndToEnd/CaptureTest.h"

#include <csignal>

using namespace std::chrono_literals;
using namespace support;

namespace {

// A tool that is ended from outside leaves neither processes nor files behind.
class Leftovers : public CaptureTest {
protected:
    // Ends a capture by `signal` once the server has been asked for `path`, which is never answered.
    void endAfterRequest(const std::string& path, int signal)
    {
        SCOPED_TRACE(path);
        server.on("/page.html", html("<!DOCTYPE html><title>t</title><p>text<img src=never.png>"));
        server.hold(path);
        const size_t before = server.requests(path).size();
        const auto process = start(url("/page.html"));
        ASSERT_TRUE(server.waitForRequests(path, before + 1));
        process->sendSignal(signal);
        const ProcessOutcome outcome = process->wait(20s);
        EXPECT_FALSE(outcome.timedOut);
        expectNothingLeft();
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    }
};

TEST_F(Leftovers, AreNoneWhenTheToolIsKilledWhileItWaitsForThePage)
{
    endAfterRequest("/page.html", SIGKILL);
}

TEST_F(Leftovers, AreNoneWhenTheToolIsKilledWhileThePageLoads)
{
    endAfterRequest("/never.png", SIGKILL);
}

TEST_F(Leftovers, AreNoneWhenTheToolIsKilledAsSoonAsItsEngineStarts)
{
    // The stand-in says on the server that it runs; the real engine follows.
    server.on("/started", html(""));
    writeEngine("python3 -c \"import urllib.request; urllib.request.urlopen('" + url("/started")
        + "')\"\nexec chromium-headless-shell \"$@\"\n");
    server.on("/page.html", html("<title>t</title>"));
    const auto process = start(url("/page.html"));
    ASSERT_TRUE(server.waitForRequests("/started"));
    process->sendSignal(SIGKILL);
    (void)process->wait(20s);
    expectNothingLeft();
}

TEST_F(Leftovers, AreNoneWhenTheToolIsKilledAtOnce)
{
    server.on("/page.html", html("<title>t</title>"));
    for (int run = 0; run < 5; ++run) {
        const auto process = start(url("/page.html"));
        process->sendSignal(SIGKILL);
        (void)process->wait(20s);
        expectNothingLeft();
    }
}

TEST_F(Leftovers, AreNoneOfManyCapturesAtOnce)
{
    server.on("/page.html", html("<!DOCTYPE html><title>t</title><img src=a.png>"));
    server.on("/a.png", typed("image/png", pngImage(1, 2, 3)));
    (void)folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
    std::vector<std::unique_ptr<Subprocess>> processes;
    for (int index = 0; index < 6; ++index) {
        const std::string number = std::to_string(index);
        processes.push_back(std::make_unique<Subprocess>(
            processOptions({url("/page.html?" + number), folder.pathOf("output/" + number + ".webarchive"), number})));
    }
    for (size_t index = 0; index < processes.size(); ++index) {
        const ProcessOutcome outcome = processes[index]->wait(60s);
        const ResultRecord record = readRecord(outcome.output);
        EXPECT_TRUE(record.hasSucceeded()) << record.errorString.value_or("");
        const InspectedArchive archive = readArchive(folder.pathOf("output/" + std::to_string(index) + ".webarchive"));
        EXPECT_EQ(archive.main.url, url("/page.html?" + std::to_string(index)));
        EXPECT_EQ(archive.resources.size(), 1U);
    }
    expectNothingLeft();
}

}
