#include "Platform/Engine/DevTools/NetworkErrors.h"

#include <algorithm>
#include <iterator>

namespace {

struct Row {
    std::string_view name;   // a final '*' stands for any ending
    const NSString& domain;
    int64_t code;
};

// The first row that fits decides.
const Row rows[] = {
    {"ERR_ABORTED", NSURLErrorDomain, NSURLErrorCancelled},
    {"ERR_NAME_NOT_RESOLVED", NSURLErrorDomain, NSURLErrorCannotFindHost},
    {"ERR_NAME_RESOLUTION_FAILED", NSURLErrorDomain, NSURLErrorCannotFindHost},
    {"ERR_DNS_*", NSURLErrorDomain, NSURLErrorCannotFindHost},
    {"ERR_ICANN_NAME_COLLISION", NSURLErrorDomain, NSURLErrorCannotFindHost},
    {"ERR_CONNECTION_REFUSED", NSURLErrorDomain, NSURLErrorCannotConnectToHost},
    {"ERR_ADDRESS_UNREACHABLE", NSURLErrorDomain, NSURLErrorCannotConnectToHost},
    {"ERR_ADDRESS_INVALID", NSURLErrorDomain, NSURLErrorCannotConnectToHost},
    {"ERR_CONNECTION_FAILED", NSURLErrorDomain, NSURLErrorCannotConnectToHost},
    {"ERR_PROXY_CONNECTION_FAILED", NSURLErrorDomain, NSURLErrorCannotConnectToHost},
    {"ERR_CONNECTION_RESET", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_CONNECTION_CLOSED", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_CONNECTION_ABORTED", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_EMPTY_RESPONSE", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_CONTENT_LENGTH_MISMATCH", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_INCOMPLETE_CHUNKED_ENCODING", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_HTTP2_*", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_QUIC_*", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_SOCKET_NOT_CONNECTED", NSURLErrorDomain, NSURLErrorNetworkConnectionLost},
    {"ERR_TIMED_OUT", NSURLErrorDomain, NSURLErrorTimedOut},
    {"ERR_CONNECTION_TIMED_OUT", NSURLErrorDomain, NSURLErrorTimedOut},
    {"ERR_TOO_MANY_REDIRECTS", NSURLErrorDomain, NSURLErrorHTTPTooManyRedirects},
    {"ERR_INTERNET_DISCONNECTED", NSURLErrorDomain, NSURLErrorNotConnectedToInternet},
    {"ERR_NETWORK_CHANGED", NSURLErrorDomain, NSURLErrorNotConnectedToInternet},
    {"ERR_INVALID_RESPONSE", NSURLErrorDomain, NSURLErrorBadServerResponse},
    {"ERR_INVALID_HTTP_RESPONSE", NSURLErrorDomain, NSURLErrorBadServerResponse},
    {"ERR_INVALID_REDIRECT", NSURLErrorDomain, NSURLErrorBadServerResponse},
    {"ERR_UNSAFE_REDIRECT", NSURLErrorDomain, NSURLErrorBadServerResponse},
    {"ERR_RESPONSE_HEADERS_*", NSURLErrorDomain, NSURLErrorBadServerResponse},
    {"ERR_CONTENT_DECODING_*", NSURLErrorDomain, NSURLErrorCannotDecodeContentData},
    {"ERR_INVALID_URL", NSURLErrorDomain, NSURLErrorBadURL},
    {"ERR_UNKNOWN_URL_SCHEME", NSURLErrorDomain, NSURLErrorUnsupportedURL},
    {"ERR_DISALLOWED_URL_SCHEME", NSURLErrorDomain, NSURLErrorUnsupportedURL},
    {"ERR_FILE_NOT_FOUND", NSURLErrorDomain, NSURLErrorFileDoesNotExist},
    {"ERR_ACCESS_DENIED", NSURLErrorDomain, NSURLErrorNoPermissionsToReadFile},
    {"ERR_CERT_DATE_INVALID", NSURLErrorDomain, NSURLErrorServerCertificateHasBadDate},
    {"ERR_CERT_AUTHORITY_INVALID", NSURLErrorDomain, NSURLErrorServerCertificateHasUnknownRoot},
    {"ERR_CERT_*", NSURLErrorDomain, NSURLErrorServerCertificateUntrusted},
    {"ERR_CERTIFICATE_*", NSURLErrorDomain, NSURLErrorServerCertificateUntrusted},
    {"ERR_SSL_*", NSURLErrorDomain, NSURLErrorSecureConnectionFailed},
    {"ERR_UNSAFE_PORT", WebKitErrorDomain, WebKitErrorCannotUseRestrictedPort},
};

bool fits(const Row& row, std::string_view name)
{
    return row.name.ends_with('*') ? name.starts_with(row.name.substr(0, row.name.size() - 1)) : name == row.name;
}

}

NSError errorFromEngineName(std::string_view name, const NSURL& url)
{
    std::string_view bare = name;
    if (bare.starts_with("net::"))
        bare.remove_prefix(5);
    const auto row = std::find_if(std::begin(rows), std::end(rows), [&](const Row& candidate) { return fits(candidate, bare); });
    if (row == std::end(rows))
        return loadError(NSURLErrorDomain, NSURLErrorUnknown, url, NSString::stringWithRepairedUTF8(name));
    return loadError(row->domain, row->code, url);
}
