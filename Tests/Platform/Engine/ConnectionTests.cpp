#include "Platform/Engine/DevTools/Connection.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSRunLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

// The far end of the pipe is played by the test.
class ConnectionTest : public testing::Test {
protected:
    ConnectionTest()
    {
        int commands[2], messages[2];
        if (pipe2(commands, O_CLOEXEC | O_NONBLOCK) != 0 || pipe2(messages, O_CLOEXEC | O_NONBLOCK) != 0)
            throw std::runtime_error("no pipe");
        _commandsRead = commands[0];
        _commandsWrite = commands[1];
        _messagesRead = messages[0];
        _messagesWrite = messages[1];
        connection = std::make_unique<Connection>(_commandsWrite, _messagesRead);
        connection->setEventHandler([this](const Message& event) { news.emplace_back(event.method()); });
        connection->setClosedHandler([this](const NSString&) { news.emplace_back("closed"); });
    }
    ~ConnectionTest() override
    {
        connection.reset();
        for (const int descriptor : {_commandsRead, _commandsWrite, _messagesRead, _messagesWrite}) {
            if (descriptor >= 0)
                close(descriptor);
        }
    }

    void engineSays(std::string_view message)
    {
        std::string bytes(message);
        bytes += '\0';
        ASSERT_EQ(write(_messagesWrite, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void engineCloses()
    {
        close(_messagesWrite);
        _messagesWrite = -1;
    }
    std::string commandsSent()
    {
        std::string result(1 << 16, '\0');
        const ssize_t count = read(_commandsRead, result.data(), result.size());
        result.resize(count > 0 ? static_cast<size_t>(count) : 0);
        return result;
    }
    static void runLoop() { NSRunLoop::currentRunLoop().runUntilDate(NSDate::dateWithTimeIntervalSinceNow(-1)); }
    Connection::ReplyHandler noteReply(std::string name)
    {
        return [this, name = std::move(name)](
                   const Connection::Reply& reply) { news.push_back(name + (reply.refusal ? " refused" : " answered")); };
    }

    std::unique_ptr<Connection> connection;
    std::vector<std::string> news;
    int _commandsRead, _commandsWrite, _messagesRead, _messagesWrite;
};

using News = std::vector<std::string>;

}

TEST_F(ConnectionTest, SendsCommandsEndedByNul)
{
    connection->send({}, "Browser.getVersion", "{}");
    connection->send("S", "Page.enable", R"({"a":1})");
    EXPECT_EQ(commandsSent(),
        std::string("{\"id\":1,\"method\":\"Browser.getVersion\",\"params\":{}}\0"
                    "{\"id\":2,\"method\":\"Page.enable\",\"sessionId\":\"S\",\"params\":{\"a\":1}}\0",
            116));
}

TEST_F(ConnectionTest, DeliversOnlyInsideARunOfTheLoopAndInOrder)
{
    connection->send({}, "One", "{}", noteReply("one"));
    engineSays(R"({"method":"First","params":{}})");
    engineSays(R"({"id":1,"result":{}})");
    engineSays(R"({"method":"Second","params":{}})");
    EXPECT_EQ(news, News());
    runLoop();
    EXPECT_EQ(news, (News{"First", "one answered", "Second"}));
}

TEST_F(ConnectionTest, PutsAMessageTogetherThatComesInPieces)
{
    const std::string message = R"({"method":"Pieces","params":{"x":"0123456789"}})";
    for (const char byte : message) {
        ASSERT_EQ(write(_messagesWrite, &byte, 1), 1);
        runLoop();
    }
    EXPECT_EQ(news, News());
    engineSays("");
    runLoop();
    EXPECT_EQ(news, News{"Pieces"});
}

TEST_F(ConnectionTest, ThrowsIgnoredEventsAndUnreadableMessagesAway)
{
    connection->setIgnoredEvents([](std::string_view method) { return method == "Noise"; });
    engineSays(R"({"method":"Noise","params":{}})");
    engineSays("no json at all");
    engineSays(R"({"method":"News","params":{}})");
    runLoop();
    EXPECT_EQ(news, News{"News"});
}

TEST_F(ConnectionTest, WaitsForRepliesWhileEventsStayBehind)
{
    bool isAnswered = false;
    connection->send({}, "Ask", "{}", [&](const Connection::Reply&) { isAnswered = true; });
    engineSays(R"({"method":"Before","params":{}})");
    engineSays(R"({"id":1,"result":{}})");
    engineSays(R"({"method":"After","params":{}})");
    EXPECT_TRUE(connection->waitForReplies([&] { return isAnswered; }, steady_clock::now() + 5s));
    EXPECT_EQ(news, News());
    runLoop();
    EXPECT_EQ(news, (News{"Before", "After"}));
}

TEST_F(ConnectionTest, GivesUpWaitingAtTheDeadline)
{
    connection->send({}, "Ask", "{}", noteReply("late"));
    EXPECT_FALSE(connection->waitForReplies([] { return false; }, steady_clock::now() + 20ms));
    engineSays(R"({"id":1,"result":{}})");
    runLoop();
    EXPECT_EQ(news, News{"late answered"});
}

TEST_F(ConnectionTest, RefusesPendingCommandsAndThenTellsTheEnd)
{
    connection->send({}, "One", "{}", noteReply("one"));
    connection->send({}, "Two", "{}", noteReply("two"));
    engineSays(R"({"id":2,"result":{}})");
    engineCloses();
    runLoop();
    runLoop();
    EXPECT_EQ(news, (News{"two answered", "one refused", "closed"}));
    EXPECT_FALSE(connection->isOpen());
    connection->send({}, "Three", "{}", noteReply("three"));
    EXPECT_EQ(news.size(), 3U) << "a refusal is news like any other and waits for the loop";
    runLoop();
    EXPECT_EQ(news.back(), "three refused");
}

TEST_F(ConnectionTest, EndsAWaitWhenTheEngineIsGone)
{
    connection->send({}, "One", "{}", noteReply("one"));
    engineCloses();
    EXPECT_FALSE(connection->waitForReplies([] { return false; }, steady_clock::now() + 30s));
    EXPECT_EQ(news, News{"one refused"});
    runLoop();
    EXPECT_EQ(news.back(), "closed");
}

TEST_F(ConnectionTest, RefusesTheCommandsOfASessionThatEnds)
{
    connection->setSessionChanges([](const Message& event) -> std::optional<Connection::SessionChange> {
        if (event.method() == "Gone" || event.method() == "Back")
            return Connection::SessionChange{event.session(), event.method() == "Gone"};
        return {};
    });
    connection->send("S", "One", "{}", noteReply("one"));
    connection->send("T", "Two", "{}", noteReply("two"));
    connection->send("S", "Three", "{}", noteReply("three"));
    engineSays(R"({"method":"Gone","sessionId":"S"})");
    EXPECT_TRUE(connection->waitForReplies([&] { return news.size() == 2; }, steady_clock::now() + 30s));
    EXPECT_EQ(news, (News{"one refused", "three refused"})) << "and the event itself waits";
    news.clear();

    connection->send("S", "Four", "{}", noteReply("four"));
    EXPECT_EQ(news, News()) << "a refusal is news like any other and waits";
    EXPECT_TRUE(connection->waitForReplies([&] { return !news.empty(); }, steady_clock::now() + 30s));
    EXPECT_EQ(news, News{"four refused"});
    news.clear();

    engineSays(R"({"method":"Back","sessionId":"S"})");
    engineSays(R"({"id":2,"result":{}})");
    runLoop();
    EXPECT_EQ(news, (News{"Gone", "Back", "two answered"}));
    connection->send("S", "Five", "{}", noteReply("five"));
    engineSays(R"({"id":5,"result":{}})");
    runLoop();
    EXPECT_EQ(news.back(), "five answered");
}

TEST_F(ConnectionTest, LetsAHandlerRunTheLoopWithoutTellingAnythingTwice)
{
    connection->setEventHandler([this](const Message& event) {
        news.emplace_back(event.method());
        if (event.method() == "Outer")
            runLoop();
        news.push_back(std::string(event.method()) + " done");
    });
    engineSays(R"({"method":"Outer","params":{}})");
    engineSays(R"({"method":"Inner","params":{}})");
    runLoop();
    runLoop();
    EXPECT_EQ(std::count(news.begin(), news.end(), "Inner"), 1);
    EXPECT_EQ(std::count(news.begin(), news.end(), "Outer"), 1);
}

TEST_F(ConnectionTest, CarriesMessagesLargerThanAPipe)
{
    const std::string body(8 << 20, 'x');
    const std::string message = R"({"id":1,"result":{"body":")" + body + "\"}}" + std::string(1, '\0');
    size_t received = 0;
    bool isAnswered = false;
    connection->send({}, "Body", "{}", [&](const Connection::Reply& reply) {
        isAnswered = true;
        received = reply.result.text("body").size();
    });
    fcntl(_messagesWrite, F_SETFL, fcntl(_messagesWrite, F_GETFL) & ~O_NONBLOCK);
    std::thread engine([&] {
        for (size_t written = 0; written < message.size();) {
            const ssize_t count = write(_messagesWrite, message.data() + written, message.size() - written);
            if (count <= 0)
                break;
            written += static_cast<size_t>(count);
        }
    });
    EXPECT_TRUE(connection->waitForReplies([&] { return isAnswered; }, steady_clock::now() + 30s));
    engine.join();
    EXPECT_EQ(received, body.size());
}

TEST_F(ConnectionTest, KeepsCommandsThatThePipeDoesNotTakeAtOnce)
{
    const std::string large = "{\"text\":\"" + std::string(1 << 20, 'y') + "\"}";
    connection->send({}, "Large", large);
    size_t total = 0;
    for (int round = 0; round < 10'000 && total < large.size(); ++round) {
        total += commandsSent().size();
        runLoop();
    }
    EXPECT_GT(total, large.size());
}
