#include "EndToEnd/CaptureTest.h"

#include <csignal>

using namespace std::chrono_literals;
using namespace support;

namespace {

// What happens to the engine.
enum class Fault { EngineKilled, EngineHangs, PageKilled };
// And when.
enum class Moment { WaitingForThePage, LoadingAPicture, InTheGracePeriod, AskingABusyPage, WhileSaving };

struct Cell {
    Fault fault;
    Moment moment;
};

std::string nameOf(const testing::TestParamInfo<Cell>& info)
{
    static constexpr const char* faults[] = {"EngineKilled", "EngineHangs", "PageKilled"};
    static constexpr const char* moments[] = {
        "WaitingForThePage", "LoadingAPicture", "InTheGracePeriod", "AskingABusyPage", "WhileSaving"};
    return std::string(faults[static_cast<int>(info.param.fault)]) + moments[static_cast<int>(info.param.moment)];
}

// Every fault at every moment of a capture gives exactly one record and status 0, and leaves nothing behind; capture() and
// finish() check that for every run.
class FaultAtMoment : public CaptureTest, public testing::WithParamInterface<Cell> {
protected:
    FaultAtMoment()
    {
        settings["LogWebTool"] = true;
        settings["WebToolTimeout"] = int64_t(60);
    }

    // A capture that has come to the moment.
    std::unique_ptr<Subprocess> startUntil(Moment moment)
    {
        std::string markup = "<!DOCTYPE html><title>t</title><p>text";
        if (moment == Moment::LoadingAPicture)
            markup += "<img src=never.png>";
        // Its script has begun when the grace period is over, and runs until the fault: what the page is asked has no answer.
        if (moment == Moment::AskingABusyPage) {
            settings["WebToolExtraLoadingTime"] = int64_t(1);
            markup += "<script>onload = () => setTimeout(() => { for (;;); })</script>";
        }
        // Long enough to be read for the fault to meet the reading.
        if (moment == Moment::WhileSaving)
            markup += "<script>for (let i = 0; i < 30; ++i) { const part = document.createElement('p'); part.hidden = true;"
                      "part.textContent = 'x'.repeat(1e6); document.body.append(part) }</script>";
        if (moment == Moment::InTheGracePeriod)
            settings["WebToolExtraLoadingTime"] = int64_t(60);
        server.on("/page.html", html(markup));
        server.hold("/never.png");
        if (moment == Moment::WaitingForThePage)
            server.hold("/page.html");
        auto process = start(url("/page.html"));
        switch (moment) {
        case Moment::WaitingForThePage:
            EXPECT_TRUE(server.waitForRequests("/page.html"));
            break;
        case Moment::LoadingAPicture:
            EXPECT_TRUE(server.waitForRequests("/never.png"));
            break;
        case Moment::InTheGracePeriod:
            EXPECT_TRUE(process->waitForError("Extra wait in loop", 30s));
            break;
        case Moment::AskingABusyPage:
        case Moment::WhileSaving:
            EXPECT_TRUE(process->waitForError("] done loading", 30s));
            break;
        }
        return process;
    }

    // The processes that the fault happens to.
    static std::vector<pid_t> victims(pid_t tool, Fault fault)
    {
        std::vector<pid_t> found = descendantsOf(tool);
        std::erase_if(found, [fault](pid_t candidate) {
            const std::string line = commandLineOf(candidate);
            if (fault == Fault::PageKilled)
                return line.find("--type=renderer") == std::string::npos;
            return line.find("--type=") != std::string::npos || line.find("--remote-debugging-pipe") == std::string::npos;
        });
        return found;
    }
};

TEST_P(FaultAtMoment, GivesOneRecord)
{
    const auto process = startUntil(GetParam().moment);
    const std::vector<pid_t> found = victims(process->processIdentifier(), GetParam().fault);
    // A capture that is being saved may be over already.
    ASSERT_TRUE(!found.empty() || GetParam().moment == Moment::WhileSaving);
    const auto fault = std::chrono::steady_clock::now();
    for (const pid_t victim : found)
        kill(victim, GetParam().fault == Fault::EngineHangs ? SIGSTOP : SIGKILL);
    const Captured captured = finish(*process);
    // Five seconds, and what a busy machine adds.
    EXPECT_LT(std::chrono::steady_clock::now() - fault, 10s);
    // What has been read before the fault may be saved; half a page is never.
    if (captured.record.hasSucceeded()) {
        EXPECT_EQ(GetParam().moment, Moment::WhileSaving);
        return;
    }
    EXPECT_FALSE(captured.record.errorString.value_or("").empty());
    EXPECT_EQ(captured.record.url, url("/page.html"));
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
    if (GetParam().moment == Moment::AskingABusyPage || GetParam().moment == Moment::WhileSaving) {
        EXPECT_TRUE(error.domain == "NSCocoaErrorDomain" || error.domain == "NSURLErrorDomain"
            || error.domain == "com.brackenlow.tarnwick.webtool")
            << error.domain;
    } else if (GetParam().fault == Fault::PageKilled && GetParam().moment == Moment::LoadingAPicture && error.code == 512) {
        // The engine told of the end of loading before that of the process, and nothing was left to be saved.
        EXPECT_EQ(error.domain, "NSCocoaErrorDomain");
    } else if (GetParam().fault == Fault::EngineHangs) {
        EXPECT_EQ(error.domain, "com.brackenlow.tarnwick.webtool");
    } else {
        EXPECT_EQ(error.domain, "NSURLErrorDomain");
        EXPECT_EQ(error.code, -1) << captured.process.error;
        EXPECT_FALSE(error.value("NSLocalizedFailureReason").value_or("").empty());
    }
}

std::vector<Cell> matrix()
{
    std::vector<Cell> cells;
    for (const Fault fault : {Fault::EngineKilled, Fault::EngineHangs, Fault::PageKilled}) {
        for (const Moment moment : {Moment::WaitingForThePage, Moment::LoadingAPicture, Moment::InTheGracePeriod,
                 Moment::AskingABusyPage, Moment::WhileSaving})
            cells.push_back({fault, moment});
    }
    return cells;
}

INSTANTIATE_TEST_SUITE_P(Matrix, FaultAtMoment, testing::ValuesIn(matrix()), nameOf);

}
