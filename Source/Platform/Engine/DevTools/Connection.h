#pragma once

#include "Platform/Engine/DevTools/Message.h"
#include "Platform/Foundation/RunLoopFileSource.h"

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

// Commands to the engine and messages from it, over its pipe; messages end with a NUL byte.
//
// Events and replies are delivered in the order in which they came, only inside runs of the run loop, on the thread that made the
// connection. A handler may send commands, run the loop, or wait for replies. When the pipe ends, every pending command is
// answered with a refusal and then the closed handler is called. When a session ends, its pending commands are refused.
class Connection {
public:
    // Why a command was not carried out, or its result.
    struct Reply {
        JSONView result;                      // valid during the handler's call
        std::optional<std::string> refusal;   // the engine's words, or what happened to the connection
    };
    using ReplyHandler = std::function<void(const Reply&)>;
    using EventHandler = std::function<void(const Message&)>;

    // Both descriptors are non-blocking and borrowed; they must stay open while the connection lives.
    Connection(int commandDescriptor, int messageDescriptor);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    void setEventHandler(EventHandler handler) { _eventHandler = std::move(handler); }
    // Called once when the engine has closed its end, or when it sends what cannot be a message. The text says which.
    void setClosedHandler(std::function<void(NSString reason)> handler) { _closedHandler = std::move(handler); }
    // Events for whose method this is true are thrown away unparsed.
    void setIgnoredEvents(std::function<bool(std::string_view method)> ignored) { _isIgnored = std::move(ignored); }

    // Events for whose method this is true are delivered also while only replies are read: the engine waits for an answer to
    // them.
    void setUrgentEvents(std::function<bool(std::string_view method)> urgent) { _isUrgent = std::move(urgent); }

    // Whether an event tells that a session ends, or is there again; absent for other events. The engine answers nothing in a
    // session that has ended: commands there are refused as soon as the event is read.
    struct SessionChange {
        std::string session;
        bool isEnd;
    };
    void setSessionChanges(std::function<std::optional<SessionChange>(const Message& event)> changeOf)
    {
        _sessionChangeOf = std::move(changeOf);
    }

    [[nodiscard]] bool hasEnded(const std::string& session) const { return _endedSessions.contains(session); }

    // Called after each half second of silence while waitForReplies waits; false ends that wait, unanswered.
    void setSilenceHandler(std::function<bool()> handler) { _silenceHandler = std::move(handler); }

    // Sends a command; `parameters` is a JSON object's text. `onReply` may be empty when the result does not matter.
    // `session` is empty for the engine as a whole. On a closed connection, and in a session that has ended, the handler is
    // called with a refusal in the next pass of the run loop or in the next wait for replies.
    void send(const std::string& session, std::string_view method, std::string_view parameters, ReplyHandler onReply = {});

    // What `sends` sends goes to the engine in one piece, so that hardly anything else is done between these commands.
    void sendTogether(const std::function<void()>& sends);

    // Reads and delivers replies and urgent events, and nothing else, until `isDone` or `deadline`; events wait for the
    // next run of the run loop, in their order. For questions that must be answered before their caller goes on.
    // Returns whether it is done.
    [[nodiscard]] bool waitForReplies(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline);

    [[nodiscard]] bool isOpen() const { return _isOpen; }
    // When the last byte came from the engine.
    [[nodiscard]] std::chrono::steady_clock::time_point lastHeard() const { return _lastHeard; }

private:
    struct PendingCommand {
        std::string session;
        ReplyHandler onReply;
    };
    struct RefusedCommand {
        ReplyHandler onReply;
        std::string reason;
    };

    void readAvailable();
    void splitMessages(size_t searchFrom);
    void deliverPending();
    void deliverReply(const Message& message);
    void deliverRefusals();
    void refuse(ReplyHandler onReply, std::string_view reason);
    void watchSessions(const Message& message);
    void flushCommands();
    void close(NSString reason);
    void abandonCommands();

    int _commandDescriptor;
    int _messageDescriptor;
    bool _isOpen = true;
    bool _isCollecting = false;
    NSString _closeReason;
    std::unique_ptr<char[]> _readBuffer;
    std::string _incoming;                        // bytes of a message that is not whole yet
    std::string _outgoing;                        // bytes that the pipe did not take yet
    std::deque<std::string> _unparsed;            // whole messages in their order
    std::deque<Message> _events;                  // events that arrived while only replies were wanted
    std::map<int64_t, PendingCommand> _pending;   // in the order in which they were sent
    std::deque<RefusedCommand> _refused;          // of which nobody was told yet
    std::set<std::string> _endedSessions;
    int64_t _lastCommandID = 0;
    std::chrono::steady_clock::time_point _lastHeard = std::chrono::steady_clock::now();
    EventHandler _eventHandler;
    std::function<void(NSString)> _closedHandler;
    std::function<bool()> _silenceHandler;
    std::function<std::optional<SessionChange>(const Message&)> _sessionChangeOf;
    std::function<bool(std::string_view)> _isIgnored;
    std::function<bool(std::string_view)> _isUrgent;
    RunLoopFileSource _readable;
    RunLoopFileSource _writable;
    std::shared_ptr<bool> _alive = std::make_shared<bool>(true);   // false once destroyed, for handlers that end us
};
