#include "Platform/Network/TransferErrors.h"

#include "Platform/Foundation/LoadErrors.h"

#include <libsoup/soup.h>
#include <optional>

namespace {

// The gravest one counts: who it is before whom it names before when.
int64_t codeForCertificate(GTlsCertificateFlags errors)
{
    if (errors & G_TLS_CERTIFICATE_UNKNOWN_CA)
        return NSURLErrorServerCertificateHasUnknownRoot;
    if (errors & ~static_cast<unsigned>(G_TLS_CERTIFICATE_EXPIRED | G_TLS_CERTIFICATE_NOT_ACTIVATED))
        return NSURLErrorServerCertificateUntrusted;
    return errors ? NSURLErrorServerCertificateHasBadDate : NSURLErrorSecureConnectionFailed;
}

std::optional<int64_t> codeForIO(int code)
{
    switch (code) {
    case G_IO_ERROR_HOST_NOT_FOUND:
        return NSURLErrorCannotFindHost;
    case G_IO_ERROR_CONNECTION_REFUSED:
    case G_IO_ERROR_HOST_UNREACHABLE:
    case G_IO_ERROR_NETWORK_UNREACHABLE:
    case G_IO_ERROR_PROXY_FAILED:
        return NSURLErrorCannotConnectToHost;
    case G_IO_ERROR_PROXY_AUTH_FAILED:
    case G_IO_ERROR_PROXY_NEED_AUTH:
    case G_IO_ERROR_PROXY_NOT_ALLOWED:
        return NSURLErrorUserAuthenticationRequired;
    case G_IO_ERROR_CONNECTION_CLOSED:   // a reset and a broken pipe too
    case G_IO_ERROR_PARTIAL_INPUT:
    case G_IO_ERROR_CLOSED:
        return NSURLErrorNetworkConnectionLost;
    case G_IO_ERROR_TIMED_OUT:
        return NSURLErrorTimedOut;
    case G_IO_ERROR_CANCELLED:
        return NSURLErrorCancelled;
    default:
        return {};
    }
}

std::optional<int64_t> codeForSession(int code)
{
    const bool isBadAnswer = code == SOUP_SESSION_ERROR_PARSING || code == SOUP_SESSION_ERROR_ENCODING;   // a bad length too
    return isBadAnswer ? std::optional(NSURLErrorBadServerResponse) : std::nullopt;
}

std::optional<int64_t> codeForNetwork(const GError& error, GTlsCertificateFlags certificateErrors)
{
    if (error.domain == G_RESOLVER_ERROR)
        return NSURLErrorCannotFindHost;
    if (error.domain == G_TLS_ERROR)
        return error.code == G_TLS_ERROR_EOF ? NSURLErrorNetworkConnectionLost : codeForCertificate(certificateErrors);
    if (error.domain == SOUP_SESSION_ERROR)
        return codeForSession(error.code);
    return error.domain == G_IO_ERROR ? codeForIO(error.code) : std::nullopt;
}

std::optional<int64_t> codeForFile(int code)
{
    switch (code) {
    case G_IO_ERROR_NOT_FOUND:
    case G_IO_ERROR_NOT_DIRECTORY:
    case G_IO_ERROR_FILENAME_TOO_LONG:
    case G_IO_ERROR_TOO_MANY_LINKS:
    case G_IO_ERROR_NOT_MOUNTED:
    case G_IO_ERROR_NOT_SUPPORTED:   // no file system knows such an address
        return NSURLErrorFileDoesNotExist;
    case G_IO_ERROR_IS_DIRECTORY:
        return NSURLErrorFileIsDirectory;
    case G_IO_ERROR_PERMISSION_DENIED:
        return NSURLErrorNoPermissionsToReadFile;
    case G_IO_ERROR_NOT_REGULAR_FILE:
        return NSURLErrorResourceUnavailable;
    default:
        return codeForIO(code);
    }
}

NSError errorOrUnknown(std::optional<int64_t> code, const GError& error, const NSURL& url)
{
    if (code)
        return transferError(*code, url);
    return transferError(NSURLErrorUnknown, url, NSString::stringWithRepairedUTF8(error.message));
}

}

NSError transferError(int64_t code, const NSURL& url, const NSString& reason)
{
    return loadError(NSURLErrorDomain, code, url, reason);
}

NSError transferErrorFromNetwork(const GError& error, GTlsCertificateFlags certificateErrors, const NSURL& url)
{
    return errorOrUnknown(codeForNetwork(error, certificateErrors), error, url);
}

NSError transferErrorFromFile(const GError& error, const NSURL& url)
{
    return errorOrUnknown(error.domain == G_IO_ERROR ? codeForFile(error.code) : std::nullopt, error, url);
}
