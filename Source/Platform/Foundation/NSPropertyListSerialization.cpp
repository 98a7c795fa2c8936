#include "Platform/Foundation/NSPropertyListSerialization.h"

#include "Platform/Foundation/BinaryPropertyListWriter.h"
#include "Platform/Foundation/NSStringPool.h"
#include "Platform/Foundation/PropertyListGuards.h"
#include "Platform/Foundation/XMLPropertyListReader.h"
#include "Platform/Foundation/XMLPropertyListWriter.h"

#include <plist/plist.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string_view>
#include <vector>

namespace {

using Node = std::unique_ptr<void, decltype(&plist_free)>;

// Years with four digits, in seconds since the reference date; XML dates have no others.
constexpr double firstXMLDate = -63113904000;   // 0001-01-01 00:00:00
constexpr double lastXMLDate = 252423993599;    // 9999-12-31 23:59:59

// Why a value is no property list, and where below the root. The place grows on the way back, so that it costs
// nothing when all is well.
struct Defect {
    NSString reason;   // absent when there is none
    std::u16string place;

    explicit operator bool() const { return !reason.isAbsent(); }
};

Defect defectOf(const Value& value, int depth)
{
    switch (value.kind()) {
    case Value::Kind::Boolean:
    case Value::Kind::Integer:
    case Value::Kind::Real:
    case Value::Kind::String:
    case Value::Kind::Data:
        return {};
    case Value::Kind::Date: {
        const double seconds = value.date().timeIntervalSinceReferenceDate();
        return seconds >= firstXMLDate && seconds <= lastXMLDate ? Defect() : Defect{u"a date outside the years 1 to 9999", {}};
    }
    case Value::Kind::Array:
    case Value::Kind::Dictionary:
        break;
    case Value::Kind::Absent:
        return {u"no value", {}};
    default:
        return {NSString::stringWithFormat(u"an object of the class %@", NSStringFromClass(value.classObject())), {}};
    }
    if (depth == NSPropertyListSerialization::deepestNesting)
        return {u"a container inside too many others", {}};
    if (value.is(Value::Kind::Array)) {
        const NSArray array = value.array();
        for (size_t i = 0; i < array.count(); ++i) {
            if (Defect found = defectOf(array[i], depth + 1)) {
                found.place.insert(0, NSString::stringWithFormat(u"[%zu]", i).units());
                return found;
            }
        }
        return {};
    }
    for (const auto& [key, object] : value.dictionary()) {
        if (key.units().find(u'\0') != std::u16string_view::npos)
            return {u"a key with a null character", {}};
        if (Defect found = defectOf(object, depth + 1)) {
            found.place.insert(0, NSString::stringWithFormat(u"[\"%@\"]", key).units());
            return found;
        }
    }
    return {};
}

// The library tells dates only as 32-bit seconds. In the binary form of the node alone the date stands as it is, eight bytes
// behind the signature and the marker.
NSDate dateOfNode(plist_t node)
{
    constexpr uint32_t dateOffset = 9;
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    const std::unique_ptr<char, decltype(&plist_to_bin_free)> owned(bytes, plist_to_bin_free);
    uint64_t bits = 0;
    for (uint32_t i = 0; i < 8 && dateOffset + i < length; ++i)
        bits = bits << 8 | static_cast<unsigned char>(bytes[dateOffset + i]);
    const auto seconds = std::bit_cast<double>(bits);
    return std::isfinite(seconds) ? NSDate::dateWithTimeIntervalSinceReferenceDate(seconds) : NSDate();
}

// Absent when the node holds what no value can, such as text that is not valid.
Value valueOfNode(plist_t node, NSStringPool& strings);

Value arrayOfNode(plist_t node, NSStringPool& strings)
{
    std::vector<Value> elements;
    elements.reserve(plist_array_get_size(node));
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> owned(iterator, std::free);
    for (uint32_t i = plist_array_get_size(node); i > 0; --i) {
        plist_t element = nullptr;
        plist_array_next_item(node, iterator, &element);
        elements.push_back(valueOfNode(element, strings));
        if (!elements.back())
            return {};
    }
    return NSArray(std::move(elements));
}

Value dictionaryOfNode(plist_t node, NSStringPool& strings)
{
    NSDictionary dictionary = NSDictionary::dictionary();
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    const std::unique_ptr<void, decltype(&std::free)> owned(iterator, std::free);
    for (uint32_t i = plist_dict_get_size(node); i > 0; --i) {
        char* keyBytes = nullptr;
        plist_t element = nullptr;
        plist_dict_next_item(node, iterator, &keyBytes, &element);
        const std::unique_ptr<char, decltype(&std::free)> ownedKey(keyBytes, std::free);
        const NSString key = keyBytes ? strings.stringWithUTF8String(keyBytes) : NSString();
        Value value = element ? valueOfNode(element, strings) : Value();
        if (!key || !value)
            return {};
        dictionary.setObject(std::move(value), key);
    }
    return dictionary;
}

Value valueOfNode(plist_t node, NSStringPool& strings)
{
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t boolean = 0;
        plist_get_bool_val(node, &boolean);
        return boolean != 0;
    }
    case PLIST_UINT: {
        // Negative numbers come in two's complement; larger ones than int64_t holds were refused before.
        uint64_t integer = 0;
        plist_get_uint_val(node, &integer);
        return static_cast<int64_t>(integer);
    }
    case PLIST_REAL: {
        double real = 0;
        plist_get_real_val(node, &real);
        return real;
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* const bytes = plist_get_string_ptr(node, &length);
        return strings.stringWithUTF8String(bytes ? std::string_view(bytes, length) : std::string_view());
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* const bytes = plist_get_data_ptr(node, &length);
        return NSData::dataWithBytes(bytes ? std::string_view(bytes, length) : std::string_view());
    }
    case PLIST_DATE:
        return dateOfNode(node);
    case PLIST_UID: {
        uint64_t number = 0;
        plist_get_uid_val(node, &number);
        return NSDictionary{{u"CF$UID", static_cast<int64_t>(number)}};
    }
    case PLIST_ARRAY:
        return arrayOfNode(node, strings);
    case PLIST_DICT:
        return dictionaryOfNode(node, strings);
    default:
        return {};
    }
}

Value parse(std::span<const std::byte> bytes, NSPropertyListFormat format)
{
    constexpr int deepest = NSPropertyListSerialization::deepestNesting;
    const auto* const text = reinterpret_cast<const char*>(bytes.data());
    if (format == NSPropertyListXMLFormat_v1_0)
        return valueOfXMLPropertyList({text, bytes.size()}, deepest);
    plist_t node = nullptr;
    if (bytes.size() <= std::numeric_limits<uint32_t>::max() && isBoundedBinaryPropertyList(bytes, deepest))
        plist_from_bin(text, static_cast<uint32_t>(bytes.size()), &node);
    const Node owned(node, plist_free);
    NSStringPool strings;
    return node ? valueOfNode(node, strings) : Value();
}

}

NSError NSPropertyListSerialization::defectOfPropertyList(const Value& propertyList)
{
    const Defect found = defectOf(propertyList, 0);
    if (!found)
        return {};
    const NSString explanation = NSString::stringWithFormat(
        u"A property list cannot hold %@ (at root%@).", found.reason, NSString(std::u16string_view(found.place)));
    return NSError(NSCocoaErrorDomain, NSPropertyListWriteInvalidError, {{NSDebugDescriptionErrorKey, explanation}});
}

bool NSPropertyListSerialization::propertyListIsValid(const Value& propertyList)
{
    return defectOfPropertyList(propertyList).isAbsent();
}

NSData NSPropertyListSerialization::dataWithPropertyList(const Value& propertyList, NSPropertyListFormat format, NSError* error)
{
    if (const NSError failure = defectOfPropertyList(propertyList)) {
        if (error)
            *error = failure;
        return {};
    }
    if (format == NSPropertyListXMLFormat_v1_0)
        return NSData::dataWithBytes(XMLPropertyList(propertyList));
    std::vector<std::byte> bytes;
    const ByteSink append = [&bytes](std::span<const std::byte> more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return true;
    };
    return BinaryPropertyListWriter::write(propertyList, append, error) ? NSData(std::move(bytes)) : NSData();
}

Value NSPropertyListSerialization::propertyListWithData(const NSData& data, NSPropertyListFormat* format, NSError* error)
{
    constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";
    std::span<const std::byte> bytes = data.bytes();
    const NSPropertyListFormat found =
        data.characters().starts_with("bplist") ? NSPropertyListBinaryFormat_v1_0 : NSPropertyListXMLFormat_v1_0;
    if (data.characters().starts_with(byteOrderMark))
        bytes = bytes.subspan(byteOrderMark.size());
    if (Value value = parse(bytes, found)) {
        if (format)
            *format = found;
        return value;
    }
    if (error)
        *error = NSError(NSCocoaErrorDomain, NSPropertyListReadCorruptError,
            {{NSDebugDescriptionErrorKey, NSString(u"The data is no property list in XML or binary form.")}});
    return {};
}
