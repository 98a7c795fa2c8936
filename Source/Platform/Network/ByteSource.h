#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURLResponse.h"
#include "Platform/Foundation/ObjectPointer.h"
#include "Platform/Network/BodyDecoder.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <gio/gio.h>
#include <memory>
#include <optional>
#include <span>
#include <vector>

// Where a download's bytes come from. One operation, `open` or `read`, is under way at a time; its end is told once by `news`,
// inside a run of the run loop but from within library code: `news` only makes a note of it and throws nothing. Used on one
// thread. To be owned by a shared pointer: what is under way keeps the source alive.
class ByteSource : public std::enable_shared_from_this<ByteSource> {
public:
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource();

    // Ends with an error or a response.
    void open(std::function<void()> news);
    // After a successful open. Ends with an error or with bytes; none are the end.
    void read();
    // There will be no news any more.
    void cancel();

    [[nodiscard]] const NSError& error() const { return _error; }
    [[nodiscard]] const NSURLResponse& response() const { return _response; }
    // Valid until the next read.
    [[nodiscard]] std::span<const std::byte> bytes() const { return std::span(_buffer).first(_count); }
    // The address that is being loaded: after redirects, the last one.
    [[nodiscard]] virtual NSURL url() const = 0;
    // The moment of the monotonic clock, in microseconds, at which something was last heard of the other
    // side; 0 when that is unknown.
    [[nodiscard]] virtual int64_t lastArrival() const { return 0; }

protected:
    ByteSource();
    virtual void startOpening() = 0;
    [[nodiscard]] virtual NSError errorWhileReading(const GError& error) const = 0;
    // End the opening. With a length, so many bytes of the stream are the body, before any decoding: fewer are a lost connection.
    void opened(NSURLResponse response, ObjectPointer<GInputStream> stream, BodyDecoder decoder = {},
        std::optional<uint64_t> length = {});
    void failed(NSError error);

    [[nodiscard]] GCancellable* cancellable() const { return _cancellable.get(); }
    // For callbacks of asynchronous operations: `reference` as their user data keeps the source alive,
    // `fromReference` takes it back.
    [[nodiscard]] gpointer reference() { return new std::shared_ptr<ByteSource>(shared_from_this()); }
    template <typename Source>
    [[nodiscard]] static std::shared_ptr<Source> fromReference(gpointer data)
    {
        const std::unique_ptr<std::shared_ptr<ByteSource>> holder(static_cast<std::shared_ptr<ByteSource>*>(data));
        return std::static_pointer_cast<Source>(*holder);
    }
    [[nodiscard]] bool isCancelled() const { return !_news; }

private:
    // How an attempt to read ended: with `count` bytes, or with an error and a negative count.
    struct ReadEnd {
        gssize count;
        ErrorPointer error;
    };
    void readStream();
    static void didRead(GObject* stream, GAsyncResult* result, gpointer data);
    // Adds to the first `count` bytes in the buffer what can be had at once, so that small pieces cost little.
    void gather(size_t count);
    void endRead(ReadEnd end);
    void decode();
    // Of the stream; the one that is handed out when nothing has to be decoded.
    [[nodiscard]] std::vector<std::byte>& streamBuffer() { return _decoder.isIdle() ? _buffer : _codedBuffer; }

    std::function<void()> _news;   // none once cancelled
    ObjectPointer<GCancellable> _cancellable;
    ObjectPointer<GInputStream> _stream;
    NSURLResponse _response;
    NSError _error;
    BodyDecoder _decoder;
    std::optional<uint64_t> _lengthLeft;   // what is still to come of the stream; absent when nobody has told
    std::vector<std::byte> _codedBuffer;
    size_t _streamCount = 0;   // bytes in the stream's buffer
    std::vector<std::byte> _buffer;
    size_t _count = 0;                   // bytes in `_buffer` that are handed out
    std::optional<ReadEnd> _readAhead;   // the end of the stream or its failure, when it was met while gathering
};
