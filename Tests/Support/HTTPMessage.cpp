#include "Support/HTTPMessage.h"

#include <brotli/encode.h>
#include <cstdio>
#include <stdexcept>
#include <strings.h>
#include <zlib.h>

namespace support {

namespace {

// `windowBits` as zlib counts them: 15 for a zlib stream, 31 for gzip.
std::string zlibCompressed(const std::string& data, int windowBits)
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("deflateInit2 failed");
    std::string result(deflateBound(&stream, data.size()) + 32, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(result.data());
    stream.avail_out = static_cast<uInt>(result.size());
    const int outcome = deflate(&stream, Z_FINISH);
    result.resize(stream.total_out);
    deflateEnd(&stream);
    if (outcome != Z_STREAM_END)
        throw std::runtime_error("deflate failed");
    return result;
}

const char* reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 206:
        return "Partial Content";
    case 301:
        return "Moved Permanently";
    case 302:
        return "Found";
    case 303:
        return "See Other";
    case 304:
        return "Not Modified";
    case 307:
        return "Temporary Redirect";
    case 308:
        return "Permanent Redirect";
    case 401:
        return "Unauthorized";
    case 404:
        return "Not Found";
    case 500:
        return "Internal Server Error";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

Response encoded(Response response, std::string body, const char* name)
{
    response.body = std::move(body);
    response.headers.emplace_back("Content-Encoding", name);
    return response;
}

}

std::optional<std::string> findHeader(const Headers& headers, std::string_view name)
{
    for (const auto& [key, value] : headers)
        if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0)
            return value;
    return {};
}

Response Response::with(std::string name, std::string value) const
{
    Response changed = *this;
    changed.headers.emplace_back(std::move(name), std::move(value));
    return changed;
}

Response typed(std::string contentType, std::string body)
{
    Response response;
    response.headers.emplace_back("Content-Type", std::move(contentType));
    response.body = std::move(body);
    return response;
}

Response html(std::string body)
{
    return typed("text/html; charset=utf-8", std::move(body));
}
Response css(std::string body)
{
    return typed("text/css", std::move(body));
}
Response script(std::string body)
{
    return typed("text/javascript", std::move(body));
}

Response status(int code, std::string body)
{
    Response response = html(std::move(body));
    response.status = code;
    return response;
}

Response redirect(std::string location, int code)
{
    Response response;
    response.status = code;
    response.headers.emplace_back("Location", std::move(location));
    return response;
}

Response gzipped(Response response)
{
    std::string body = zlibCompressed(response.body, 31);
    return encoded(std::move(response), std::move(body), "gzip");
}

Response deflated(Response response)
{
    std::string body = zlibCompressed(response.body, 15);
    return encoded(std::move(response), std::move(body), "deflate");
}

Response brotlied(Response response)
{
    size_t length = BrotliEncoderMaxCompressedSize(response.body.size());
    std::string body(length, '\0');
    if (!BrotliEncoderCompress(5, BROTLI_DEFAULT_WINDOW, BROTLI_MODE_GENERIC, response.body.size(),
            reinterpret_cast<const uint8_t*>(response.body.data()), &length, reinterpret_cast<uint8_t*>(body.data())))
        throw std::runtime_error("BrotliEncoderCompress failed");
    body.resize(length);
    return encoded(std::move(response), std::move(body), "br");
}

std::string headBytes(const Response& response, bool hasBody)
{
    std::string head = "HTTP/1.1 " + std::to_string(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
    for (const auto& [name, value] : response.headers)
        head += name + ": " + value + "\r\n";
    if (hasBody && response.framing == Framing::Length)
        head += "Content-Length: " + std::to_string(response.declaredLength.value_or(response.body.size())) + "\r\n";
    if (hasBody && response.framing == Framing::Chunked)
        head += "Transfer-Encoding: chunked\r\n";
    if (response.framing == Framing::UntilClose || response.ending == Ending::Close)
        head += "Connection: close\r\n";
    return head + "\r\n";
}

std::string chunkBytes(std::string_view data)
{
    char size[32];
    std::snprintf(size, sizeof size, "%zx\r\n", data.size());
    return std::string(size).append(data).append("\r\n");
}

std::string wireBytes(const Response& response, std::string_view method)
{
    const bool hasBody = response.status >= 200 && response.status != 204 && response.status != 304;
    std::string bytes = headBytes(response, hasBody);
    if (!hasBody || method == "HEAD")
        return bytes;
    if (response.framing != Framing::Chunked)
        return bytes + response.body;
    if (!response.body.empty())
        bytes += chunkBytes(response.body);
    return response.endsChunks ? bytes + chunkBytes({}) : bytes;
}

}
