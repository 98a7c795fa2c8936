#include "Platform/Network/ByteSource.h"

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

void ByteSource::opened(NSURLResponse response, ObjectPointer<GInputStream> stream)
{
    _response = std::move(response);
    _stream = std::move(stream);
    _buffer.resize(bufferSize);
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
    if (_readAhead) {
        endRead(std::move(*_readAhead));
        return;
    }
    g_input_stream_read_async(
        _stream.get(), _buffer.data(), _buffer.size(), G_PRIORITY_DEFAULT, _cancellable.get(), didRead, reference());
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
    _count = count;
    auto* const stream = reinterpret_cast<GPollableInputStream*>(_stream.get());
    if (!G_IS_POLLABLE_INPUT_STREAM(_stream.get()) || !g_pollable_input_stream_can_poll(stream))
        return;
    while (_count < _buffer.size()) {
        GError* error = nullptr;
        const gssize more = g_pollable_input_stream_read_nonblocking(
            stream, _buffer.data() + _count, _buffer.size() - _count, _cancellable.get(), &error);
        ErrorPointer owned(error);
        if (more > 0) {
            _count += static_cast<size_t>(more);
            continue;
        }
        if (more == 0 || !g_error_matches(error, G_IO_ERROR, G_IO_ERROR_WOULD_BLOCK))
            _readAhead = ReadEnd{more, std::move(owned)};
        return;
    }
}

void ByteSource::endRead(ReadEnd end)
{
    if (end.count < 0)
        failed(errorWhileReading(*end.error));
    else if (_news)
        _news();
}

void ByteSource::cancel()
{
    _news = nullptr;
    g_cancellable_cancel(_cancellable.get());
}
