#include "Platform/Foundation/PropertyListGuards.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view signature = "bplist00";
constexpr size_t trailerSize = 32;
// What all objects together may take when shared ones are counted as often as they are used.
constexpr uint64_t mostObjects = 1'000'000;
constexpr uint64_t leastByteAllowance = 64 * 1024 * 1024;
constexpr uint64_t byteAllowancePerByte = 8;

struct Checker {
    std::span<const std::byte> bytes;
    uint64_t offsetSize = 0;
    uint64_t referenceSize = 0;
    uint64_t objectCount = 0;
    uint64_t topObject = 0;
    uint64_t offsetTable = 0;

    // The big-endian number of `size` (at most 8) bytes at `offset`, which lie inside.
    [[nodiscard]] uint64_t number(uint64_t offset, uint64_t size) const
    {
        uint64_t value = 0;
        for (uint64_t i = 0; i < size; ++i)
            value = value << 8 | std::to_integer<uint64_t>(bytes[offset + i]);
        return value;
    }

    [[nodiscard]] bool readTrailer()
    {
        if (bytes.size() < signature.size() + 1 + trailerSize
            || std::memcmp(bytes.data(), signature.data(), signature.size()) != 0)
            return false;
        const uint64_t trailer = bytes.size() - trailerSize;
        offsetSize = number(trailer + 6, 1);
        referenceSize = number(trailer + 7, 1);
        objectCount = number(trailer + 8, 8);
        topObject = number(trailer + 16, 8);
        offsetTable = number(trailer + 24, 8);
        return offsetSize >= 1 && offsetSize <= 8 && referenceSize >= 1 && referenceSize <= 8 && objectCount > 0
            && objectCount <= mostObjects && topObject < objectCount && offsetTable >= signature.size() && offsetTable < trailer
            && objectCount <= (trailer - offsetTable) / offsetSize;
    }

    // One object: what it holds and what it takes.
    struct Object {
        uint64_t firstReference = 0;   // where its references begin
        uint64_t references = 0;
        uint64_t size = 0;   // bytes of its own
        bool isDictionary = false;
        bool isString = false;
        bool hasNull = false;
    };

    // Whether the library can tell the text at `offset`; sets whether it holds a null character.
    [[nodiscard]] bool isReadableText(uint64_t kind, uint64_t offset, Object& text) const
    {
        if (kind == 0x5)
            return std::find(bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                       bytes.begin() + static_cast<std::ptrdiff_t>(offset + text.size), std::byte{0})
                == bytes.begin() + static_cast<std::ptrdiff_t>(offset + text.size);
        if (kind != 0x6)
            return true;
        bool awaitsLow = false;
        for (uint64_t i = 0; i < text.size; i += 2) {
            const uint64_t unit = number(offset + i, 2);
            if ((unit >> 10 == 0x37) != awaitsLow)   // a low surrogate
                return false;
            awaitsLow = unit >> 10 == 0x36;   // a high one
            text.hasNull |= unit == 0;
        }
        return !awaitsLow;
    }

    [[nodiscard]] std::optional<Object> object(uint64_t index) const
    {
        uint64_t at = number(offsetTable + index * offsetSize, offsetSize);
        if (at < signature.size() || at >= offsetTable)
            return {};
        const uint64_t marker = number(at++, 1);
        const uint64_t kind = marker >> 4;
        const uint64_t low = marker & 15;
        const auto scalar = [&](uint64_t size) -> std::optional<Object> {
            return size <= offsetTable - at ? std::optional<Object>(Object{0, 0, size, false, false, false}) : std::nullopt;
        };
        switch (kind) {
        case 0x0:   // false and true
            return low == 8 || low == 9 ? scalar(0) : std::nullopt;
        case 0x1:   // integer
            if (low > 4 || !scalar(1U << low))
                return {};
            // Sixteen bytes are only for what fits into the lower eight with a clear sign.
            if (low == 4 && (number(at, 8) != 0 || number(at + 8, 8) >> 63 != 0))
                return {};
            return scalar(1U << low);
        case 0x2:   // real
            return low == 2 || low == 3 ? scalar(1U << low) : std::nullopt;
        case 0x3:   // date
            return low == 3 ? scalar(8) : std::nullopt;
        case 0x8:   // UID
            return low <= 7 ? scalar(low + 1) : std::nullopt;
        case 0x4:   // data
        case 0x5:   // ASCII
        case 0x6:   // UTF-16
        case 0xa:   // array
        case 0xd:   // dictionary
            break;
        default:
            return {};
        }
        uint64_t count = low;
        if (low == 15) {
            if (at >= offsetTable)
                return {};
            const uint64_t countMarker = number(at++, 1);
            const uint64_t countSize = uint64_t{1} << (countMarker & 15);
            if (countMarker >> 4 != 1 || countSize > 8 || countSize > offsetTable - at)
                return {};
            count = number(at, countSize);
            at += countSize;
        }
        const uint64_t room = offsetTable - at;
        if (kind < 0xa) {
            const uint64_t width = kind == 0x6 ? 2 : 1;
            if (count > room / width)
                return {};
            Object found{0, 0, count * width, false, kind != 0x4, false};
            if (!isReadableText(kind, at, found))
                return {};
            return found;
        }
        const uint64_t perElement = kind == 0xd ? 2 : 1;
        if (count > room / (referenceSize * perElement))
            return {};
        return Object{at, count * perElement, 0, kind == 0xd, false, false};
    }

    // Walks the objects depth first; each is measured once, when all that it holds has been.
    [[nodiscard]] bool isBounded(int deepestNesting) const
    {
        struct Measure {
            enum { New, Open, Done } state = New;
            uint64_t objects = 1;
            uint64_t bytes = 0;
            int height = 0;       // containers inside each other, this one included
            bool isKey = false;   // it can be one
        };
        struct Step {
            uint64_t index;
            Object object;
            uint64_t next = 0;   // the reference to look at
        };
        const uint64_t mostBytes = std::max(leastByteAllowance, bytes.size() * byteAllowancePerByte);
        std::vector<Measure> measures(objectCount);
        std::vector<Step> steps;
        const auto enter = [&](uint64_t index) {
            const std::optional<Object> found = object(index);
            if (!found || steps.size() > static_cast<size_t>(deepestNesting))
                return false;
            measures[index].state = Measure::Open;
            measures[index].bytes = found->size;
            measures[index].isKey = found->isString && !found->hasNull;
            steps.push_back({index, *found});
            return true;
        };
        if (!enter(topObject))
            return false;
        while (!steps.empty()) {
            Step& step = steps.back();
            Measure& measure = measures[step.index];
            if (step.next == step.object.references) {
                measure.state = Measure::Done;
                if (step.object.firstReference != 0)
                    ++measure.height;
                if (measure.objects > mostObjects || measure.bytes > mostBytes || measure.height > deepestNesting)
                    return false;
                steps.pop_back();
                continue;
            }
            const uint64_t index = number(step.object.firstReference + step.next * referenceSize, referenceSize);
            if (index >= objectCount)
                return false;
            const Measure& inner = measures[index];
            if (inner.state == Measure::Open)
                return false;   // it would hold itself
            if (inner.state == Measure::New) {
                if (!enter(index))
                    return false;
                continue;
            }
            // The first half of a dictionary's references are its keys.
            if (step.object.isDictionary && step.next < step.object.references / 2 && !inner.isKey)
                return false;
            // Measured by now: count it for this use.
            measure.objects += inner.objects;
            measure.bytes += inner.bytes;
            measure.height = std::max(measure.height, inner.height);
            if (measure.objects > mostObjects || measure.bytes > mostBytes)
                return false;
            ++step.next;
        }
        return true;
    }
};

}

bool isBoundedBinaryPropertyList(std::span<const std::byte> bytes, int deepestNesting)
{
    Checker checker{bytes};
    return checker.readTrailer() && checker.isBounded(deepestNesting);
}
