#include "Platform/Network/TransferErrors.h"

#include "Platform/Foundation/Value.h"

#include <gtest/gtest.h>
#include <libsoup/soup.h>

namespace {

const NSURL url = NSURL::URLWithString(u"http://h/x");

TEST(TransferErrors, OfTheNetworkHaveTheirCodes)
{
    const GTlsCertificateFlags none = G_TLS_CERTIFICATE_NO_FLAGS;
    const auto flags = [](unsigned bits) { return static_cast<GTlsCertificateFlags>(bits); };
    const struct {
        const char* name;
        GQuark domain;
        int code;
        GTlsCertificateFlags certificateErrors;
        int64_t expected;
    } rows[] = {
        {"host", G_RESOLVER_ERROR, G_RESOLVER_ERROR_NOT_FOUND, none, NSURLErrorCannotFindHost},
        {"name server", G_RESOLVER_ERROR, G_RESOLVER_ERROR_TEMPORARY_FAILURE, none, NSURLErrorCannotFindHost},
        {"refused", G_IO_ERROR, G_IO_ERROR_CONNECTION_REFUSED, none, NSURLErrorCannotConnectToHost},
        {"host unreachable", G_IO_ERROR, G_IO_ERROR_HOST_UNREACHABLE, none, NSURLErrorCannotConnectToHost},
        {"network unreachable", G_IO_ERROR, G_IO_ERROR_NETWORK_UNREACHABLE, none, NSURLErrorCannotConnectToHost},
        {"proxy", G_IO_ERROR, G_IO_ERROR_PROXY_FAILED, none, NSURLErrorCannotConnectToHost},
        {"proxy credentials", G_IO_ERROR, G_IO_ERROR_PROXY_NEED_AUTH, none, NSURLErrorUserAuthenticationRequired},
        {"closed", G_IO_ERROR, G_IO_ERROR_CONNECTION_CLOSED, none, NSURLErrorNetworkConnectionLost},
        {"broken pipe", G_IO_ERROR, G_IO_ERROR_BROKEN_PIPE, none, NSURLErrorNetworkConnectionLost},
        {"cut short", G_IO_ERROR, G_IO_ERROR_PARTIAL_INPUT, none, NSURLErrorNetworkConnectionLost},
        {"time-out", G_IO_ERROR, G_IO_ERROR_TIMED_OUT, none, NSURLErrorTimedOut},
        {"cancelled", G_IO_ERROR, G_IO_ERROR_CANCELLED, none, NSURLErrorCancelled},
        {"parsing", SOUP_SESSION_ERROR, SOUP_SESSION_ERROR_PARSING, none, NSURLErrorBadServerResponse},
        {"encoding", SOUP_SESSION_ERROR, SOUP_SESSION_ERROR_ENCODING, none, NSURLErrorBadServerResponse},
        {"handshake", G_TLS_ERROR, G_TLS_ERROR_NOT_TLS, none, NSURLErrorSecureConnectionFailed},
        {"end in TLS", G_TLS_ERROR, G_TLS_ERROR_EOF, none, NSURLErrorNetworkConnectionLost},
        {"unknown root", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE, G_TLS_CERTIFICATE_UNKNOWN_CA,
            NSURLErrorServerCertificateHasUnknownRoot},
        {"all wrong", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE,
            flags(G_TLS_CERTIFICATE_UNKNOWN_CA | G_TLS_CERTIFICATE_BAD_IDENTITY | G_TLS_CERTIFICATE_EXPIRED),
            NSURLErrorServerCertificateHasUnknownRoot},
        {"other name", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE,
            flags(G_TLS_CERTIFICATE_BAD_IDENTITY | G_TLS_CERTIFICATE_EXPIRED), NSURLErrorServerCertificateUntrusted},
        {"revoked", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE, G_TLS_CERTIFICATE_REVOKED, NSURLErrorServerCertificateUntrusted},
        {"weak", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE, G_TLS_CERTIFICATE_INSECURE, NSURLErrorServerCertificateUntrusted},
        {"expired", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE, G_TLS_CERTIFICATE_EXPIRED, NSURLErrorServerCertificateHasBadDate},
        {"future", G_TLS_ERROR, G_TLS_ERROR_BAD_CERTIFICATE, G_TLS_CERTIFICATE_NOT_ACTIVATED,
            NSURLErrorServerCertificateHasBadDate},
        {"anything else", G_IO_ERROR, G_IO_ERROR_FAILED, none, NSURLErrorUnknown},
        {"another domain", G_FILE_ERROR, G_FILE_ERROR_IO, none, NSURLErrorUnknown},
    };
    for (const auto& [name, domain, code, certificateErrors, expected] : rows) {
        SCOPED_TRACE(name);
        char message[] = "what the library says";
        const GError error = {.domain = domain, .code = code, .message = message};
        const NSError result = transferErrorFromNetwork(error, certificateErrors, url);
        EXPECT_EQ(result.domain(), NSURLErrorDomain);
        EXPECT_EQ(result.code(), expected);
        EXPECT_EQ(result.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), url.absoluteString());
        EXPECT_EQ(result.userInfo()[NSURLErrorFailingURLErrorKey].url(), url);
        EXPECT_EQ(result.userInfo()[NSURLErrorKey].url(), url);
        EXPECT_EQ(
            result.localizedFailureReason(), expected == NSURLErrorUnknown ? NSString(u"what the library says") : NSString());
    }
}

TEST(TransferErrors, OfFilesHaveTheirCodes)
{
    const struct {
        int code;
        int64_t expected;
    } rows[] = {
        {G_IO_ERROR_NOT_FOUND, NSURLErrorFileDoesNotExist},
        {G_IO_ERROR_NOT_DIRECTORY, NSURLErrorFileDoesNotExist},
        {G_IO_ERROR_IS_DIRECTORY, NSURLErrorFileIsDirectory},
        {G_IO_ERROR_PERMISSION_DENIED, NSURLErrorNoPermissionsToReadFile},
        {G_IO_ERROR_NOT_REGULAR_FILE, NSURLErrorResourceUnavailable},
        {G_IO_ERROR_FAILED, NSURLErrorUnknown},
    };
    for (const auto& [code, expected] : rows) {
        char message[] = "what the library says";
        const GError error = {.domain = G_IO_ERROR, .code = code, .message = message};
        EXPECT_EQ(transferErrorFromFile(error, url).code(), expected) << code;
    }
}

}
