#include "Platform/Foundation/NSLog.h"

#include "Platform/Foundation/NSProcessInfo.h"
#include "Support/StandardErrorCapture.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

using support::StandardErrorCapture;

namespace {

// Whether `text` has the form of `shape`, in which "0" stands for a digit and "+" for a sign.
bool hasShape(std::string_view text, std::string_view shape)
{
    return std::equal(text.begin(), text.end(), shape.begin(), shape.end(), [](char character, char expected) {
        if (expected == '0')
            return character >= '0' && character <= '9';
        return expected == '+' ? character == '+' || character == '-' : character == expected;
    });
}

// The line without the time in front of it, which must be well-formed.
std::string withoutTime(const std::string& line)
{
    constexpr std::string_view shape = "0000-00-00 00:00:00.000000+0000 ";
    EXPECT_TRUE(hasShape(std::string_view(line).substr(0, shape.size()), shape)) << line;
    return line.substr(std::min(shape.size(), line.size()));
}

std::string header()
{
    const std::string number = std::to_string(::getpid());   // on the main thread, the thread's number too
    return NSProcessInfo::processInfo().processName().UTF8() + '[' + number + ':' + number + "] ";
}

}

TEST(NSLog, WritesTimeProcessThreadAndText)
{
    StandardErrorCapture capture;
    NSLog(u"%@ has %d parts", NSString(u"für"), 3);
    EXPECT_EQ(withoutTime(capture.take()), header() + "für has 3 parts\n");
}

TEST(NSLog, WritesAnEmptyTextAndEndsALineOnce)
{
    StandardErrorCapture capture;
    NSLogText(u"");
    EXPECT_EQ(withoutTime(capture.take()), header() + "\n");
    NSLogText(u"two\nlines\n");
    EXPECT_EQ(withoutTime(capture.take()), header() + "two\nlines\n");
}

TEST(NSLog, DoesNotExpandAText)
{
    StandardErrorCapture capture;
    NSLogText(u"100 %@ %s");
    EXPECT_EQ(withoutTime(capture.take()), header() + "100 %@ %s\n");
}

TEST(NSLog, WritesEachLineByOneCall)
{
    const StandardErrorCapture restorer;
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    ASSERT_GE(::dup2(ends[1], STDERR_FILENO), 0);
    ::close(ends[1]);
    const std::u16string text(2000, u'x');
    NSLogText(text);
    std::string packet(10'000, '\0');
    const ssize_t size = ::recv(ends[0], packet.data(), packet.size(), MSG_DONTWAIT);
    packet.resize(size > 0 ? static_cast<size_t>(size) : 0);
    ::close(ends[0]);
    EXPECT_TRUE(packet.ends_with("] " + std::string(2000, 'x') + "\n"));
}

TEST(NSLog, KeepsLinesOfManyThreadsWhole)
{
    StandardErrorCapture capture;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < 200; ++line)
                NSLog(u"thread %d line %d end", thread, line);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::istringstream written(capture.take());
    std::set<std::string> texts;
    size_t lines = 0;
    for (std::string line; std::getline(written, line); ++lines) {
        const std::string rest = withoutTime(line);
        texts.insert(rest.substr(rest.find("] ") + 2));
    }
    EXPECT_EQ(lines, 1600U);
    for (int thread = 0; thread < 8; ++thread) {
        for (int line = 0; line < 200; ++line)
            EXPECT_TRUE(texts.contains("thread " + std::to_string(thread) + " line " + std::to_string(line) + " end"));
    }
}

TEST(NSLog, GivesUpOnAStandardErrorThatTakesNothing)
{
    const StandardErrorCapture restorer;
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    const std::string filling(4096, 'x');
    while (::write(ends[1], filling.data(), filling.size()) > 0) { }
    ASSERT_GE(::dup2(ends[1], STDERR_FILENO), 0);
    NSLogText(u"lost");   // must return
    std::string all;
    std::string buffer(1 << 16, '\0');
    for (ssize_t size; (size = ::read(ends[0], buffer.data(), buffer.size())) > 0;)
        all.append(buffer, 0, static_cast<size_t>(size));
    EXPECT_TRUE(std::all_of(all.begin(), all.end(), [](char byte) { return byte == 'x'; }));
    NSLogText(u"kept");
    const ssize_t size = ::read(ends[0], buffer.data(), buffer.size());
    EXPECT_GT(size, 0) << "there is room again";
    ::close(ends[0]);
    ::close(ends[1]);
}
