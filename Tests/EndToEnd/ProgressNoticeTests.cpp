#include "EndToEnd/CaptureTest.h"
#include "Support/SessionBus.h"

#include <algorithm>
#include <charconv>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace support;

namespace {

const std::string namePrefix = "com.brackenlow.Tarnwick.webtool.progress.";
constexpr const char* notSent = "Distributed notifications are not sent: ";

std::vector<BusNotice> noticesOf(const std::vector<BusNotice>& notices, const std::string& identifier)
{
    std::vector<BusNotice> found;
    std::copy_if(notices.begin(), notices.end(), std::back_inserter(found),
        [&](const BusNotice& notice) { return notice.name == namePrefix + identifier; });
    return found;
}

// The number that a notice's object is the shortest text of; absent when it is no such text.
std::optional<double> fractionOf(const BusNotice& notice)
{
    double fraction = 0;
    const char* const end = notice.object.data() + notice.object.size();
    const auto outcome = std::from_chars(notice.object.data(), end, fraction);
    if (outcome.ec != std::errc() || outcome.ptr != end)
        return {};
    char text[64];
    const auto written = std::to_chars(text, text + sizeof text, fraction, std::chars_format::fixed);
    return notice.object == std::string_view(text, static_cast<size_t>(written.ptr - text)) ? std::optional(fraction)
                                                                                            : std::nullopt;
}

class ProgressNotices : public CaptureTest {
protected:
    ProgressNotices()
    {
        // The last notice is that of the pass after the page is complete.
        settings["WebToolExtraLoadingTime"] = int64_t(1);
        timeout = 20s;
        server.on("/late.png", typed("image/png", pngImage(1, 1, 1)));
        server.on("/page.html", html("<!DOCTYPE html><title>t</title><img src=late.png><p>" + std::string(20'000, 'x')));
    }

    // Starts a capture with that address of a bus in its environment, or with none.
    [[nodiscard]] std::unique_ptr<Subprocess> startOn(
        const std::optional<std::string>& busAddress, const std::string& identifier, const std::string& path = "/page.html")
    {
        environment["DBUS_SESSION_BUS_ADDRESS"] = busAddress;
        (void)folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
        return std::make_unique<Subprocess>(
            processOptions({url(path), outputFolder() + "/" + std::to_string(++_captures) + ".webarchive", identifier}));
    }
    // What finish() checks, but for leftovers: the bus is a process of this test too.
    Captured conclude(Subprocess& process) const
    {
        Captured captured;
        captured.process = process.wait(timeout);
        EXPECT_FALSE(captured.process.timedOut) << captured.process.error;
        EXPECT_EQ(captured.process.exitStatus, 0) << captured.process.error;
        captured.record = readRecord(captured.process.output);
        if (captured.record.hasSucceeded() && captured.record.path && captured.record.path->ends_with(".webarchive"))
            captured.archive = readArchive(*captured.record.path);
        return captured;
    }
    // Begins with "0", never falls, is at 1 only at the end, and carries nothing else.
    static void expectOneLoad(const std::vector<BusNotice>& notices)
    {
        ASSERT_GE(notices.size(), 2U);
        EXPECT_EQ(notices.front().object, "0");
        EXPECT_EQ(notices.back().object, "1");
        double before = 0;
        for (const BusNotice& notice : notices) {
            const std::optional<double> fraction = fractionOf(notice);
            ASSERT_TRUE(fraction) << '"' << notice.object << '"';
            EXPECT_GE(*fraction, before);
            EXPECT_LE(*fraction, 1);
            EXPECT_EQ(notice.userInfo, "{}");
            EXPECT_EQ(notice.signature, "(ssa{sv})");
            before = *fraction;
        }
    }

private:
    int _captures = 0;
};

TEST_F(ProgressNotices, OfTenCapturesAtOnceComeUnderTheirOwnIdentifiersEveryFifthOfASecond)
{
    constexpr size_t captures = 10;
    timeout = 60s;
    SessionBus bus;
    BusListener listener(bus.address(), "");
    server.hold("/late.png");
    std::vector<std::unique_ptr<Subprocess>> processes;
    for (size_t index = 0; index < captures; ++index)
        processes.push_back(startOn(bus.address(), "capture-" + std::to_string(index)));
    // The listener is kept busy meanwhile, so that each notice is stamped when it comes.
    ASSERT_TRUE(
        listener.waitUntil([&](const std::vector<BusNotice>&) { return server.requests("/late.png").size() >= captures; }, 60s));
    const auto quietFrom = std::chrono::steady_clock::now();

    // All ten wait for their picture now. Their notices of this time are the ones to measure.
    const auto quietNotices = [&](const std::vector<BusNotice>& notices, size_t index) {
        std::vector<BusNotice> found = noticesOf(notices, "capture-" + std::to_string(index));
        std::erase_if(found, [&](const BusNotice& notice) { return notice.time < quietFrom; });
        return found;
    };
    const auto haveSixEach = [&](const std::vector<BusNotice>& notices) {
        for (size_t index = 0; index < captures; ++index) {
            if (quietNotices(notices, index).size() < 6)
                return false;
        }
        return true;
    };
    ASSERT_TRUE(listener.waitUntil(haveSixEach, 20s));
    std::vector<double> gaps;
    for (size_t index = 0; index < captures; ++index) {
        const std::vector<BusNotice> quiet = quietNotices(listener.waitForNotices(0, 0ms), index);
        for (size_t at = 1; at < quiet.size(); ++at)
            gaps.push_back(std::chrono::duration<double>(quiet[at].time - quiet[at - 1].time).count());
        EXPECT_TRUE(std::all_of(quiet.begin(), quiet.end(), [](const BusNotice& notice) {
            const double fraction = fractionOf(notice).value_or(-1);
            return fraction > 0 && fraction < 1;
        }));
    }
    std::nth_element(gaps.begin(), gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2), gaps.end());
    EXPECT_GT(gaps[gaps.size() / 2], 0.15);
    EXPECT_LT(gaps[gaps.size() / 2], 0.3);

    for (size_t index = 0; index < captures; ++index)
        server.release("/late.png");
    for (const auto& process : processes)
        EXPECT_TRUE(conclude(*process).archive);
    const auto allHaveEnded = [&](const std::vector<BusNotice>& notices) {
        return std::count_if(notices.begin(), notices.end(), [](const BusNotice& notice) { return notice.object == "1"; })
            >= static_cast<std::ptrdiff_t>(captures);
    };
    EXPECT_TRUE(listener.waitUntil(allHaveEnded, 10s));
    const std::vector<BusNotice>& notices = listener.waitForNotices(0, 0ms);
    size_t counted = 0;
    for (size_t index = 0; index < captures; ++index) {
        SCOPED_TRACE(index);
        const std::vector<BusNotice> own = noticesOf(notices, "capture-" + std::to_string(index));
        expectOneLoad(own);
        counted += own.size();
    }
    EXPECT_EQ(counted, notices.size());
}

TEST_F(ProgressNotices, CarryTheIdentifierAsItStands)
{
    SessionBus bus;
    for (const char* identifier : {"4F2A-77", "", "with blanks and.dots", "%@%n%s", "/path", "ünï→𝔘"}) {
        SCOPED_TRACE(identifier);
        BusListener listener(bus.address(), namePrefix + identifier);
        const auto process = startOn(bus.address(), identifier);
        EXPECT_TRUE(conclude(*process).archive);
        EXPECT_TRUE(listener.waitForObject("1", 5s));
        expectOneLoad(listener.waitForNotices(0, 0ms));
    }
}

TEST_F(ProgressNotices, EndWithAFractionBeforeAnError)
{
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "failing");
    settings["WebToolTimeout"] = int64_t(1);
    settings["WebToolMaxTriesBeforeTimeout"] = int64_t(2);
    server.hold("/never.html");
    const auto process = startOn(bus.address(), "failing", "/never.html");
    const Captured captured = conclude(*process);
    expectError(captured, "NSURLErrorDomain", -1001);
    const std::vector<BusNotice>& notices = listener.waitForNotices(10, 5s);
    EXPECT_GE(notices.size(), 10U);
    for (const BusNotice& notice : notices) {
        const std::optional<double> fraction = fractionOf(notice);
        ASSERT_TRUE(fraction) << '"' << notice.object << '"';
        EXPECT_GE(*fraction, 0);
        EXPECT_LE(*fraction, 1);
    }
}

TEST_F(ProgressNotices, FindTheBusInTheRuntimeFolder)
{
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "found");
    const std::string path = bus.address().substr(std::string("unix:path=").size());
    environment["XDG_RUNTIME_DIR"] = path.substr(0, path.rfind('/'));
    const auto process = startOn(std::nullopt, "found");
    EXPECT_TRUE(conclude(*process).archive);
    EXPECT_TRUE(listener.waitForObject("1", 5s));
}

// A socket that a bus could have: it listens, and takes no connection.
class SilentSocket {
public:
    explicit SilentSocket(const std::string& path) : _descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        path.copy(name.sun_path, sizeof name.sun_path - 1);
        if (bind(_descriptor, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 || listen(_descriptor, 8) != 0)
            throw std::runtime_error("no socket at " + path);
    }
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;
    ~SilentSocket() { close(_descriptor); }

private:
    int _descriptor;
};

TEST_F(ProgressNotices, AreNotMissedWhereThereIsNoBus)
{
    const std::string file = folder.write("no-socket", "not a bus");
    (void)folder.makeFolder("socket");
    for (const std::string& address : {std::string(), std::string("unix:path=/nowhere/bus"), "unix:path=" + file,
             "tcp:host=127.0.0.1,port=" + std::to_string(unusedPort()), std::string("no address at all"),
             std::string("autolaunch:"), std::string("unix:path="), std::string(5000, 'x')}) {
        SCOPED_TRACE(address.substr(0, 60));
        const auto process = startOn(address, "nobody");
        const Captured captured = conclude(*process);
        EXPECT_TRUE(captured.archive) << captured.record.errorString.value_or("");
        EXPECT_LT(captured.seconds(), 10);
        EXPECT_EQ(captured.logCount(notSent), 1U) << captured.process.error;
        expectNothingLeft();
    }
}

TEST_F(ProgressNotices, DoNotWaitForABusThatNeverAnswers)
{
    const SilentSocket socket(folder.pathOf("silent"));
    const auto process = startOn("unix:path=" + folder.pathOf("silent"), "nobody");
    const Captured captured = conclude(*process);
    EXPECT_TRUE(captured.archive);
    EXPECT_LT(captured.seconds(), 10);
    expectNothingLeft();
}

TEST_F(ProgressNotices, DoNotWaitForABusThatStops)
{
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "stopping");
    server.hold("/late.png");
    const auto process = startOn(bus.address(), "stopping");
    ASSERT_TRUE(server.waitForRequests("/late.png"));
    ASSERT_GE(listener.waitForNotices(2, 10s).size(), 2U);
    bus.suspend();
    server.release("/late.png");
    const Captured captured = conclude(*process);
    EXPECT_TRUE(captured.archive);
    EXPECT_LT(captured.seconds(), 15);
}

TEST_F(ProgressNotices, GoOnWhenABusWakesUp)
{
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "waking");
    server.hold("/late.png");
    bus.suspend();
    const auto process = startOn(bus.address(), "waking");
    ASSERT_TRUE(server.waitForRequests("/late.png"));
    bus.resume();
    // What had to wait comes in its order, from the first one.
    EXPECT_GE(listener.waitForNotices(3, 10s).size(), 3U);
    server.release("/late.png");
    EXPECT_TRUE(conclude(*process).archive);
    EXPECT_TRUE(listener.waitForObject("1", 5s));
    expectOneLoad(listener.waitForNotices(0, 0ms));
}

TEST_F(ProgressNotices, DoNotMissABusThatDies)
{
    std::optional<SessionBus> bus(std::in_place);
    std::optional<BusListener> listener(std::in_place, bus->address(), namePrefix + "orphan");
    server.hold("/late.png");
    const auto process = startOn(bus->address(), "orphan");
    ASSERT_TRUE(server.waitForRequests("/late.png"));
    ASSERT_GE(listener->waitForNotices(2, 10s).size(), 2U);
    listener.reset();
    bus.reset();
    // It notices while it still waits, and waits on.
    EXPECT_TRUE(process->waitForError(notSent, 10s));
    server.release("/late.png");
    const Captured captured = conclude(*process);
    EXPECT_TRUE(captured.archive);
    EXPECT_EQ(captured.logCount(notSent), 1U) << captured.process.error;
    EXPECT_LT(captured.seconds(), 15);
    expectNothingLeft();
}

TEST_F(ProgressNotices, TellHowMuchOfADownloadHasCome)
{
    settings["WebToolExtraLoadingTime"] = int64_t(0);
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "half");
    const std::string half(100'000, 'h');
    server.onRaw("/file.bin", [&](Exchange& exchange) {
        // The view asks first and turns the file away; the download is the one to hold.
        const bool isForTheView = server.requests("/file.bin").size() < 2;
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nContent-Length: 200000\r\n\r\n" + half);
        if (!isForTheView && exchange.awaitRelease())
            exchange.send(half);
        else
            exchange.awaitClose();
        exchange.close();
    });
    const auto process = startOn(bus.address(), "half", "/file.bin");
    EXPECT_TRUE(listener.waitForObject("0.5", 10s));
    const size_t before = listener.waitForNotices(0, 0ms).size();
    const std::vector<BusNotice> quiet = listener.waitForNotices(before + 3, 5s);
    ASSERT_GE(quiet.size(), before + 3);
    const std::chrono::duration<double> gap = quiet[before + 2].time - quiet[before + 1].time;
    EXPECT_GT(gap.count(), 0.4);
    EXPECT_LT(gap.count(), 1);
    server.release("/file.bin");
    const Captured captured = conclude(*process);
    EXPECT_EQ(captured.record.path, outputFolder() + "/file.bin");
    EXPECT_EQ(readFile(outputFolder() + "/file.bin"), half + half);
}

TEST_F(ProgressNotices, TellAFractionBelowZeroForADownloadOfUnknownLength)
{
    settings["WebToolExtraLoadingTime"] = int64_t(0);
    SessionBus bus;
    BusListener listener(bus.address(), namePrefix + "unknown");
    server.onRaw("/file.bin", [&](Exchange& exchange) {
        const bool isForTheView = server.requests("/file.bin").size() < 2;
        exchange.send("HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nTransfer-Encoding: chunked\r\n\r\n");
        exchange.sendChunk(std::string(5000, 'x'));
        if (!isForTheView && exchange.awaitRelease())
            exchange.endChunks();
        else
            exchange.awaitClose();
    });
    const auto process = startOn(bus.address(), "unknown", "/file.bin");
    EXPECT_TRUE(listener.waitForObject("-5000", 10s));
    server.release("/file.bin");
    EXPECT_TRUE(conclude(*process).record.hasSucceeded());
}

}
