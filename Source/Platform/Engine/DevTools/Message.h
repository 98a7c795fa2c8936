#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// A read-only look at one JSON object of a protocol message. Every question has an answer: what is missing or of
// another type reads as empty, 0 or false, so that a message of an unexpected shape can never do harm. Valid while the
// Message it came from lives.
class JSONView {
public:
    JSONView() = default;

    [[nodiscard]] bool has(std::string_view key) const;
    [[nodiscard]] std::string_view text(std::string_view key) const;
    [[nodiscard]] NSString string(std::string_view key) const;   // absent when missing
    [[nodiscard]] int64_t integer(std::string_view key) const;
    [[nodiscard]] double number(std::string_view key) const;
    [[nodiscard]] bool boolean(std::string_view key) const;
    [[nodiscard]] JSONView object(std::string_view key) const;
    // Calls `each` for every element of the array under `key`, objects only.
    void forEachIn(std::string_view key, const std::function<void(JSONView)>& each) const;
    // Calls `each` for every member whose value is a string.
    void forEachText(const std::function<void(std::string_view name, std::string_view value)>& each) const;
    // The bytes of the base64 text under `key`; empty data when there is none.
    [[nodiscard]] NSData base64(std::string_view key) const;

private:
    friend class Message;
    // The parser's own handle on the object, kept as bytes so that its header stays out of this one.
    struct Handle {
        const void* document = nullptr;
        size_t position = 0;
    };
    explicit JSONView(Handle handle) : _handle(handle) { }

    Handle _handle;
};

// One message from the engine: an event (it has a method) or the reply to a command (it has the command's id).
class Message {
public:
    // Parses one message. `text` is taken over. Absent when it is not a JSON object of one of the two kinds. Pure: touches
    // nothing but its argument, and accepts any bytes.
    [[nodiscard]] static std::optional<Message> parse(std::string text);

    Message(Message&&) noexcept;
    Message& operator=(Message&&) noexcept;
    ~Message();

    [[nodiscard]] bool isEvent() const { return !_method.empty(); }
    [[nodiscard]] std::string_view method() const { return _method; }
    [[nodiscard]] int64_t commandID() const { return _commandID; }
    [[nodiscard]] const std::string& session() const { return _session; }
    // An event's parameters, or a reply's result.
    [[nodiscard]] JSONView content() const;
    // The engine's words when it refused a command.
    [[nodiscard]] std::optional<std::string> refusal() const;

private:
    struct Storage;
    explicit Message(std::unique_ptr<Storage> storage);

    std::unique_ptr<Storage> _storage;
    std::string _method;
    std::string _session;
    int64_t _commandID = 0;
};

// The method name of an unparsed event, found by looking at its first bytes; empty for a reply or anything else.
[[nodiscard]] std::string_view methodOfUnparsedMessage(std::string_view text);
