#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace support {

using Headers = std::vector<std::pair<std::string, std::string>>;

// The value of the first header with that name, whatever its case.
[[nodiscard]] std::optional<std::string> findHeader(const Headers& headers, std::string_view name);

// A request as it arrived.
struct Request {
    std::string method;
    std::string target;   // as sent: path and query, percent escapes kept
    std::string path;     // the target without its query
    std::string query;    // without the "?"; empty when there is none
    Headers headers;
    std::string body;
    std::string scheme;                           // "http" or "https"
    std::chrono::steady_clock::time_point time;   // when its head was complete

    [[nodiscard]] std::optional<std::string> header(std::string_view name) const { return findHeader(headers, name); }
    // The address that the client asked for.
    [[nodiscard]] std::string url() const { return scheme + "://" + header("Host").value_or("") + target; }
};

// How the end of a body is told.
enum class Framing { Length, Chunked, UntilClose };
// What happens to the connection after the answer.
enum class Ending { KeepAlive, Close, Reset, StayOpen };

// An answer to send. The headers go out as they stand, in their order; the framing's own header is added to them.
struct Response {
    int status = 200;
    Headers headers;
    std::string body;
    Framing framing = Framing::Length;
    Ending ending = Ending::KeepAlive;
    // Announced instead of the body's real length.
    std::optional<uint64_t> declaredLength;
    // For Framing::Chunked: leave the last, empty chunk out.
    bool endsChunks = true;

    // The same answer with one more header.
    [[nodiscard]] Response with(std::string name, std::string value) const;
};

// Answers of the usual kinds, with exactly the content type that a server would give.
[[nodiscard]] Response html(std::string body);   // text/html; charset=utf-8
[[nodiscard]] Response css(std::string body);
[[nodiscard]] Response script(std::string body);
[[nodiscard]] Response typed(std::string contentType, std::string body);
[[nodiscard]] Response status(int code, std::string body = {});
[[nodiscard]] Response redirect(std::string location, int code = 302);
// The same answer with its body compressed and Content-Encoding saying so.
[[nodiscard]] Response gzipped(Response response);
[[nodiscard]] Response deflated(Response response);
[[nodiscard]] Response brotlied(Response response);

// The bytes of the status line and the headers with the empty line behind them.
[[nodiscard]] std::string headBytes(const Response& response, bool hasBody);
// All bytes of the answer to a request of `method`.
[[nodiscard]] std::string wireBytes(const Response& response, std::string_view method);
[[nodiscard]] std::string chunkBytes(std::string_view data);

}
