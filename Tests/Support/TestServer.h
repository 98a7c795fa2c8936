#pragma once

#include "Support/HTTPMessage.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace support {

// One request that a raw handler answers byte by byte. Every operation ends early, with false, when the server ends.
class Exchange {
public:
    virtual ~Exchange() = default;
    [[nodiscard]] virtual const Request& request() const = 0;
    // Sends all of `bytes`; false when the client is gone.
    virtual bool send(std::string_view bytes) = 0;
    bool sendHead(const Response& response) { return send(headBytes(response, true)); }
    bool sendChunk(std::string_view data) { return send(chunkBytes(data)); }
    bool endChunks() { return send(chunkBytes({})); }
    // Waits until the server's release() was called once more for this request's path.
    virtual bool awaitRelease() = 0;
    // Waits until the client closes the connection.
    virtual bool awaitClose() = 0;
    // Ends the connection: with a reset as the client sees it, or in order.
    virtual void reset() = 0;
    virtual void close() = 0;
};

// An HTTP/1.1 server on loopback, for tests: each connection has a thread, every request is logged, and answers can be held
// back until the test lets them go. It listens on one port of 127.0.0.1, 127.0.0.2 and, where the system has it, ::1.
// All operations are safe from any thread.
class TestServer {
public:
    using Handler = std::function<Response(const Request&)>;
    using RawHandler = std::function<void(Exchange&)>;

    // With a PEM file of certificate and key it speaks TLS.
    explicit TestServer(const std::string& certificatePath = {});
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;
    // Ends all connections and waits for their threads.
    ~TestServer();

    [[nodiscard]] int port() const;
    // The address of `path`, which begins with "/". Hosts to use: "127.0.0.1", "127.0.0.2", "localhost", "[::1]", "a.localhost".
    [[nodiscard]] std::string url(const std::string& path, const std::string& host = "127.0.0.1") const;
    // "127.0.0.1:1234"
    [[nodiscard]] std::string authority(const std::string& host = "127.0.0.1") const;

    // What answers requests for a path, whatever their query and host. A path without an answer gives 404 with a short page.
    void on(const std::string& path, Response response);
    void on(const std::string& path, Handler handler);
    void onRaw(const std::string& path, RawHandler handler);
    // Serves the files of `folder` below `prefix`, which begins and ends with "/", with the types that their names suggest. They
    // are read when asked for.
    void serveFolder(const std::string& prefix, const std::filesystem::path& folder);

    // From now on every answer for `path` waits for one release() before its first byte.
    void hold(const std::string& path);
    // Lets one held answer, or one awaitRelease(), for `path` go on; remembered when nothing waits yet.
    void release(const std::string& path);

    // What has been asked so far, in the order of arrival.
    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::vector<Request> requests(const std::string& path) const;
    // Waits until `path` was asked for at least `count` times; false when that does not happen in time.
    [[nodiscard]] bool waitForRequests(
        const std::string& path, size_t count = 1, std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

// The content type that servers give files with such a name; "application/octet-stream" when nothing is known.
[[nodiscard]] std::string contentTypeForName(const std::string& name);

// A loopback port that nothing listens on at the moment.
[[nodiscard]] int unusedPort();

}
