#include "Platform/Foundation/RunLoopFileSource.h"

#include "Support/Waiting.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

using support::processorTime;
using support::runLoopFor;
using support::runLoopOnce;
using support::runLoopUntil;

namespace {

class RunLoopFileSourceTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(::pipe2(_ends, O_NONBLOCK | O_CLOEXEC), 0); }
    void TearDown() override
    {
        closeReader();
        closeWriter();
    }
    [[nodiscard]] int reader() const { return _ends[0]; }
    [[nodiscard]] int writer() const { return _ends[1]; }
    void closeReader() { closeEnd(0); }
    void closeWriter() { closeEnd(1); }
    void write(std::string_view text)
    {
        ASSERT_EQ(::write(writer(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // What can be read now.
    std::string readAll()
    {
        std::string text(4096, '\0');
        const ssize_t size = ::read(reader(), text.data(), text.size());
        text.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return text;
    }

private:
    void closeEnd(int end)
    {
        if (_ends[end] >= 0)
            ::close(_ends[end]);
        _ends[end] = -1;
    }
    int _ends[2] = {-1, -1};
};

}

TEST_F(RunLoopFileSourceTest, TellsThatBytesHaveArrived)
{
    std::string received;
    const RunLoopFileSource source(reader(), FileReadiness::Readable, [&] { received += readAll(); });
    runLoopOnce();
    EXPECT_EQ(received, "");
    write("one");
    EXPECT_EQ(received, "") << "called outside a run of the loop";
    runLoopOnce();
    EXPECT_EQ(received, "one");
    write(" two");
    runLoopOnce();
    EXPECT_EQ(received, "one two");
}

TEST_F(RunLoopFileSourceTest, TellsAgainWhatWasNotTaken)
{
    int calls = 0;
    const RunLoopFileSource source(reader(), FileReadiness::Readable, [&] { ++calls; });
    write("x");
    runLoopOnce();
    runLoopOnce();
    EXPECT_EQ(calls, 2);
}

TEST_F(RunLoopFileSourceTest, TellsTheEndOfTheFile)
{
    bool ended = false;
    std::optional<RunLoopFileSource> source;
    source.emplace(reader(), FileReadiness::Readable, [&] {
        char byte;
        ended = ::read(reader(), &byte, 1) == 0;
        source.reset();
    });
    closeWriter();
    EXPECT_TRUE(runLoopUntil([&] { return ended; }));
    EXPECT_FALSE(source);
}

TEST_F(RunLoopFileSourceTest, TellsThatThereIsRoomToWrite)
{
    while (::write(writer(), "filled", 6) > 0) { }
    int calls = 0;
    RunLoopFileSource source(writer(), FileReadiness::Writable, [&] { ++calls; });
    runLoopFor(0.01);
    EXPECT_EQ(calls, 0);
    while (!readAll().empty()) { }
    runLoopOnce();
    EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopFileSourceTest, TellsAWriterThatTheReaderHasGone)
{
    while (::write(writer(), "filled", 6) > 0) { }
    bool told = false;
    RunLoopFileSource source(writer(), FileReadiness::Writable, [&] {
        told = true;
        source.pause();
    });
    closeReader();
    EXPECT_TRUE(runLoopUntil([&] { return told; }));
}

TEST_F(RunLoopFileSourceTest, IsSilentWhilePaused)
{
    int calls = 0;
    RunLoopFileSource source(reader(), FileReadiness::Readable, [&] {
        ++calls;
        readAll();
    });
    source.pause();
    source.pause();
    EXPECT_TRUE(source.isPaused());
    write("x");
    runLoopFor(0.01);
    EXPECT_EQ(calls, 0);
    source.resume();
    source.resume();
    EXPECT_FALSE(source.isPaused());
    runLoopOnce();
    EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopFileSourceTest, DoesNotSpinOnAHangUpWhilePaused)
{
    RunLoopFileSource source(reader(), FileReadiness::Readable, [] {});
    source.pause();
    closeWriter();
    runLoopOnce();
    const double start = processorTime();
    runLoopFor(0.2);
    EXPECT_LT(processorTime() - start, 0.05);
}

TEST_F(RunLoopFileSourceTest, CanBePausedByAnotherCallbackOfTheSamePass)
{
    int calls = 0;
    std::optional<RunLoopFileSource> first;
    std::optional<RunLoopFileSource> second;
    first.emplace(reader(), FileReadiness::Readable, [&] {
        ++calls;
        second->pause();
    });
    second.emplace(reader(), FileReadiness::Readable, [&] {
        ++calls;
        first->pause();
    });
    write("x");
    runLoopOnce();
    EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopFileSourceTest, IsCalledAgainWhenItsCallbackRunsTheLoop)
{
    std::string inner;
    int depth = 0;
    const RunLoopFileSource source(reader(), FileReadiness::Readable, [&] {
        ++depth;
        const std::string text = readAll();
        if (depth == 1) {
            write("answer");
            EXPECT_TRUE(runLoopUntil([&] { return !inner.empty(); }));
        } else {
            inner += text;
        }
        --depth;
    });
    write("question");
    runLoopOnce();
    EXPECT_EQ(inner, "answer");
}

TEST_F(RunLoopFileSourceTest, CanBeDestroyedInANestedRunOfItsOwnCallback)
{
    auto held = std::make_shared<int>(0);
    std::optional<RunLoopFileSource> source;
    source.emplace(reader(), FileReadiness::Readable, [&, held] {
        if (++*held == 1)
            runLoopOnce();
        else
            source.reset();
    });
    write("x");
    runLoopOnce();
    EXPECT_EQ(*held, 2);
    EXPECT_FALSE(source);
    EXPECT_EQ(held.use_count(), 1);
}

TEST_F(RunLoopFileSourceTest, HandsOnWhatItsCallbackThrows)
{
    const RunLoopFileSource source(reader(), FileReadiness::Readable, [&] { throw std::runtime_error(readAll()); });
    write("x");
    EXPECT_THROW(runLoopFor(30), std::runtime_error);
    EXPECT_NO_THROW(runLoopOnce());
}
