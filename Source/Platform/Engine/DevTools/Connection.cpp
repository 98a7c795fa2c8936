#include "Platform/Engine/DevTools/Connection.h"

#include "Platform/Foundation/NSRunLoop.h"

#include <algorithm>
#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr size_t readSize = 1 << 18;
// No message of a page that a person could look at comes near this; beyond it the engine is taken for mad
// rather than memory filled.
constexpr size_t largestMessage = size_t(1) << 30;
constexpr std::chrono::milliseconds silence{500};
constexpr std::string_view sessionHasEnded = "What was asked is gone.";

}

Connection::Connection(int commandDescriptor, int messageDescriptor)
    : _commandDescriptor(commandDescriptor),
      _messageDescriptor(messageDescriptor),
      _readBuffer(std::make_unique_for_overwrite<char[]>(readSize)),
      _readable(messageDescriptor, FileReadiness::Readable,
          [this] {
              const std::shared_ptr<bool> alive = _alive;
              readAvailable();
              if (*alive)
                  deliverPending();
          }),
      _writable(commandDescriptor, FileReadiness::Writable, [this] { flushCommands(); })
{
    _writable.pause();
}

Connection::~Connection()
{
    *_alive = false;
}

void Connection::send(const std::string& session, std::string_view method, std::string_view parameters, ReplyHandler onReply)
{
    const int64_t commandID = ++_lastCommandID;
    if (!_isOpen) {
        refuse(std::move(onReply), "The connection to the engine is closed.");
        return;
    }
    if (onReply && _endedSessions.contains(session)) {
        refuse(std::move(onReply), sessionHasEnded);
        return;
    }
    if (onReply)
        _pending.emplace(commandID, PendingCommand{session, std::move(onReply)});

    _outgoing += "{\"id\":";
    _outgoing += std::to_string(commandID);
    _outgoing += ",\"method\":\"";
    _outgoing += method;
    if (!session.empty()) {
        _outgoing += "\",\"sessionId\":\"";
        _outgoing += session;
    }
    _outgoing += "\",\"params\":";
    _outgoing += parameters;
    _outgoing += '}';
    _outgoing += '\0';
    if (!_isCollecting)
        flushCommands();
}

void Connection::sendTogether(const std::function<void()>& sends)
{
    _isCollecting = true;
    sends();
    _isCollecting = false;
    flushCommands();
}

void Connection::flushCommands()
{
    size_t written = 0;
    while (written < _outgoing.size()) {
        const ssize_t count = write(_commandDescriptor, _outgoing.data() + written, _outgoing.size() - written);
        if (count > 0) {
            written += static_cast<size_t>(count);
        } else if (count < 0 && errno == EINTR) {
            continue;
        } else {
            // A broken pipe is noticed, with everything the engine said before it, on the reading side.
            if (errno != EAGAIN)
                written = _outgoing.size();
            break;
        }
    }
    _outgoing.erase(0, written);
    if (_outgoing.empty())
        _writable.pause();
    else
        _writable.resume();
}

void Connection::readAvailable()
{
    while (_isOpen) {
        // Not read in place: making room in a string fills it, and most readings are a few hundred bytes.
        const ssize_t count = read(_messageDescriptor, _readBuffer.get(), readSize);
        if (count > 0) {
            _lastHeard = std::chrono::steady_clock::now();
            const size_t had = _incoming.size();
            _incoming.append(_readBuffer.get(), static_cast<size_t>(count));
            splitMessages(had);
            if (_incoming.size() > largestMessage)
                close(u"The engine sent a message that is too long.");
            // One helping at a time: delivering what came keeps the memory for waiting messages small.
            return;
        }
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return;
        close(u"The engine closed its connection.");
    }
}

void Connection::splitMessages(size_t searchFrom)
{
    size_t start = 0;
    for (;;) {
        const size_t end = _incoming.find('\0', searchFrom);
        if (end == std::string::npos)
            break;
        const size_t length = end - start;
        const std::string_view text = std::string_view(_incoming).substr(start, length);
        const std::string_view method = methodOfUnparsedMessage(text);
        if (length > 0 && (method.empty() || !_isIgnored || !_isIgnored(method))) {
            if (start == 0 && length + 1 == _incoming.size() && length > readSize) {
                _incoming.pop_back();
                _unparsed.push_back(std::move(_incoming));
                _incoming = std::string();
                return;
            }
            _unparsed.emplace_back(text);
        }
        start += length + 1;
        searchFrom = start;
    }
    _incoming.erase(0, start);
}

void Connection::deliverPending()
{
    const std::shared_ptr<bool> alive = _alive;
    // A handler may run the loop or wait: each message leaves its queue before it is delivered, so that nothing is told twice.
    for (;;) {
        if (!_events.empty()) {
            const Message event = std::move(_events.front());
            _events.pop_front();
            if (_eventHandler)
                _eventHandler(event);
        } else if (!_unparsed.empty()) {
            std::string text = std::move(_unparsed.front());
            _unparsed.pop_front();
            const std::optional<Message> message = Message::parse(std::move(text));
            if (!message)
                continue;
            watchSessions(*message);
            if (!message->isEvent())
                deliverReply(*message);
            else if (_eventHandler)
                _eventHandler(*message);
        } else {
            break;
        }
        if (!*alive)
            return;
    }
    if (!_isOpen)
        abandonCommands();
    if (*alive && !_isOpen && _closedHandler) {
        const auto handler = std::move(_closedHandler);
        _closedHandler = nullptr;
        handler(_closeReason);
    }
}

void Connection::deliverReply(const Message& message)
{
    auto entry = _pending.extract(message.commandID());
    if (!entry.empty())
        entry.mapped().onReply({message.content(), message.refusal()});
}

void Connection::refuse(ReplyHandler onReply, std::string_view reason)
{
    if (!onReply)
        return;
    _refused.push_back({std::move(onReply), std::string(reason)});
    NSRunLoop::currentRunLoop().performBlock([this, alive = _alive] {
        if (*alive)
            deliverRefusals();
    });
}

void Connection::deliverRefusals()
{
    const std::shared_ptr<bool> alive = _alive;
    while (*alive && !_refused.empty()) {
        const RefusedCommand command = std::move(_refused.front());
        _refused.pop_front();
        command.onReply({{}, command.reason});
    }
}

void Connection::watchSessions(const Message& message)
{
    const std::optional<SessionChange> change =
        message.isEvent() && _sessionChangeOf ? _sessionChangeOf(message) : std::optional<SessionChange>();
    if (!change)
        return;
    if (!change->isEnd) {
        _endedSessions.erase(change->session);
        return;
    }
    _endedSessions.insert(change->session);
    for (auto command = _pending.begin(); command != _pending.end();) {
        if (command->second.session == change->session) {
            refuse(std::move(command->second.onReply), sessionHasEnded);
            command = _pending.erase(command);
        } else {
            ++command;
        }
    }
}

bool Connection::waitForReplies(const std::function<bool()>& isDone, std::chrono::steady_clock::time_point deadline)
{
    auto lastAsked = _lastHeard;
    for (;;) {
        // Events stay behind in their order; replies that came after them may pass, since their askers wait for nothing else.
        while (!_unparsed.empty()) {
            std::string text = std::move(_unparsed.front());
            _unparsed.pop_front();
            std::optional<Message> message = Message::parse(std::move(text));
            if (message)
                watchSessions(*message);
            if (message && message->isEvent() && _isUrgent && _isUrgent(message->method()) && _eventHandler)
                _eventHandler(*message);
            else if (message && message->isEvent())
                _events.push_back(std::move(*message));
            else if (message)
                deliverReply(*message);
        }
        if (!_isOpen)
            abandonCommands();
        deliverRefusals();
        const bool done = isDone();
        const auto now = std::chrono::steady_clock::now();
        bool isGivenUp = false;
        if (!done && _silenceHandler && now - std::max(_lastHeard, lastAsked) >= silence) {
            lastAsked = now;
            isGivenUp = !_silenceHandler();
        }
        if (done || !_isOpen || now >= deadline || isGivenUp) {
            if (!_events.empty() || !_isOpen) {
                NSRunLoop::currentRunLoop().performBlock([this, alive = _alive] {
                    if (*alive)
                        deliverPending();
                });
            }
            return isDone();
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::min(deadline, now + silence) - now).count() + 1;
        pollfd descriptors[] = {{_messageDescriptor, POLLIN, 0}, {_commandDescriptor, POLLOUT, 0}};
        const nfds_t count = _outgoing.empty() ? 1 : 2;
        if (poll(descriptors, count, static_cast<int>(left)) > 0) {
            if (descriptors[0].revents)
                readAvailable();
            if (count == 2 && descriptors[1].revents)
                flushCommands();
        }
    }
}

void Connection::close(NSString reason)
{
    _isOpen = false;
    _closeReason = std::move(reason);
    _readable.pause();
    _writable.pause();
}

// Answers, in their order, the commands that no reply will come for.
void Connection::abandonCommands()
{
    std::map<int64_t, PendingCommand> abandoned = std::exchange(_pending, {});
    const std::shared_ptr<bool> alive = _alive;
    for (auto& [commandID, command] : abandoned) {
        if (!*alive)
            return;
        command.onReply({{}, _closeReason.UTF8()});
    }
}
