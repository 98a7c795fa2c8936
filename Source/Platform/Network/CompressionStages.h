#pragma once

#include "Platform/Network/BodyDecoder.h"

#include <brotli/decode.h>
#include <zlib.h>

// No bytes at all are no bytes in every one of these codings.

// gzip, also of several members; or deflate, with the zlib header that it should have or without. What
// follows the end is ignored.
class ZlibStage : public DecodingStage {
public:
    enum class Format { Gzip, Deflate };

    explicit ZlibStage(Format format) : _format(format) { }
    ZlibStage(const ZlibStage&) = delete;
    ZlibStage& operator=(const ZlibStage&) = delete;
    ~ZlibStage() override;

    Step decode(std::span<const std::byte> input, std::span<std::byte> output) override;
    [[nodiscard]] int64_t brokenCode() const override;
    [[nodiscard]] bool mayEnd() const override { return !_isStarted || _isBetweenMembers; }

private:
    bool start(std::byte first);

    const Format _format;
    z_stream _stream = {};
    bool _isStarted = false;
    bool _isBetweenMembers = false;
};

class BrotliStage : public DecodingStage {
public:
    BrotliStage() : _state(BrotliDecoderCreateInstance(nullptr, nullptr, nullptr)) { }
    BrotliStage(const BrotliStage&) = delete;
    BrotliStage& operator=(const BrotliStage&) = delete;
    ~BrotliStage() override { BrotliDecoderDestroyInstance(_state); }

    Step decode(std::span<const std::byte> input, std::span<std::byte> output) override;
    [[nodiscard]] int64_t brokenCode() const override;
    [[nodiscard]] bool mayEnd() const override { return !_isStarted; }

private:
    BrotliDecoderState* const _state;
    bool _isStarted = false;
};
