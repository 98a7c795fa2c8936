#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace support {

// The server's end of one connection. Reading and writing block; shutDown() from any thread ends both.
class Channel {
public:
    virtual ~Channel() = default;
    // Appends what arrives next to `buffer`; false at the end of the connection.
    virtual bool read(std::string& buffer) = 0;
    // Writes all of `bytes`; false when the client is gone.
    virtual bool write(std::string_view bytes) = 0;
    virtual void shutDown() = 0;
    // Ends the connection so that the client sees a reset.
    virtual void reset() = 0;
};

// Owns `descriptor`, a connected TCP socket.
[[nodiscard]] std::unique_ptr<Channel> makePlainChannel(int descriptor);
// The same with TLS over it. `certificatePath` is a PEM file with certificate and key. Absent when the handshake fails.
[[nodiscard]] std::unique_ptr<Channel> makeSecureChannel(int descriptor, const std::string& certificatePath);

}
