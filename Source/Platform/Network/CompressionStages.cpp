#include "Platform/Network/CompressionStages.h"

#include "Platform/Foundation/NSErrorCodes.h"

namespace {

constexpr std::byte gzipMagic{0x1f};
constexpr int gzipWindow = 15 + 16;   // as zlib counts them
constexpr int zlibWindow = 15;
constexpr int rawWindow = -15;

}

ZlibStage::~ZlibStage()
{
    if (_isStarted)
        inflateEnd(&_stream);
}

int64_t ZlibStage::brokenCode() const
{
    return NSURLErrorCannotDecodeContentData;
}

bool ZlibStage::start(std::byte first)
{
    // A zlib header begins with method 8 and a window of at most 32 KiB; in bare deflate data that would be a block kind with
    // padding that no writer makes.
    const auto byte = static_cast<unsigned>(first);
    const bool hasHeader = (byte & 0x0f) == Z_DEFLATED && (byte >> 4) <= 7;
    const int window = _format == Format::Gzip ? gzipWindow : hasHeader ? zlibWindow : rawWindow;
    _isStarted = inflateInit2(&_stream, window) == Z_OK;
    return _isStarted;
}

DecodingStage::Step ZlibStage::decode(std::span<const std::byte> input, std::span<std::byte> output)
{
    if (input.empty() && mayEnd())
        return {0, 0, State::Going};
    if (!_isStarted && !start(input.front()))
        return {0, 0, State::Broken};
    if (_isBetweenMembers) {
        if (input.front() != gzipMagic)
            return {0, 0, State::Ended};
        inflateReset(&_stream);
        _isBetweenMembers = false;
    }
    _stream.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(input.data()));
    _stream.avail_in = static_cast<uInt>(input.size());
    _stream.next_out = reinterpret_cast<Bytef*>(output.data());
    _stream.avail_out = static_cast<uInt>(output.size());
    const int outcome = inflate(&_stream, Z_NO_FLUSH);
    const size_t used = input.size() - _stream.avail_in;
    const size_t made = output.size() - _stream.avail_out;
    if (outcome == Z_STREAM_END) {
        _isBetweenMembers = _format == Format::Gzip;
        return {used, made, _isBetweenMembers ? State::Going : State::Ended};
    }
    // Z_BUF_ERROR says that there was nothing to do.
    return {used, made, outcome == Z_OK || outcome == Z_BUF_ERROR ? State::Going : State::Broken};
}

int64_t BrotliStage::brokenCode() const
{
    return NSURLErrorCannotDecodeContentData;
}

DecodingStage::Step BrotliStage::decode(std::span<const std::byte> input, std::span<std::byte> output)
{
    _isStarted = _isStarted || !input.empty();
    size_t leftIn = input.size();
    size_t leftOut = output.size();
    const auto* in = reinterpret_cast<const uint8_t*>(input.data());
    auto* out = reinterpret_cast<uint8_t*>(output.data());
    const BrotliDecoderResult result = BrotliDecoderDecompressStream(_state, &leftIn, &in, &leftOut, &out, nullptr);
    const State state = result == BROTLI_DECODER_RESULT_SUCCESS ? State::Ended
        : result == BROTLI_DECODER_RESULT_ERROR                 ? State::Broken
                                                                : State::Going;
    return {input.size() - leftIn, output.size() - leftOut, state};
}
