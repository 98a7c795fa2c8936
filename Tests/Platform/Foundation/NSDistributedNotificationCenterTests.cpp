#include "Platform/Foundation/NSDistributedNotificationCenter.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"
#include "Support/SessionBus.h"
#include "Support/TemporaryFolder.h"
#include "Support/Waiting.h"

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using support::BusListener;
using support::now;
using support::SessionBus;

namespace {

// Keeps what a centre reports, on whatever thread. Outlives the centre in the hands of its thread.
class Reports {
public:
    [[nodiscard]] NSDistributedNotificationCenter::Report receiver() const
    {
        return [contents = _contents](const NSString& text) {
            const std::lock_guard lock(contents->mutex);
            contents->texts.push_back(text.UTF8());
            contents->changed.notify_all();
        };
    }
    // Waits until there is one, or the time is up, and gives all.
    std::vector<std::string> wait(std::chrono::milliseconds timeout) const
    {
        std::unique_lock lock(_contents->mutex);
        _contents->changed.wait_for(lock, timeout, [&] { return !_contents->texts.empty(); });
        return _contents->texts;
    }
    [[nodiscard]] std::vector<std::string> texts() const { return wait(0ms); }

private:
    struct Contents {
        std::mutex mutex;
        std::condition_variable changed;
        std::vector<std::string> texts;
    };
    std::shared_ptr<Contents> _contents = std::make_shared<Contents>();
};

// A listening socket where connections are taken by the system and never answered.
class SilentSocket {
public:
    explicit SilentSocket(const std::string& path) : _socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (::bind(_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || ::listen(_socket, 8) != 0)
            ADD_FAILURE() << "cannot listen at " << path;
    }
    SilentSocket(const SilentSocket&) = delete;
    SilentSocket& operator=(const SilentSocket&) = delete;
    ~SilentSocket() { ::close(_socket); }

private:
    int _socket;
};

// Sets or clears an environment variable while it lives.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::optional<std::string>& value) : _name(name)
    {
        if (const char* previous = std::getenv(name))
            _previous = previous;
        set(value);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { set(_previous); }

private:
    void set(const std::optional<std::string>& value)
    {
        if (value)
            ::setenv(_name, value->c_str(), 1);
        else
            ::unsetenv(_name);
    }
    const char* _name;
    std::optional<std::string> _previous;
};

size_t threadCount()
{
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(threads), end(threads)));
}

NSString numberText(int number)
{
    return NSString::stringWithFormat(u"%d", number);
}

constexpr auto Patience = 20'000ms;   // for what must come; never waited for when all is well

}

TEST(NSDistributedNotificationCenter, SendsASignalWithNameObjectAndUserInfo)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "com.example.progress.7");
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    center.postNotificationName(u"com.example.other", u"0.25", {}, true);
    center.postNotificationName(u"com.example.progress.7", u"0.5",
        {{u"flag", true}, {u"count", 3}, {u"part", 0.25}, {u"text", u"für"}, {u"bytes", NSData::dataWithBytes("\x01\x02")},
            {u"date", NSDate::dateWithTimeIntervalSinceReferenceDate(1.5)}, {u"list", NSArray{1, u"two"}},
            {u"more", NSDictionary{{u"inner", false}}}},
        true);
    const auto notices = listener.waitForNotices(1, Patience);
    ASSERT_EQ(notices.size(), 1U);
    EXPECT_EQ(notices[0].name, "com.example.progress.7");
    EXPECT_EQ(notices[0].object, "0.5");
    EXPECT_EQ(notices[0].signature, "(ssa{sv})");
    EXPECT_EQ(notices[0].userInfo,
        "{'flag': <true>, 'count': <int64 3>, 'part': <0.25>, 'text': <'für'>, 'bytes': <[byte 0x01, 0x02]>, 'date': <1.5>, "
        "'list': <[<int64 1>, <'two'>]>, 'more': <{'inner': <false>}>}");
}

TEST(NSDistributedNotificationCenter, SendsAbsentObjectsAndUserInfosAsEmptyOnes)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "name");
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    center.postNotificationName(u"name", {}, {}, true);
    const auto notices = listener.waitForNotices(1, Patience);
    ASSERT_EQ(notices.size(), 1U);
    EXPECT_EQ(notices[0].object, "");
    EXPECT_EQ(notices[0].userInfo, "{}");
}

TEST(NSDistributedNotificationCenter, RepairsWhatTheBusCannotCarry)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "name");
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    Value nested = u"innermost";
    for (int depth = 0; depth < 100; ++depth)
        nested = NSArray{nested};
    center.postNotificationName(
        u"name", NSString(std::u16string_view(u"a\0b\xD800", 4)), {{u"deep", nested}, {u"null", NSNull()}}, true);
    center.postNotificationName(u"name", u"next", {}, true);
    const auto notices = listener.waitForNotices(2, Patience);
    ASSERT_EQ(notices.size(), 2U);
    EXPECT_EQ(notices[0].object, "a\uFFFDb\uFFFD");
    EXPECT_NE(notices[0].userInfo.find("innermost"), std::string::npos);
    EXPECT_NE(notices[0].userInfo.find("'null': <'"), std::string::npos);
    EXPECT_EQ(notices[1].object, "next");
}

TEST(NSDistributedNotificationCenter, KeepsTheOrderOfThePostings)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "name");
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    constexpr int count = 200;
    for (int number = 0; number < count; ++number)
        center.postNotificationName(u"name", numberText(number), {}, true);
    const auto notices = listener.waitForNotices(count, Patience);
    ASSERT_EQ(notices.size(), static_cast<size_t>(count));
    for (int number = 0; number < count; ++number)
        EXPECT_EQ(notices[static_cast<size_t>(number)].object, std::to_string(number));
}

TEST(NSDistributedNotificationCenter, ServesManyThreadsAtOnce)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "name");
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int number = 0; number < 50; ++number)
                center.postNotificationName(u"name", numberText(number), {}, true);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(listener.waitForNotices(200, Patience).size(), 200U);
}

TEST(NSDistributedNotificationCenter, HasDeliveredEverythingToTheBusAfterAFlush)
{
    const SessionBus bus;
    BusListener listener(bus.address(), "name");
    {
        NSDistributedNotificationCenter center(bus.address(), nullptr);
        center.postNotificationName(u"name", u"first", {}, true);
        ASSERT_TRUE(listener.waitForObject("first", Patience));
        center.postNotificationName(u"name", u"last", {}, true);
        EXPECT_TRUE(center.flush(20));
    }
    EXPECT_TRUE(listener.waitForObject("last", Patience));
}

TEST(NSDistributedNotificationCenter, FlushesAtOnceWhenNothingWasPosted)
{
    const SessionBus bus;
    NSDistributedNotificationCenter center(bus.address(), nullptr);
    const double start = now();
    EXPECT_TRUE(center.flush(20));
    EXPECT_LT(now() - start, 5);
}

TEST(NSDistributedNotificationCenter, RefusesAPostingWithoutAName)
{
    NSDistributedNotificationCenter center(std::nullopt, nullptr);
    EXPECT_THROW(center.postNotificationName({}, u"object", {}, true), NSException);
}

TEST(NSDistributedNotificationCenter, CostsNothingWithoutABusAndSaysSoOnce)
{
    const Reports reports;
    NSDistributedNotificationCenter center(std::nullopt, reports.receiver());
    EXPECT_TRUE(reports.texts().empty()) << "reported before anything was posted";
    const size_t threadsBefore = threadCount();
    for (int number = 0; number < 100; ++number)
        center.postNotificationName(u"name", numberText(number), {}, true);
    EXPECT_TRUE(center.flush(20));
    EXPECT_EQ(threadCount(), threadsBefore);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"Distributed notifications are not sent: there is no session bus"}));
}

TEST(NSDistributedNotificationCenter, SaysOnceThatABusCannotBeReached)
{
    const support::TemporaryFolder folder;
    for (const std::string& address : {"unix:path=" + folder.pathOf("missing"), std::string("nonsense"), std::string()}) {
        const Reports reports;
        NSDistributedNotificationCenter center(address, reports.receiver());
        center.postNotificationName(u"name", u"first", {}, true);
        const auto texts = reports.wait(Patience);
        ASSERT_EQ(texts.size(), 1U) << address;
        EXPECT_TRUE(texts[0].starts_with("Distributed notifications are not sent: ")) << texts[0];
        center.postNotificationName(u"name", u"second", {}, true);
        EXPECT_TRUE(center.flush(20));
        EXPECT_EQ(reports.texts().size(), 1U);
    }
}

TEST(NSDistributedNotificationCenter, NeverWaitsForABusThatDoesNotAnswer)
{
    const support::TemporaryFolder folder;
    const SilentSocket socket(folder.pathOf("bus"));
    const Reports reports;
    const double start = now();
    double posted = 0;
    double flushed = 0;
    double flushedAgain = 0;
    {
        NSDistributedNotificationCenter center("unix:path=" + folder.pathOf("bus"), reports.receiver());
        for (int number = 0; number < 10'000; ++number)
            center.postNotificationName(u"name", numberText(number), {}, true);
        posted = now();
        EXPECT_FALSE(center.flush(20));
        flushed = now();
        EXPECT_FALSE(center.flush(20));
        flushedAgain = now();
    }
    EXPECT_LT(posted - start, 5);
    EXPECT_LT(flushed - posted, 5) << "the connection is waited for";
    EXPECT_LT(flushedAgain - flushed, 5) << "the connection is waited for once more";
    EXPECT_LT(now() - flushedAgain, 5) << "the end waits for the connection";
    EXPECT_TRUE(reports.texts().empty());
}

TEST(NSDistributedNotificationCenter, SaysOnceThatTheBusHasDied)
{
    SessionBus bus;
    BusListener listener(bus.address(), "name");
    const Reports reports;
    NSDistributedNotificationCenter center(bus.address(), reports.receiver());
    center.postNotificationName(u"name", u"first", {}, true);
    ASSERT_TRUE(listener.waitForObject("first", Patience));
    bus.kill();
    const double start = now();
    while (reports.texts().empty() && now() - start < 20)
        center.postNotificationName(u"name", u"after the end", {}, true);
    for (int number = 0; number < 100; ++number)
        center.postNotificationName(u"name", numberText(number), {}, true);
    EXPECT_TRUE(center.flush(20));
    EXPECT_EQ(reports.texts().size(), 1U);
}

TEST(NSDistributedNotificationCenter, NeverWaitsForABusThatHasStopped)
{
    SessionBus bus;
    BusListener listener(bus.address(), "name");
    const Reports reports;
    std::optional<NSDistributedNotificationCenter> center;
    center.emplace(bus.address(), reports.receiver());
    center->postNotificationName(u"name", u"first", {}, true);
    ASSERT_TRUE(listener.waitForObject("first", Patience));

    bus.suspend();
    const double start = now();
    const NSString large(std::u16string(1000, u'x'));
    for (int number = 0; number < 10'000; ++number)
        center->postNotificationName(u"name", numberText(number), {{u"large", large}}, true);
    center->postNotificationName(u"name", u"last", {}, true);
    EXPECT_LT(now() - start, 5);
    const double flushStart = now();
    EXPECT_FALSE(center->flush(0.05));
    EXPECT_LT(now() - flushStart, 5);

    bus.resume();
    EXPECT_TRUE(listener.waitForObject("last", Patience)) << "the newest notice must survive";
    EXPECT_LT(listener.waitForNotices(0, 0ms).size(), 10'000U) << "nothing was dropped, so nothing was bounded";
    EXPECT_TRUE(reports.texts().empty());
}

TEST(NSDistributedNotificationCenter, EndsAtOnceThoughTheBusHasStopped)
{
    SessionBus bus;
    BusListener listener(bus.address(), "name");
    std::optional<NSDistributedNotificationCenter> center;
    center.emplace(bus.address(), nullptr);
    center->postNotificationName(u"name", u"first", {}, true);
    ASSERT_TRUE(listener.waitForObject("first", Patience));
    bus.suspend();
    const NSString large(std::u16string(10'000, u'x'));
    for (int number = 0; number < 1000; ++number)
        center->postNotificationName(u"name", numberText(number), {{u"large", large}}, true);
    EXPECT_FALSE(center->flush(0.05));
    const double start = now();
    center.reset();
    EXPECT_LT(now() - start, 5);
    bus.resume();
}

TEST(NSDistributedNotificationCenter, TakesTheBusFromTheEnvironment)
{
    const support::TemporaryFolder folder;
    const support::TemporaryFolder odd;
    const SilentSocket socket(folder.pathOf("bus"));
    (void)odd.write("bus", "not a socket");
    const std::string own = "unix:path=" + folder.pathOf("bus");
    using Text = std::optional<std::string>;
    const struct {
        Text address;
        Text runtimeFolder;
        Text expected;
    } rows[] = {
        {"unix:path=/given", folder.path().string(), "unix:path=/given"},
        {"unix:path=/given;tcp:host=localhost", {}, "unix:path=/given;tcp:host=localhost"},
        {"autolaunch:", {}, {}},
        {"autolaunch:;unix:path=/given;", {}, "unix:path=/given"},
        {";;", {}, {}},
        {{}, folder.path().string(), own},
        {"", folder.path().string(), own},
        {{}, odd.path().string(), {}},
        {{}, folder.pathOf("missing"), {}},
        {{}, "relative", {}},
        {{}, {}, {}},
    };
    for (const auto& row : rows) {
        const EnvironmentVariable address("DBUS_SESSION_BUS_ADDRESS", row.address);
        const EnvironmentVariable runtimeFolder("XDG_RUNTIME_DIR", row.runtimeFolder);
        EXPECT_EQ(NSDistributedNotificationCenter::sessionBusAddressFromEnvironment(), row.expected)
            << row.address.value_or("none") << ", " << row.runtimeFolder.value_or("none");
    }
}
