#include "Platform/Network/ByteSource.h"

#include "Platform/Network/TransferErrors.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t bufferSize = 256 * 1024;   // bytes

}

ByteSource::ByteSource() : _cancellable(g_cancellable_new()) { }

ByteSource::~ByteSource() = default;

void ByteSource::open(std::function<void()> news)
{
    _news = std::move(news);
    startOpening();
}

void ByteSource::opened(
    NSURLResponse response, ObjectPointer<GInputStream> stream, BodyDecoder decoder, std::optional<uint64_t> length)
{
    _lengthLeft = length;
    _response = std::move(response);
    _stream = std::move(stream);
    _decoder = std::move(decoder);
    _buffer.resize(bufferSize);
    streamBuffer().resize(bufferSize);
    if (_news)
        _news();
}

void ByteSource::failed(NSError error)
{
    _error = std::move(error);
    if (_news)
        _news();
}

void ByteSource::read()
{
    _count = 0;
    if (_decoder.isIdle())
        readStream();
    else
        decode();
}

void ByteSource::readStream()
{
    _streamCount = 0;
    if (_lengthLeft == 0U) {
        endRead({});
        return;
    }
    if (_readAhead) {
        endRead(std::move(*_readAhead));
        return;
    }
    std::vector<std::byte>& buffer = streamBuffer();
    g_input_stream_read_async(
        _stream.get(), buffer.data(), buffer.size(), G_PRIORITY_DEFAULT, _cancellable.get(), didRead, reference());
}

void ByteSource::didRead(GObject* stream, GAsyncResult* result, gpointer data)
{
    const auto self = fromReference<ByteSource>(data);
    GError* error = nullptr;
    const gssize count = g_input_stream_read_finish(G_INPUT_STREAM(stream), result, &error);
    ErrorPointer owned(error);
    if (self->isCancelled())
        return;
    if (count > 0)
        self->gather(static_cast<size_t>(count));
    self->endRead(ReadEnd{count, std::move(owned)});
}

void ByteSource::gather(size_t count)
{
    _streamCount = count;
    if (!G_IS_POLLABLE_INPUT_STREAM(_stream.get()))
        return;
    auto* const stream = reinterpret_cast<GPollableInputStream*>(_stream.get());
    std::vector<std::byte>& buffer = streamBuffer();
    while (_streamCount < buffer.size() && g_pollable_input_stream_can_poll(stream)) {
        GError* error = nullptr;
        const gssize more = g_pollable_input_stream_read_nonblocking(
            stream, buffer.data() + _streamCount, buffer.size() - _streamCount, _cancellable.get(), &error);
        ErrorPointer owned(error);
        if (more > 0) {
            _streamCount += static_cast<size_t>(more);
            continue;
        }
        if (more == 0 || !g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK))
            _readAhead = ReadEnd{more, std::move(owned)};
        return;
    }
}

void ByteSource::endRead(ReadEnd end)
{
    if (end.count < 0) {
        failed(errorWhileReading(*end.error));
        return;
    }
    if (_lengthLeft) {
        if (_streamCount == 0 && *_lengthLeft > 0) {
            failed(transferError(NSURLErrorNetworkConnectionLost, url()));
            return;
        }
        _streamCount = std::min(_streamCount, static_cast<size_t>(*_lengthLeft));
        *_lengthLeft -= _streamCount;
    }
    if (!_decoder.isIdle()) {
        if (_streamCount > 0)
            _decoder.feed(std::span(_codedBuffer).first(_streamCount));
        else
            _decoder.feedEnd();
        decode();
        return;
    }
    _count = _streamCount;
    if (_news)
        _news();
}

void ByteSource::decode()
{
    switch (_decoder.decode(_buffer, &_count)) {
    case BodyDecoder::Outcome::NeedsMore:
        readStream();
        return;
    case BodyDecoder::Outcome::Failed:
        failed(transferError(_decoder.errorCode(), url()));
        return;
    case BodyDecoder::Outcome::Bytes:
    case BodyDecoder::Outcome::End:
        if (_news)
            _news();
    }
}

void ByteSource::cancel()
{
    _news = nullptr;
    g_cancellable_cancel(_cancellable.get());
}
