#include "Platform/Network/HTTPSource.h"

#include "Platform/Foundation/HTTPHeaderFields.h"
#include "Platform/Foundation/RunLoopSource.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Network/EnvironmentProxies.h"
#include "Platform/Network/TransferErrors.h"

#include <algorithm>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

constexpr int mostRedirects = 20;

bool isRedirect(unsigned status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

bool isNamed(const char* name, std::initializer_list<const char*> names)
{
    return std::any_of(names.begin(), names.end(), [name](const char* each) { return g_ascii_strcasecmp(name, each) == 0; });
}

// A token as RFC 9110 has it.
bool isToken(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char character) {
        return g_ascii_isalnum(character) || std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos;
    });
}

// Whether `value` cannot end its line early.
bool isFieldValue(const std::string& value)
{
    return value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos;
}

NSDictionary dictionaryOf(SoupMessageHeaders* headers)
{
    NSDictionary fields = NSDictionary::dictionary();
    SoupMessageHeadersIter iterator;
    soup_message_headers_iter_init(&iterator, headers);
    const char* name = nullptr;
    const char* value = nullptr;
    while (soup_message_headers_iter_next(&iterator, &name, &value)) {
        const NSString field = NSString::stringWithRepairedUTF8(name);
        const NSString text = NSString::stringWithRepairedUTF8(value);
        const NSString before = headerFieldValue(fields, field);
        const NSString spelled = before ? spelledHeaderFieldName(fields, field) : field;
        fields.setObject(before ? NSString::stringWithFormat(u"%@, %@", before, text) : text, spelled);
    }
    return fields;
}

// The bytes below libsoup's own decoding of chunks, which takes the end of the connection for the end of the body. None when the
// answer is built of other parts, as over HTTP/2, which has no chunks.
ObjectPointer<GInputStream> streamOfChunks(GInputStream* stream)
{
    while (G_IS_FILTER_INPUT_STREAM(stream)) {
        GInputStream* const base = g_filter_input_stream_get_base_stream(G_FILTER_INPUT_STREAM(stream));
        if (std::string_view(G_OBJECT_TYPE_NAME(stream)) == "SoupBodyInputStream")
            return ObjectPointer<GInputStream>(G_INPUT_STREAM(g_object_ref(base)));
        stream = base;
    }
    return nullptr;
}

// The moment at which the kernel last took data from a connection; now when there is some that was not read yet.
int64_t lastArrivalOn(GSocket* socket, int64_t now)
{
    const int descriptor = g_socket_get_fd(socket);
    int waiting = 0;
    if (ioctl(descriptor, SIOCINQ, &waiting) == 0 && waiting > 0)
        return now;
    tcp_info information = {};
    socklen_t length = sizeof information;
    if (getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &information, &length) != 0)
        return 0;
    return now - int64_t{information.tcpi_last_data_recv} * 1000;
}

}

HTTPSource::HTTPSource(NSURLRequest request) : _request(std::move(request)), _url(_request.URL()) { }

HTTPSource::~HTTPSource()
{
    dropMessage();
}

void HTTPSource::startOpening()
{
    _firstAddress = parsedAddress(_url.absoluteString().UTF8());
    _method = _request.HTTPMethod().UTF8();
    if (!_firstAddress || !isWebAddress(_firstAddress.get()) || !isToken(_method)) {
        failed(transferError(NSURLErrorBadURL, _url));
        return;
    }
    _address.reset(g_uri_ref(_firstAddress.get()));
    const std::string cookies = _request.valueForHTTPHeaderField(u"Cookie").UTF8();
    _requestCookies.emplace(isFieldValue(cookies) ? cookies : std::string(), _firstAddress.get());
    makeSession();
    send();
}

void HTTPSource::makeSession()
{
    // The idle time-out is the caller's: libsoup's counts whole seconds. Its decoder lets broken bodies through as they are.
    _session.reset(soup_session_new_with_options("timeout", 0U, nullptr));
    soup_session_remove_feature_by_type(_session.get(), SOUP_TYPE_CONTENT_DECODER);
    if (_request.HTTPShouldHandleCookies())
        soup_session_add_feature_by_type(_session.get(), SOUP_TYPE_COOKIE_JAR);
    // None means none: otherwise GIO asks the desktop's settings, which connects the process to the session bus in a way that
    // ends it (SIGTERM) when the bus ends.
    const ObjectPointer<GProxyResolver> proxies{newProxyResolverFromEnvironment()};
    soup_session_set_proxy_resolver(_session.get(), proxies.get());
}

void HTTPSource::send()
{
    dropMessage();
    _message.reset(soup_message_new_from_uri(_method.c_str(), _address.get()));
    SoupMessage* const message = _message.get();
    soup_message_set_flags(message, SOUP_MESSAGE_NO_REDIRECT);
    // For the cookies' own rules this is a page that the user went to.
    soup_message_set_first_party(message, _address.get());
    soup_message_set_site_for_cookies(message, _address.get());
    soup_message_set_is_top_level_navigation(message, TRUE);
    addBody(message);
    addHeaderFields(message);
    g_signal_connect(message, "network-event", G_CALLBACK(networkEvent), this);
    // After the cookie jar, which sets its field then.
    g_signal_connect_after(message, "starting", G_CALLBACK(starting), this);
    soup_session_send_async(_session.get(), message, G_PRIORITY_DEFAULT, cancellable(), didSend, reference());
}

void HTTPSource::addHeaderFields(SoupMessage* message)
{
    SoupMessageHeaders* const headers = soup_message_get_request_headers(message);
    const bool isAtHome = haveSameOrigin(_address.get(), _firstAddress.get());
    const bool hidesReferrer = isSecure(_firstAddress.get()) && !isSecure(_address.get());
    for (const auto& [field, value] : _request.allHTTPHeaderFields()) {
        const std::string name = field.UTF8();
        const std::string text = value.string().UTF8();
        // What is told by the address, the body and the connection, and the cookies, which have rules of their own.
        if (isNamed(name.c_str(), {"Host", "Content-Length", "Connection", "Transfer-Encoding", "Cookie"}))
            continue;
        if (!_sendsBody && isNamed(name.c_str(), {"Content-Type"}))
            continue;
        if ((!isAtHome && isNamed(name.c_str(), {"Authorization"})) || (hidesReferrer && isNamed(name.c_str(), {"Referer"})))
            continue;
        if (isToken(name) && isFieldValue(text))
            soup_message_headers_replace(headers, name.c_str(), text.c_str());
    }
    if (!soup_message_headers_get_one(headers, "Accept"))
        soup_message_headers_append(headers, "Accept", "*/*");
    // As browsers do: in the open, old proxies are in the way of the newer coding.
    if (!soup_message_headers_get_one(headers, "Accept-Encoding"))
        soup_message_headers_append(headers, "Accept-Encoding", isSecure(_address.get()) ? "gzip, deflate, br" : "gzip, deflate");
    if (_request.cachePolicy() == NSURLRequestReloadIgnoringLocalAndRemoteCacheData) {
        soup_message_headers_replace(headers, "Cache-Control", "no-cache");
        soup_message_headers_replace(headers, "Pragma", "no-cache");
    }
}

void HTTPSource::addBody(SoupMessage* message)
{
    const NSData body = _request.HTTPBody();
    if (!_sendsBody || !body)
        return;
    GBytes* const bytes = g_bytes_new(body.bytes().data(), body.length());
    soup_message_set_request_body_from_bytes(message, nullptr, bytes);
    g_bytes_unref(bytes);
}

void HTTPSource::dropMessage()
{
    if (_message)
        g_signal_handlers_disconnect_by_data(_message.get(), this);
    _message.reset();
}

void HTTPSource::starting(SoupMessage* message, HTTPSource* self)
{
    self->_requestCookies->addTo(message);
}

void HTTPSource::networkEvent(SoupMessage*, GSocketClientEvent event, GIOStream* connection, HTTPSource* self)
{
    // An attempt alone is nothing heard.
    if (event != G_SOCKET_CLIENT_RESOLVING && event != G_SOCKET_CLIENT_CONNECTING)
        self->_lastEvent = monotonicMicroseconds();
    if (event == G_SOCKET_CLIENT_CONNECTED && G_IS_SOCKET_CONNECTION(connection))
        self->_sockets.emplace_back(G_SOCKET(g_object_ref(g_socket_connection_get_socket(G_SOCKET_CONNECTION(connection)))));
}

int64_t HTTPSource::lastArrival() const
{
    const int64_t now = monotonicMicroseconds();
    int64_t last = _lastEvent;
    for (const auto& socket : _sockets)
        if (!g_socket_is_closed(socket.get()))
            last = std::max(last, lastArrivalOn(socket.get(), now));
    return last;
}

void HTTPSource::didSend(GObject* session, GAsyncResult* result, gpointer data)
{
    const auto self = fromReference<HTTPSource>(data);
    GError* error = nullptr;
    ObjectPointer<GInputStream> stream(soup_session_send_finish(SOUP_SESSION(session), result, &error));
    const ErrorPointer owned(error);
    if (self->isCancelled())
        return;
    if (stream)
        self->receivedAnswer(std::move(stream));
    else
        self->failed(self->errorWhileReading(*error));
}

NSError HTTPSource::errorWhileReading(const GError& error) const
{
    return transferErrorFromNetwork(error, soup_message_get_tls_peer_certificate_errors(_message.get()), _url);
}

void HTTPSource::receivedAnswer(ObjectPointer<GInputStream> stream)
{
    const unsigned status = soup_message_get_status(_message.get());
    // Without TLS it is a proxy's answer, which refuses the tunnel to the server.
    if (isSecure(_address.get()) && !soup_message_get_tls_peer_certificate(_message.get())) {
        failed(transferError(status == 407 ? NSURLErrorUserAuthenticationRequired : NSURLErrorCannotConnectToHost, _url));
        return;
    }
    SoupMessageHeaders* const headers = soup_message_get_response_headers(_message.get());
    if (_request.HTTPShouldHandleCookies())
        _requestCookies->learnFrom(_message.get());
    const char* const location = soup_message_headers_get_one(headers, "Location");
    if (isRedirect(status) && location) {
        // The body, which may be endless, is not read: its connection ends with the stream.
        stream.reset();
        followRedirect(std::string(location).c_str(), status);
        return;
    }
    if ((status == 401 && soup_message_headers_get_list(headers, "WWW-Authenticate"))
        || (status == 407 && soup_message_headers_get_list(headers, "Proxy-Authenticate"))) {
        failed(transferError(NSURLErrorUserAuthenticationRequired, _url));
        return;
    }
    openBody(std::move(stream));
}

void HTTPSource::openBody(ObjectPointer<GInputStream> stream)
{
    const unsigned status = soup_message_get_status(_message.get());
    SoupMessageHeaders* const headers = soup_message_get_response_headers(_message.get());
    BodyDecoder decoder;
    const bool hasBody = _method != "HEAD" && status != 204 && status != 304;
    if (hasBody && soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CHUNKED) {
        if (ObjectPointer<GInputStream> chunks = streamOfChunks(stream.get())) {
            _answer = std::move(stream);
            stream = std::move(chunks);
            decoder.addChunked();
        }
    }
    const char* const codings = soup_message_headers_get_list(headers, "Content-Encoding");
    if (hasBody && codings && !decoder.addContentCodings(codings)) {
        failed(transferError(NSURLErrorCannotDecodeContentData, _url));
        return;
    }
    // Where the connection ends with the answer, libsoup takes any length for the right one.
    std::optional<uint64_t> length;
    if (hasBody && soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH)
        length = static_cast<uint64_t>(std::max<goffset>(soup_message_headers_get_content_length(headers), 0));
    opened(madeResponse(), std::move(stream), std::move(decoder), length);
}

void HTTPSource::followRedirect(const char* location, unsigned status)
{
    // 1. Where to.
    URIPointer target = parsedAddress(location, _address.get());
    if (!target) {
        failed(transferError(NSURLErrorRedirectToNonExistentLocation, _url));
        return;
    }
    const NSURL url = NSURL::URLWithUncheckedString(NSString::stringWithRepairedUTF8(textOf(target.get())));
    if (!isWebAddress(target.get())) {
        const bool isKnown = isWebScheme(g_uri_get_scheme(target.get()));
        failed(transferError(isKnown ? NSURLErrorBadURL : NSURLErrorUnsupportedURL, url));
        return;
    }
    // 2. Not for ever.
    if (++_redirects > mostRedirects) {
        failed(transferError(NSURLErrorHTTPTooManyRedirects, _url));
        return;
    }
    // 3. As browsers do, only 307 and 308 keep the method of every request.
    const bool isForm = _method == "POST" && (status == 301 || status == 302);
    if (isForm || (status == 303 && _method != "HEAD" && _method != "GET")) {
        _method = "GET";
        _sendsBody = false;
    }
    _address = std::move(target);
    _url = url;
    send();
}

NSURLResponse HTTPSource::madeResponse() const
{
    return NSHTTPURLResponse(_url, static_cast<int>(soup_message_get_status(_message.get())),
        dictionaryOf(soup_message_get_response_headers(_message.get())));
}
