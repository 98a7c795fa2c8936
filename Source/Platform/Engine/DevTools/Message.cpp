#include "Platform/Engine/DevTools/Message.h"

#include <bit>
#include <charconv>
#include <glib.h>
#include <simdjson.h>
#include <type_traits>

namespace {

using simdjson::dom::element;

// The start of every reply and every event, as the engine writes them.
constexpr std::string_view replyStart = "{\"id\":";
constexpr std::string_view eventStart = "{\"method\":\"";

}

struct Message::Storage {
    std::string text;
    simdjson::dom::parser parser;
    element content;
    bool hasContent = false;
    std::optional<std::string> refusal;
};

namespace {

template <typename Handle>
std::optional<simdjson::dom::object> objectOf(const Handle& handle)
{
    static_assert(sizeof(Handle) == sizeof(element) && std::is_trivially_copyable_v<element>);
    if (!handle.document)
        return {};
    simdjson::dom::object object;
    if (std::bit_cast<element>(handle).get(object))
        return {};
    return object;
}

template <typename Type, typename Handle>
std::optional<Type> member(const Handle& handle, std::string_view key)
{
    const auto object = objectOf(handle);
    Type value;
    if (!object || object->at_key(key).get(value))
        return {};
    return value;
}

}

bool JSONView::has(std::string_view key) const
{
    return member<element>(_handle, key).has_value();
}

std::string_view JSONView::text(std::string_view key) const
{
    return member<std::string_view>(_handle, key).value_or(std::string_view());
}

NSString JSONView::string(std::string_view key) const
{
    const auto value = member<std::string_view>(_handle, key);
    return value ? NSString::stringWithRepairedUTF8(*value) : NSString();
}

int64_t JSONView::integer(std::string_view key) const
{
    if (const auto value = member<int64_t>(_handle, key))
        return *value;
    const double real = number(key);
    return real >= -9e18 && real <= 9e18 ? static_cast<int64_t>(real) : 0;
}

double JSONView::number(std::string_view key) const
{
    return member<double>(_handle, key).value_or(0);
}

bool JSONView::boolean(std::string_view key) const
{
    return member<bool>(_handle, key).value_or(false);
}

JSONView JSONView::object(std::string_view key) const
{
    const auto value = member<element>(_handle, key);
    return value && value->is_object() ? JSONView(std::bit_cast<Handle>(*value)) : JSONView();
}

void JSONView::forEachIn(std::string_view key, const std::function<void(JSONView)>& each) const
{
    const auto values = member<simdjson::dom::array>(_handle, key);
    if (!values)
        return;
    for (const element value : *values) {
        if (value.is_object())
            each(JSONView(std::bit_cast<Handle>(value)));
    }
}

void JSONView::forEachText(const std::function<void(std::string_view, std::string_view)>& each) const
{
    const auto object = objectOf(_handle);
    if (!object)
        return;
    for (const auto& [name, value] : *object) {
        std::string_view text;
        if (!value.get(text))
            each(name, text);
    }
}

NSData JSONView::base64(std::string_view key) const
{
    const std::string_view encoded = text(key);
    std::vector<std::byte> bytes(encoded.size() / 4 * 3 + 3);
    int state = 0;
    unsigned save = 0;
    const size_t length =
        g_base64_decode_step(encoded.data(), encoded.size(), reinterpret_cast<unsigned char*>(bytes.data()), &state, &save);
    bytes.resize(length);
    return NSData(std::move(bytes));
}

std::optional<Message> Message::parse(std::string text)
{
    auto storage = std::make_unique<Storage>();
    storage->text = std::move(text);
    const std::string_view whole = storage->text;
    const size_t length = whole.size();
    storage->text.reserve(length + simdjson::SIMDJSON_PADDING);

    element root;
    simdjson::dom::object object;
    if (storage->parser.parse(storage->text.data(), length, false).get(root) || root.get(object)) {
        // A page's text with half a surrogate pair makes a message that is no JSON. Whoever waits for this
        // reply must still get one.
        int64_t commandID = 0;
        const std::string_view start = std::string_view(storage->text).substr(0, 64);
        if (!start.starts_with(replyStart)
            || std::from_chars(start.data() + replyStart.size(), start.data() + start.size(), commandID).ec != std::errc())
            return {};
        storage->refusal = "The reply is not valid JSON.";
        Message message(std::move(storage));
        message._commandID = commandID;
        return message;
    }

    const auto textOf = [&](std::string_view key) {
        std::string_view value;
        return object.at_key(key).get(value) ? std::string() : std::string(value);
    };
    std::string method = textOf("method");
    std::string session = textOf("sessionId");
    int64_t commandID = 0;
    const bool isReply = !object.at_key("id").get(commandID);
    if (method.empty() && !isReply)
        return {};
    if (element refused; !object.at_key("error").get(refused)) {
        std::string_view words;
        storage->refusal = refused["message"].get(words) ? std::string("unknown reason") : std::string(words);
    }
    storage->hasContent = !object.at_key(method.empty() ? "result" : "params").get(storage->content);

    Message message(std::move(storage));
    message._method = std::move(method);
    message._session = std::move(session);
    message._commandID = commandID;
    return message;
}

Message::Message(std::unique_ptr<Storage> storage) : _storage(std::move(storage)) { }
Message::Message(Message&&) noexcept = default;
Message& Message::operator=(Message&&) noexcept = default;
Message::~Message() = default;

JSONView Message::content() const
{
    return _storage->hasContent ? JSONView(std::bit_cast<JSONView::Handle>(_storage->content)) : JSONView();
}

std::optional<std::string> Message::refusal() const
{
    return _storage->refusal;
}

std::string_view methodOfUnparsedMessage(std::string_view text)
{
    if (!text.starts_with(eventStart))
        return {};
    const std::string_view rest = text.substr(eventStart.size(), 64);
    return rest.substr(0, rest.find('"'));
}
