#include "Support/TestServer.h"

#include "Support/Channel.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace support {

namespace {

// A listening socket on `address`; -1 when it cannot be had. Port 0 takes any free one.
int listenOn(const char* address, int port)
{
    const bool six = std::strchr(address, ':') != nullptr;
    const int descriptor = socket(six ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        return -1;
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    int outcome;
    if (six) {
        sockaddr_in6 name{};
        name.sin6_family = AF_INET6;
        name.sin6_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET6, address, &name.sin6_addr);
        outcome = bind(descriptor, reinterpret_cast<sockaddr*>(&name), sizeof name);
    } else {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, address, &name.sin_addr);
        outcome = bind(descriptor, reinterpret_cast<sockaddr*>(&name), sizeof name);
    }
    if (outcome != 0 || listen(descriptor, 512) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

int portOf(int descriptor)
{
    sockaddr_in name{};
    socklen_t length = sizeof name;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &length);
    return ntohs(name.sin_port);
}

std::string trimmed(std::string_view text)
{
    const size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos)
        return {};
    return std::string(text.substr(begin, text.find_last_not_of(" \t") - begin + 1));
}

// Reads the head that `text` holds, without its empty line.
Request parsedHead(std::string_view text)
{
    Request request;
    size_t end = text.find("\r\n");
    const std::string_view first = text.substr(0, end);
    const size_t space = first.find(' ');
    const size_t second = first.rfind(' ');
    if (space != std::string_view::npos && second > space) {
        request.method = first.substr(0, space);
        request.target = first.substr(space + 1, second - space - 1);
    }
    const size_t mark = request.target.find('?');
    request.path = request.target.substr(0, mark);
    if (mark != std::string::npos)
        request.query = request.target.substr(mark + 1);
    while (end != std::string_view::npos) {
        text.remove_prefix(end + 2);
        end = text.find("\r\n");
        const std::string_view line = text.substr(0, end);
        const size_t colon = line.find(':');
        if (colon != std::string_view::npos)
            request.headers.emplace_back(line.substr(0, colon), trimmed(line.substr(colon + 1)));
    }
    return request;
}

// Whether a client begins with TLS where plain text is spoken; such a one would wait for ever for its answer.
bool isHandshake(const std::string& received)
{
    return received.starts_with('\x16');
}

int hexDigit(char character)
{
    if (character >= '0' && character <= '9')
        return character - '0';
    character |= 0x20;
    return character >= 'a' && character <= 'f' ? character - 'a' + 10 : -1;
}

std::string percentDecoded(const std::string& text)
{
    std::string result;
    for (size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%' && index + 2 < text.size() && hexDigit(text[index + 1]) >= 0 && hexDigit(text[index + 2]) >= 0) {
            result += static_cast<char>(hexDigit(text[index + 1]) * 16 + hexDigit(text[index + 2]));
            index += 2;
        } else {
            result += text[index];
        }
    }
    return result;
}

Response fileResponse(const std::filesystem::path& folder, const std::string& rest)
{
    const std::filesystem::path path = folder / percentDecoded(rest);
    if (rest.find("..") != std::string::npos || !std::filesystem::is_regular_file(path))
        return status(404, "<title>404</title>no such file");
    std::ifstream stream(path, std::ios::binary);
    return typed(contentTypeForName(path.filename()), {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()});
}

}

struct TestServer::State {
    class Connection;

    std::string certificatePath;
    int port = 0;
    std::vector<int> listeners;
    int wakeDescriptor = -1;
    std::thread acceptor;

    mutable std::mutex mutex;
    mutable std::condition_variable changed;   // any of the below
    bool ending = false;
    std::map<std::string, Handler> handlers;
    std::map<std::string, RawHandler> rawHandlers;
    std::map<std::string, std::filesystem::path> folders;
    std::set<std::string> held;
    std::map<std::string, int> releases;   // not yet used up
    std::vector<Request> log;
    std::set<Channel*> channels;   // of the open connections
    std::list<std::thread> threads;

    void acceptConnections();
    void serve(int descriptor);
    // False when the connection is to end.
    bool answer(Channel& channel, const Request& request);
    bool awaitRelease(const std::string& path);
    Response responseFor(const Request& request, RawHandler& raw) const;
};

namespace {

class ChannelExchange : public Exchange {
public:
    ChannelExchange(Channel& channel, const Request& request, std::function<bool()> awaitRelease)
        : _channel(channel), _request(request), _awaitRelease(std::move(awaitRelease))
    {
    }
    const Request& request() const override { return _request; }
    bool send(std::string_view bytes) override { return _channel.write(bytes); }
    bool awaitRelease() override { return _awaitRelease(); }
    bool awaitClose() override
    {
        std::string ignored;
        while (_channel.read(ignored))
            ignored.clear();
        return true;
    }
    void reset() override
    {
        _channel.reset();
        ended = true;
    }
    void close() override { ended = true; }

    bool ended = false;

private:
    Channel& _channel;
    const Request& _request;
    const std::function<bool()> _awaitRelease;
};

}

bool TestServer::State::awaitRelease(const std::string& path)
{
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return ending || releases[path] > 0; });
    if (ending)
        return false;
    --releases[path];
    return true;
}

Response TestServer::State::responseFor(const Request& request, RawHandler& raw) const
{
    Handler handler;
    std::filesystem::path folder;
    std::string rest;
    {
        const std::lock_guard lock(mutex);
        if (const auto found = rawHandlers.find(request.path); found != rawHandlers.end()) {
            raw = found->second;
            return {};
        }
        if (const auto found = handlers.find(request.path); found != handlers.end())
            handler = found->second;
        for (const auto& [prefix, served] : folders) {
            if (!handler && request.path.starts_with(prefix)) {
                folder = served;
                rest = request.path.substr(prefix.size());
            }
        }
    }
    if (handler)
        return handler(request);
    if (!folder.empty())
        return fileResponse(folder, rest);
    return status(404, "<!DOCTYPE html><title>404</title>nothing here");
}

bool TestServer::State::answer(Channel& channel, const Request& request)
{
    bool isHeld;
    {
        const std::lock_guard lock(mutex);
        log.push_back(request);
        isHeld = held.contains(request.path);
    }
    changed.notify_all();
    if (isHeld && !awaitRelease(request.path))
        return false;

    RawHandler raw;
    const Response response = responseFor(request, raw);
    ChannelExchange exchange(channel, request, [this, path = request.path] { return awaitRelease(path); });
    if (raw) {
        raw(exchange);
        return !exchange.ended;
    }
    if (!channel.write(wireBytes(response, request.method)))
        return false;
    if (response.ending == Ending::Reset)
        exchange.reset();
    if (response.ending == Ending::StayOpen)
        exchange.awaitClose();
    return response.ending == Ending::KeepAlive && response.framing != Framing::UntilClose;
}

void TestServer::State::serve(int descriptor)
{
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const std::unique_ptr<Channel> channel =
        certificatePath.empty() ? makePlainChannel(descriptor) : makeSecureChannel(descriptor, certificatePath);
    if (!channel)
        return;
    {
        const std::lock_guard lock(mutex);
        if (ending)
            return;
        channels.insert(channel.get());
    }
    std::string buffer;
    bool goesOn = true;
    while (goesOn) {
        size_t end;
        while ((end = buffer.find("\r\n\r\n")) == std::string::npos && goesOn)
            goesOn = channel->read(buffer) && !isHandshake(buffer);
        if (isHandshake(buffer))
            channel->write("HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n");
        if (!goesOn)
            break;
        Request request = parsedHead(std::string_view(buffer).substr(0, end));
        request.time = std::chrono::steady_clock::now();
        request.scheme = certificatePath.empty() ? "http" : "https";
        buffer.erase(0, end + 4);
        const size_t length = std::strtoull(request.header("Content-Length").value_or("0").c_str(), nullptr, 10);
        while (buffer.size() < length && goesOn)
            goesOn = channel->read(buffer);
        if (!goesOn)
            break;
        request.body = buffer.substr(0, length);
        buffer.erase(0, length);
        goesOn = answer(*channel, request);
    }
    {
        const std::lock_guard lock(mutex);
        channels.erase(channel.get());
    }
    changed.notify_all();
}

void TestServer::State::acceptConnections()
{
    std::vector<pollfd> polled;
    for (const int listener : listeners)
        polled.push_back({listener, POLLIN, 0});
    polled.push_back({wakeDescriptor, POLLIN, 0});
    while (true) {
        if (poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
            return;
        if (polled.back().revents)
            return;
        for (const pollfd& entry : polled) {
            if (!(entry.revents & POLLIN))
                continue;
            const int descriptor = accept4(entry.fd, nullptr, nullptr, SOCK_CLOEXEC);
            if (descriptor < 0)
                continue;
            const std::lock_guard lock(mutex);
            threads.emplace_back([this, descriptor] { serve(descriptor); });
        }
    }
}

TestServer::TestServer(const std::string& certificatePath) : _state(std::make_unique<State>())
{
    _state->certificatePath = certificatePath;
    // The other addresses need the port that the first one got; on the rare one where it is taken, another is tried.
    for (int attempt = 0; attempt < 50 && _state->listeners.empty(); ++attempt) {
        const int first = listenOn("127.0.0.1", 0);
        if (first < 0)
            break;
        const int port = portOf(first);
        const int second = listenOn("127.0.0.2", port);
        if (second < 0) {
            close(first);
            continue;
        }
        const int sixth = listenOn("::1", port);
        if (sixth < 0 && errno == EADDRINUSE) {
            close(first);
            close(second);
            continue;
        }
        _state->port = port;
        _state->listeners = {first, second};
        if (sixth >= 0)
            _state->listeners.push_back(sixth);
    }
    _state->wakeDescriptor = eventfd(0, EFD_CLOEXEC);
    if (_state->listeners.empty() || _state->wakeDescriptor < 0)
        throw std::runtime_error("no port to listen on");
    _state->acceptor = std::thread([state = _state.get()] { state->acceptConnections(); });
}

TestServer::~TestServer()
{
    const uint64_t one = 1;
    while (write(_state->wakeDescriptor, &one, sizeof one) < 0 && errno == EINTR) { }
    _state->acceptor.join();
    {
        const std::lock_guard lock(_state->mutex);
        _state->ending = true;
        for (Channel* channel : _state->channels)
            channel->shutDown();
    }
    _state->changed.notify_all();
    for (std::thread& thread : _state->threads)
        thread.join();
    for (const int listener : _state->listeners)
        close(listener);
    close(_state->wakeDescriptor);
}

int TestServer::port() const
{
    return _state->port;
}

std::string TestServer::url(const std::string& path, const std::string& host) const
{
    return (_state->certificatePath.empty() ? "http://" : "https://") + authority(host) + path;
}

std::string TestServer::authority(const std::string& host) const
{
    return host + ':' + std::to_string(_state->port);
}

void TestServer::on(const std::string& path, Response response)
{
    on(path, [response = std::move(response)](const Request&) { return response; });
}

void TestServer::on(const std::string& path, Handler handler)
{
    const std::lock_guard lock(_state->mutex);
    _state->handlers[path] = std::move(handler);
}

void TestServer::onRaw(const std::string& path, RawHandler handler)
{
    const std::lock_guard lock(_state->mutex);
    _state->rawHandlers[path] = std::move(handler);
}

void TestServer::serveFolder(const std::string& prefix, const std::filesystem::path& folder)
{
    const std::lock_guard lock(_state->mutex);
    _state->folders[prefix] = folder;
}

void TestServer::hold(const std::string& path)
{
    const std::lock_guard lock(_state->mutex);
    _state->held.insert(path);
}

void TestServer::release(const std::string& path)
{
    {
        const std::lock_guard lock(_state->mutex);
        ++_state->releases[path];
    }
    _state->changed.notify_all();
}

std::vector<Request> TestServer::requests() const
{
    const std::lock_guard lock(_state->mutex);
    return _state->log;
}

std::vector<Request> TestServer::requests(const std::string& path) const
{
    std::vector<Request> found = requests();
    std::erase_if(found, [&](const Request& request) { return request.path != path; });
    return found;
}

bool TestServer::waitForRequests(const std::string& path, size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(_state->mutex);
    return _state->changed.wait_for(lock, timeout, [&] {
        const auto matches = [&](const Request& request) { return request.path == path; };
        return static_cast<size_t>(std::count_if(_state->log.begin(), _state->log.end(), matches)) >= count;
    });
}

std::string contentTypeForName(const std::string& name)
{
    static const std::map<std::string, std::string> types = {
        {"html", "text/html"},
        {"htm", "text/html"},
        {"xhtml", "application/xhtml+xml"},
        {"xml", "text/xml"},
        {"css", "text/css"},
        {"js", "text/javascript"},
        {"json", "application/json"},
        {"txt", "text/plain"},
        {"svg", "image/svg+xml"},
        {"png", "image/png"},
        {"jpg", "image/jpeg"},
        {"gif", "image/gif"},
        {"ico", "image/vnd.microsoft.icon"},
        {"ttf", "font/ttf"},
        {"woff2", "font/woff2"},
        {"wav", "audio/wav"},
        {"vtt", "text/vtt"},
        {"pdf", "application/pdf"},
    };
    const size_t dot = name.rfind('.');
    const auto found = types.find(dot == std::string::npos ? std::string() : name.substr(dot + 1));
    return found == types.end() ? "application/octet-stream" : found->second;
}

int unusedPort()
{
    const int descriptor = listenOn("127.0.0.1", 0);
    if (descriptor < 0)
        throw std::runtime_error("no port to listen on");
    const int port = portOf(descriptor);
    close(descriptor);
    return port;
}

}
