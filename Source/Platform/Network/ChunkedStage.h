#pragma once

#include "Platform/Network/BodyDecoder.h"

#include <string>

// The chunked transfer coding of RFC 9112, section 7.1. It ends with the size of the last chunk: extensions and
// trailer fields do not count.
class ChunkedStage : public DecodingStage {
public:
    Step decode(std::span<const std::byte> input, std::span<std::byte> output) override;
    [[nodiscard]] int64_t brokenCode() const override;
    [[nodiscard]] bool mayEnd() const override { return _ended; }

private:
    enum class Place { Size, Data, DataEnd };
    // Takes one byte outside of data. False when it cannot stand there.
    bool take(char character);
    bool takeSize();

    Place _place = Place::Size;
    std::string _line;    // what came of the line with the size
    uint64_t _left = 0;   // bytes of the present chunk
    bool _ended = false;
};
