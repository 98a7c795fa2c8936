#include "Platform/Foundation/BinaryPropertyListWriter.h"

#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

#include <algorithm>
#include <bit>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

constexpr size_t bufferSize = 32 * 1024;     // bytes
constexpr size_t largestCopied = 4 * 1024;   // bytes; longer pieces go to the sink as they are

enum Marker : uint8_t {
    FalseMarker = 0x08,
    TrueMarker = 0x09,
    IntegerMarker = 0x10,
    RealMarker = 0x23,
    DateMarker = 0x33,
    DataMarker = 0x40,
    ASCIIMarker = 0x50,
    UTF16Marker = 0x60,
    ArrayMarker = 0xa0,
    DictionaryMarker = 0xd0,
};

// The bytes that a number needs, of 1, 2, 4 and 8.
unsigned bytesNeeded(uint64_t number)
{
    return number <= 0xff ? 1 : number <= 0xffff ? 2 : number <= 0xffffffff ? 4 : 8;
}

// Collects small pieces for the sink and counts all bytes.
class Output {
public:
    explicit Output(const ByteSink& sink) : _sink(sink) { _pending.reserve(bufferSize); }
    [[nodiscard]] uint64_t position() const { return _position; }

    [[nodiscard]] bool bytes(std::span<const std::byte> bytes)
    {
        _position += bytes.size();
        if (_pending.size() + bytes.size() > bufferSize && !flush())
            return false;
        if (bytes.size() > largestCopied)
            return flush() && _sink(bytes);
        _pending.insert(_pending.end(), bytes.begin(), bytes.end());
        return true;
    }
    [[nodiscard]] bool text(std::string_view text) { return bytes(std::as_bytes(std::span(text))); }
    // Big-endian, in `size` bytes.
    [[nodiscard]] bool number(uint64_t number, unsigned size)
    {
        std::byte digits[8];
        for (unsigned i = 0; i < size; ++i)
            digits[i] = static_cast<std::byte>(number >> (8 * (size - 1 - i)) & 0xff);
        return bytes({digits, size});
    }
    [[nodiscard]] bool flush()
    {
        if (_pending.empty())
            return true;
        const bool taken = _sink(_pending);
        _pending.clear();
        return taken;
    }

private:
    const ByteSink& _sink;
    std::vector<std::byte> _pending;
    uint64_t _position = 0;
};

// The flat table of a tree's objects. Borrows the tree.
class ObjectTable {
public:
    explicit ObjectTable(const Value& root) { add(root); }

    [[nodiscard]] bool write(Output& output)
    {
        const unsigned referenceSize = bytesNeeded(_objects.size() - 1);
        std::vector<uint64_t> offsets;
        offsets.reserve(_objects.size());
        if (!output.text("bplist00"))
            return false;
        for (const Object& object : _objects) {
            offsets.push_back(output.position());
            if (!write(object, referenceSize, output))
                return false;
        }
        const uint64_t table = output.position();
        const unsigned offsetSize = bytesNeeded(table);
        for (const uint64_t offset : offsets) {
            if (!output.number(offset, offsetSize))
                return false;
        }
        return output.number(0, 6) && output.number(offsetSize, 1) && output.number(referenceSize, 1)
            && output.number(_objects.size(), 8) && output.number(0, 8) && output.number(table, 8) && output.flush();
    }

private:
    // A key or a value; containers have their references in _references.
    struct Object {
        const NSString* key = nullptr;
        const Value* value = nullptr;
        size_t firstReference = 0;
    };

    size_t append(const NSString* key, const Value* value)
    {
        _objects.push_back({key, value, 0});
        return _objects.size() - 1;
    }

    size_t add(const NSString& string, const NSString* key, const Value* value)
    {
        // The view lives as long as the tree does, whose copies of a string share its text.
        const auto [entry, isNew] = _strings.try_emplace(string.units(), _objects.size());
        return isNew ? append(key, value) : entry->second;
    }

    size_t add(const Value& value)
    {
        const auto unique = [&](auto& known, auto content) {
            const auto [entry, isNew] = known.try_emplace(content, _objects.size());
            return isNew ? append(nullptr, &value) : entry->second;
        };
        switch (value.kind()) {
        case Value::Kind::String:
            return add(value.string(), nullptr, &value);
        case Value::Kind::Boolean:
            return unique(_booleans, value.boolValue());
        case Value::Kind::Integer:
            return unique(_integers, value.integerValue());
        case Value::Kind::Real:
            return unique(_reals, std::bit_cast<uint64_t>(value.doubleValue()));
        case Value::Kind::Array:
            return addArray(value);
        case Value::Kind::Dictionary:
            return addDictionary(value);
        default:
            return append(nullptr, &value);
        }
    }

    size_t addArray(const Value& value)
    {
        const size_t index = append(nullptr, &value);
        std::vector<size_t> references;
        for (const Value& element : value.array())
            references.push_back(add(element));
        keepReferences(index, references);
        return index;
    }

    size_t addDictionary(const Value& value)
    {
        const size_t index = append(nullptr, &value);
        std::vector<size_t> references;
        for (const auto& [key, object] : value.dictionary())
            references.push_back(add(key, &key, nullptr));
        for (const auto& [key, object] : value.dictionary())
            references.push_back(add(object));
        keepReferences(index, references);
        return index;
    }

    void keepReferences(size_t index, const std::vector<size_t>& references)
    {
        _objects[index].firstReference = _references.size();
        _references.insert(_references.end(), references.begin(), references.end());
    }

    [[nodiscard]] static bool writeInteger(int64_t integer, Output& output)
    {
        // Shorter forms have no sign, so a negative number takes all eight bytes.
        const unsigned size = integer < 0 ? 8 : bytesNeeded(static_cast<uint64_t>(integer));
        return output.number(IntegerMarker | static_cast<unsigned>(std::countr_zero(size)), 1)
            && output.number(static_cast<uint64_t>(integer), size);
    }

    [[nodiscard]] static bool writeMarker(Marker marker, uint64_t count, Output& output)
    {
        if (count < 15)
            return output.number(marker | count, 1);
        return output.number(marker | 15U, 1) && writeInteger(static_cast<int64_t>(count), output);
    }

    [[nodiscard]] static bool writeString(std::u16string_view units, Output& output)
    {
        // Text with null characters stands in UTF-16 too: there readers do not take them for its end.
        const bool isPlain = std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit > 0 && unit < 0x80; });
        if (!writeMarker(isPlain ? ASCIIMarker : UTF16Marker, units.size(), output))
            return false;
        for (size_t i = 0; i < units.size(); ++i) {
            if (!output.number(isUnpaired(units, i) ? u'\ufffd' : units[i], isPlain ? 1 : 2))
                return false;
        }
        return true;
    }

    // Whether a surrogate stands at `i` without the other half. Many readers refuse a whole file for one.
    [[nodiscard]] static bool isUnpaired(std::u16string_view units, size_t i)
    {
        const auto isHigh = [](char16_t unit) { return unit >> 10 == 0x36; };
        const auto isLow = [](char16_t unit) { return unit >> 10 == 0x37; };
        return isHigh(units[i]) ? i + 1 == units.size() || !isLow(units[i + 1])
                                : isLow(units[i]) && (i == 0 || !isHigh(units[i - 1]));
    }

    [[nodiscard]] bool writeReferences(const Object& object, size_t count, unsigned size, Output& output) const
    {
        const auto first = _references.begin() + static_cast<std::ptrdiff_t>(object.firstReference);
        return std::all_of(
            first, first + static_cast<std::ptrdiff_t>(count), [&](size_t reference) { return output.number(reference, size); });
    }

    [[nodiscard]] bool write(const Object& object, unsigned referenceSize, Output& output) const
    {
        if (object.key)
            return writeString(object.key->units(), output);
        const Value& value = *object.value;
        switch (value.kind()) {
        case Value::Kind::String:
            return writeString(value.string().units(), output);
        case Value::Kind::Boolean:
            return output.number(value.boolValue() ? TrueMarker : FalseMarker, 1);
        case Value::Kind::Integer:
            return writeInteger(value.integerValue(), output);
        case Value::Kind::Real:
            return output.number(RealMarker, 1) && output.number(std::bit_cast<uint64_t>(value.doubleValue()), 8);
        case Value::Kind::Date:
            return output.number(DateMarker, 1)
                && output.number(std::bit_cast<uint64_t>(value.date().timeIntervalSinceReferenceDate()), 8);
        case Value::Kind::Data: {
            const NSData data = value.data();
            return writeMarker(DataMarker, data.length(), output) && output.bytes(data.bytes());
        }
        case Value::Kind::Array: {
            const size_t count = value.array().count();
            return writeMarker(ArrayMarker, count, output) && writeReferences(object, count, referenceSize, output);
        }
        default: {
            const size_t count = value.dictionary().count();
            return writeMarker(DictionaryMarker, count, output) && writeReferences(object, 2 * count, referenceSize, output);
        }
        }
    }

    std::vector<Object> _objects;
    std::vector<size_t> _references;   // object numbers
    std::unordered_map<std::u16string_view, size_t> _strings;
    std::unordered_map<bool, size_t> _booleans;
    std::unordered_map<int64_t, size_t> _integers;
    std::unordered_map<uint64_t, size_t> _reals;   // by their bits
};

}

bool BinaryPropertyListWriter::write(const Value& propertyList, const ByteSink& sink, NSError* error)
{
    NSError failure = NSPropertyListSerialization::defectOfPropertyList(propertyList);
    if (!failure) {
        Output output(sink);
        if (ObjectTable(propertyList).write(output))
            return true;
        failure = NSError(NSCocoaErrorDomain, NSPropertyListWriteStreamError);
    }
    if (error)
        *error = failure;
    return false;
}

bool BinaryPropertyListWriter::write(const Value& propertyList, AtomicFile& file, NSError* error)
{
    NSError fileError;
    const bool written = write(
        propertyList, [&](std::span<const std::byte> bytes) { return file.write(bytes, &fileError); }, error);
    if (!written && fileError && error)
        *error = fileError;
    return written;
}
