#include "Platform/Foundation/DistributedNotice.h"

#include "Platform/Foundation/Value.h"

#include <gio/gio.h>
#include <string>

namespace {

constexpr int DeepestNesting = 16;   // D-Bus itself allows 32 arrays in one another

// A text as D-Bus takes it: valid UTF-8 without NUL.
GVariant* textVariant(const NSString& string)
{
    const std::string text = string.UTF8();
    std::string allowed;
    allowed.reserve(text.size());
    for (const char byte : text) {
        if (byte == '\0')
            allowed += "\xEF\xBF\xBD";
        else
            allowed += byte;
    }
    return g_variant_new_string(allowed.c_str());
}

GVariant* dictionaryVariant(const NSDictionary& dictionary, int depth);

GVariant* variant(const Value& value, int depth)
{
    switch (value.kind()) {
    case Value::Kind::Boolean:
        return g_variant_new_boolean(value.boolValue());
    case Value::Kind::Integer:
        return g_variant_new_int64(value.integerValue());
    case Value::Kind::Real:
        return g_variant_new_double(value.doubleValue());
    case Value::Kind::Date:
        return g_variant_new_double(value.date().timeIntervalSinceReferenceDate());
    case Value::Kind::Data: {
        const NSData data = value.data();
        return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, data.bytes().data(), data.length(), 1);
    }
    case Value::Kind::Array:
        if (depth < DeepestNesting) {
            GVariantBuilder elements;
            g_variant_builder_init(&elements, G_VARIANT_TYPE("av"));
            for (const Value& element : value.array())
                g_variant_builder_add(&elements, "v", variant(element, depth + 1));
            return g_variant_builder_end(&elements);
        }
        break;
    case Value::Kind::Dictionary:
        if (depth < DeepestNesting)
            return dictionaryVariant(value.dictionary(), depth);
        break;
    default:
        break;
    }
    return textVariant(value.description());
}

GVariant* dictionaryVariant(const NSDictionary& dictionary, int depth)
{
    GVariantBuilder entries;
    g_variant_builder_init(&entries, G_VARIANT_TYPE_VARDICT);
    for (const auto& [key, value] : dictionary) {
        g_variant_builder_open(&entries, G_VARIANT_TYPE("{sv}"));
        g_variant_builder_add_value(&entries, textVariant(key));
        g_variant_builder_add(&entries, "v", variant(value, depth + 1));
        g_variant_builder_close(&entries);
    }
    return g_variant_builder_end(&entries);
}

}

GDBusMessage* DistributedNotice::message() const
{
    GDBusMessage* message = g_dbus_message_new_signal(
        "/com/brackenlow/DistributedNotificationCenter", "com.brackenlow.DistributedNotificationCenter", "Notification");
    GVariant* arguments[] = {textVariant(name), textVariant(object), dictionaryVariant(userInfo, 0)};
    g_dbus_message_set_body(message, g_variant_new_tuple(arguments, std::size(arguments)));
    return message;
}
