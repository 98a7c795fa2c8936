#include "Support/Channel.h"

#include <array>
#include <cerrno>
#include <gio/gio.h>
#include <mutex>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

void closeWithReset(int descriptor)
{
    const linger abrupt{.l_onoff = 1, .l_linger = 0};
    setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &abrupt, sizeof abrupt);
}

class PlainChannel : public Channel {
public:
    explicit PlainChannel(int descriptor) : _descriptor(descriptor) { }
    PlainChannel(const PlainChannel&) = delete;
    PlainChannel& operator=(const PlainChannel&) = delete;
    ~PlainChannel() override { close(_descriptor); }

    bool read(std::string& buffer) override
    {
        std::array<char, 16384> piece;
        ssize_t count;
        do
            count = recv(_descriptor, piece.data(), piece.size(), 0);
        while (count < 0 && errno == EINTR);
        if (count <= 0)
            return false;
        buffer.append(piece.data(), static_cast<size_t>(count));
        return true;
    }

    bool write(std::string_view bytes) override
    {
        while (!bytes.empty()) {
            const ssize_t count = send(_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                return false;
            bytes.remove_prefix(static_cast<size_t>(count));
        }
        return true;
    }

    void shutDown() override { shutdown(_descriptor, SHUT_RDWR); }
    // The reset goes out when the descriptor is closed.
    void reset() override { closeWithReset(_descriptor); }

private:
    const int _descriptor;
};

class SecureChannel : public Channel {
public:
    SecureChannel(int descriptor, GIOStream* stream, GObject* transport)
        : _descriptor(descriptor), _stream(stream), _transport(transport)
    {
    }
    SecureChannel(const SecureChannel&) = delete;
    SecureChannel& operator=(const SecureChannel&) = delete;
    ~SecureChannel() override
    {
        g_object_unref(_stream);
        g_object_unref(_transport);
    }

    bool read(std::string& buffer) override
    {
        std::array<char, 16384> piece;
        const gssize count =
            g_input_stream_read(g_io_stream_get_input_stream(_stream), piece.data(), piece.size(), nullptr, nullptr);
        if (count <= 0)
            return false;
        buffer.append(piece.data(), static_cast<size_t>(count));
        return true;
    }

    bool write(std::string_view bytes) override
    {
        return g_output_stream_write_all(
            g_io_stream_get_output_stream(_stream), bytes.data(), bytes.size(), nullptr, nullptr, nullptr);
    }

    void shutDown() override { shutdown(_descriptor, SHUT_RDWR); }
    void reset() override { closeWithReset(_descriptor); }

private:
    const int _descriptor;   // the transport's
    GIOStream* const _stream;
    GObject* const _transport;
};

}

std::unique_ptr<Channel> makePlainChannel(int descriptor)
{
    return std::make_unique<PlainChannel>(descriptor);
}

std::unique_ptr<Channel> makeSecureChannel(int descriptor, const std::string& certificatePath)
{
    GTlsCertificate* certificate = g_tls_certificate_new_from_file(certificatePath.c_str(), nullptr);
    GSocket* socket = certificate ? g_socket_new_from_fd(descriptor, nullptr) : nullptr;
    if (!socket) {
        close(descriptor);
        g_clear_object(&certificate);
        return nullptr;
    }
    g_socket_set_timeout(socket, 30);   // seconds; a client that never ends its handshake must not stop the server's end
    GSocketConnection* transport = g_socket_connection_factory_create_connection(socket);
    g_object_unref(socket);
    GIOStream* stream = g_tls_server_connection_new(G_IO_STREAM(transport), certificate, nullptr);
    g_object_unref(certificate);
    if (!stream) {
        g_object_unref(transport);
        return nullptr;
    }
    auto channel = std::make_unique<SecureChannel>(descriptor, stream, G_OBJECT(transport));
    if (!g_tls_connection_handshake(G_TLS_CONNECTION(stream), nullptr, nullptr))
        return nullptr;
    return channel;
}

}
