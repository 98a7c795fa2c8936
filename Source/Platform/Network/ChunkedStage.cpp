#include "Platform/Network/ChunkedStage.h"

#include "Platform/Foundation/NSErrorCodes.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace {

constexpr size_t longestLine = 4096;                   // bytes
constexpr uint64_t biggestChunk = uint64_t{1} << 62;   // bytes

}

int64_t ChunkedStage::brokenCode() const
{
    return NSURLErrorBadServerResponse;
}

DecodingStage::Step ChunkedStage::decode(std::span<const std::byte> input, std::span<std::byte> output)
{
    size_t used = 0;
    size_t made = 0;
    while (used < input.size() && !_ended) {
        if (_place != Place::Data) {
            if (!take(static_cast<char>(input[used++])))
                return {used, made, State::Broken};
            continue;
        }
        const size_t count = static_cast<size_t>(std::min<uint64_t>({_left, input.size() - used, output.size() - made}));
        if (count == 0)
            break;
        std::memcpy(output.data() + made, input.data() + used, count);
        used += count;
        made += count;
        _left -= count;
        if (_left == 0)
            _place = Place::DataEnd;
    }
    return {used, made, _ended ? State::Ended : State::Going};
}

bool ChunkedStage::take(char character)
{
    if (_place == Place::DataEnd) {
        // A line feed alone is accepted, as everywhere in HTTP.
        if (character == '\n')
            _place = Place::Size;
        return character == '\n' || character == '\r';
    }
    if (character == '\n')
        return takeSize();
    _line += character;
    return _line.size() <= longestLine;
}

bool ChunkedStage::takeSize()
{
    const char* const begin = _line.data();
    const char* const end = begin + _line.size();
    const auto [behind, failure] = std::from_chars(begin, end, _left, 16);
    const bool isSize =
        failure == std::errc() && _left <= biggestChunk && (behind == end || std::strchr(" \t;\r", *behind) != nullptr);
    _line.clear();
    _ended = isSize && _left == 0;
    _place = Place::Data;
    return isSize;
}
