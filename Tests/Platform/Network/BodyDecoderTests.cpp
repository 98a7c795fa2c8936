#include "Platform/Network/BodyDecoder.h"

#include "Platform/Foundation/NSErrorCodes.h"
#include "Support/HTTPMessage.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

struct Decoded {
    std::string text;
    int64_t errorCode = 0;
    bool operator==(const Decoded&) const = default;
};

void PrintTo(const Decoded& decoded, std::ostream* out)
{
    *out << decoded.text.substr(0, 100) << " error " << decoded.errorCode;
}

struct Codings {
    bool chunked = false;
    const char* content = "";
};

// Decodes `bytes`, which come in pieces of at most `pieceSize` and are taken in pieces of at most `outputSize`.
Decoded decode(const Codings& codings, std::string_view bytes, size_t pieceSize = 4096, size_t outputSize = 4096)
{
    BodyDecoder decoder;
    if (codings.chunked)
        decoder.addChunked();
    EXPECT_TRUE(decoder.addContentCodings(codings.content));
    Decoded decoded;
    std::vector<std::byte> output(outputSize);
    for (std::vector<std::byte> piece;;) {
        size_t count = 0;
        switch (decoder.decode(output, &count)) {
        case BodyDecoder::Outcome::Bytes:
            EXPECT_GT(count, 0u);
            decoded.text.append(reinterpret_cast<const char*>(output.data()), count);
            break;
        case BodyDecoder::Outcome::NeedsMore: {
            const std::string_view next = bytes.substr(0, pieceSize);
            bytes.remove_prefix(next.size());
            // In a buffer of exactly its size, so that reading beyond it is seen.
            piece.assign(
                reinterpret_cast<const std::byte*>(next.data()), reinterpret_cast<const std::byte*>(next.data()) + next.size());
            piece.shrink_to_fit();
            if (next.empty())
                decoder.feedEnd();
            else
                decoder.feed(piece);
            break;
        }
        case BodyDecoder::Outcome::Failed:
            decoded.errorCode = decoder.errorCode();
            return decoded;
        case BodyDecoder::Outcome::End:
            return decoded;
        }
    }
}

std::string gzip(const std::string& text)
{
    return support::gzipped(support::typed("", text)).body;
}
std::string deflate(const std::string& text)
{
    return support::deflated(support::typed("", text)).body;
}
std::string brotli(const std::string& text)
{
    return support::brotlied(support::typed("", text)).body;
}

TEST(BodyDecoder, ReadsChunks)
{
    const struct {
        std::string bytes;
        Decoded decoded;
    } rows[] = {
        {"0\r\n\r\n", {""}},
        {"3\r\nabc\r\n0\r\n\r\n", {"abc"}},
        {"3\r\nabc\r\n00002\r\nde\r\n000\r\n\r\n", {"abcde"}},
        {"A\r\n0123456789\r\na\r\n0123456789\r\n0\r\n", {"01234567890123456789"}},
        {"3;name=\"value\"\r\nabc\r\n0;x\r\nTrailer: x\r\n\r\n", {"abc"}},
        {"3 \r\nabc\r\n0\r\n\r\n", {"abc"}},
        {"3\nabc\n0\n\n", {"abc"}},
        {"3\r\nabc\r\n0\r\n\r\nmore", {"abc"}},
        {"", {"", NSURLErrorNetworkConnectionLost}},
        {"3", {"", NSURLErrorNetworkConnectionLost}},
        {"3\r\nab", {"ab", NSURLErrorNetworkConnectionLost}},
        {"3\r\nabc", {"abc", NSURLErrorNetworkConnectionLost}},
        {"3\r\nabc\r\n", {"abc", NSURLErrorNetworkConnectionLost}},
        {"3\r\nabc\r\n0", {"abc", NSURLErrorNetworkConnectionLost}},
        {"\r\n", {"", NSURLErrorBadServerResponse}},
        {"x\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"-3\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"0x3\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"3z\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"3\r\nabcd\r\n0\r\n\r\n", {"abc", NSURLErrorBadServerResponse}},
        {"ffffffffffffffff\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"10000000000000000\r\nabc", {"", NSURLErrorBadServerResponse}},
        {"3;" + std::string(10'000, 'x') + "\r\nabc", {"", NSURLErrorBadServerResponse}},
    };
    for (const auto& [bytes, decoded] : rows) {
        SCOPED_TRACE(bytes.substr(0, 60));
        for (const size_t pieceSize : {1, 2, 3, 5, 4096})
            for (const size_t outputSize : {1, 2, 4096})
                EXPECT_EQ(decode({.chunked = true}, bytes, pieceSize, outputSize), decoded);
    }
}

TEST(BodyDecoder, UndoesContentCodings)
{
    const std::string raw("\x4b\x4c\x4a\x06\x00", 5);   // "abc" as bare deflate data
    const struct {
        const char* codings;
        std::string bytes;
        Decoded decoded;
    } rows[] = {
        {"gzip", gzip("abc"), {"abc"}},
        {"GZip", gzip("abc"), {"abc"}},
        {"x-gzip", gzip("abc"), {"abc"}},
        {"gzip", gzip(""), {""}},
        {"gzip", gzip("abc") + gzip("def"), {"abcdef"}},
        {"gzip", gzip("abc") + "padding", {"abc"}},
        {"deflate", deflate("abc"), {"abc"}},
        {"deflate", raw, {"abc"}},
        {"br", brotli("abc"), {"abc"}},
        {"gzip, br", brotli(gzip("abc")), {"abc"}},
        {" gzip ,identity, ,deflate", deflate(gzip("abc")), {"abc"}},
        {"gzip", "", {""}},
        {"deflate", "", {""}},
        {"br", "", {""}},
        {"gzip", "abc", {"", NSURLErrorCannotDecodeContentData}},
        {"gzip", deflate("abc"), {"", NSURLErrorCannotDecodeContentData}},
        {"deflate", "\xff\xff\xff", {"", NSURLErrorCannotDecodeContentData}},
        {"br", "\xff\xff\xff\xff", {"", NSURLErrorCannotDecodeContentData}},
        {"gzip", gzip("abc").substr(0, 5), {"", NSURLErrorNetworkConnectionLost}},
        {"gzip", gzip("abc") + gzip("def").substr(0, 9), {"abc", NSURLErrorNetworkConnectionLost}},
        {"deflate", deflate("abc").substr(0, 1), {"", NSURLErrorNetworkConnectionLost}},
        {"br", brotli("abc").substr(0, 2), {"", NSURLErrorNetworkConnectionLost}},
    };
    for (const auto& [codings, bytes, decoded] : rows) {
        SCOPED_TRACE(std::string(codings) + ' ' + bytes);
        for (const size_t pieceSize : {1, 2, 7, 4096})
            for (const size_t outputSize : {1, 2, 4096})
                EXPECT_EQ(decode({.content = codings}, bytes, pieceSize, outputSize), decoded);
    }
}

TEST(BodyDecoder, LeavesUnknownCodingsAlone)
{
    for (const char* const codings : {"", "identity", "zstd", "gzip, zstd", "nonsense"}) {
        BodyDecoder decoder;
        EXPECT_TRUE(decoder.addContentCodings(codings));
        EXPECT_TRUE(decoder.isIdle()) << codings;
    }
    BodyDecoder decoder;
    EXPECT_FALSE(decoder.addContentCodings("br,br,br,br,br,br"));
}

TEST(BodyDecoder, GivesWhatWasCodedHoweverItIsCut)
{
    std::mt19937 random(20261121);
    const auto upTo = [&](size_t limit) { return random() % limit; };
    for (int round = 0; round < 60; ++round) {
        std::string text(upTo(200'000), '\0');
        for (char& character : text)
            character = static_cast<char>('a' + upTo(round % 2 ? 3 : 25));
        const std::string codings[] = {"gzip", "deflate", "br", ""};
        const std::string& coding = codings[upTo(4)];
        const std::string coded = coding == "gzip" ? gzip(text)
            : coding == "deflate"                  ? deflate(text)
            : coding == "br"                       ? brotli(text)
                                                   : text;
        std::string chunks;
        for (size_t begin = 0; begin < coded.size();) {
            const std::string chunk = coded.substr(begin, 1 + upTo(20'000));
            chunks += support::chunkBytes(chunk);
            begin += chunk.size();
        }
        chunks += support::chunkBytes({});
        SCOPED_TRACE(coding + " round " + std::to_string(round));
        const Codings both{.chunked = true, .content = coding.c_str()};
        EXPECT_TRUE((decode(both, chunks, 1 + upTo(50'000), 1 + upTo(50'000)) == Decoded{text}));
        // Cut before the last chunk it is an error, unless all the bytes were there.
        const Decoded cut = decode(both, chunks.substr(0, upTo(chunks.size() - 4)));
        EXPECT_TRUE(cut.errorCode == NSURLErrorNetworkConnectionLost || (cut.text == text && !coding.empty()));
    }
}

// A small body that stands for a huge one is taken piece by piece.
TEST(BodyDecoder, ExpandsNoMoreThanIsAskedFor)
{
    const std::string bomb = gzip(std::string(50'000'000, '\0'));
    BodyDecoder decoder;
    ASSERT_TRUE(decoder.addContentCodings("gzip"));
    decoder.feed(std::as_bytes(std::span(bomb)));
    std::vector<std::byte> output(1000);
    size_t count = 0;
    ASSERT_EQ(decoder.decode(output, &count), BodyDecoder::Outcome::Bytes);
    EXPECT_EQ(count, 1000u);
}

}
