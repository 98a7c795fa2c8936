#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

// One transformation of bytes, from a transfer or content coding to what it stands for.
class DecodingStage {
public:
    enum class State { Going, Ended, Broken };
    struct Step {
        size_t used;   // bytes of the input
        size_t made;   // bytes of the output
        State state;
    };

    virtual ~DecodingStage() = default;
    // Goes on as far as input and output allow. Without progress it needs more input.
    virtual Step decode(std::span<const std::byte> input, std::span<std::byte> output) = 0;
    // The code of NSURLErrorDomain for input that is not in this coding.
    [[nodiscard]] virtual int64_t brokenCode() const = 0;
    // Whether the input may end here.
    [[nodiscard]] virtual bool mayEnd() const = 0;
};

// Undoes the codings of an HTTP body. It is strict where libsoup is not: a chunked body without its last chunk is cut short, and
// what is not in the coding that the server names is an error.
class BodyDecoder {
public:
    enum class Outcome { Bytes, NeedsMore, End, Failed };

    void addChunked();
    // For a Content-Encoding field, whose last coding is undone first: gzip, deflate and br; "identity" is none. A field that
    // names any other coding is ignored as a whole. False when there are more codings than any honest server uses.
    [[nodiscard]] bool addContentCodings(std::string_view field);
    // Whether bytes stay as they are.
    [[nodiscard]] bool isIdle() const { return _levels.empty(); }

    // The next bytes as they came, borrowed until more are needed.
    void feed(std::span<const std::byte> bytes) { _raw = bytes; }
    // There are no more.
    void feedEnd() { _rawEnded = true; }
    // Decodes into `output`, which must not be empty: `*count` bytes when the outcome is Bytes. After the first End or Failed it
    // is not to be called again.
    [[nodiscard]] Outcome decode(std::span<std::byte> output, size_t* count);
    // Why it failed, in NSURLErrorDomain.
    [[nodiscard]] int64_t errorCode() const { return _errorCode; }

private:
    struct Level {
        std::unique_ptr<DecodingStage> stage;
        std::vector<std::byte> buffer;     // of what it made for the level above
        std::span<const std::byte> left;   // of the buffer
        bool hasEnded = false;
        bool isBroken = false;
    };
    void add(std::unique_ptr<DecodingStage> stage);
    Outcome fill(size_t index, std::span<std::byte> output, size_t* count);
    Outcome fillInput(size_t index);
    Outcome fail(int64_t code);

    std::vector<Level> _levels;   // the first one takes the bytes as they came
    std::span<const std::byte> _raw;
    bool _rawEnded = false;
    int64_t _errorCode = 0;
};
