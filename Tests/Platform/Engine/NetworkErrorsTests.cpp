#include "Platform/Engine/DevTools/NetworkErrors.h"
#include "Platform/Foundation/Value.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    const char* name;
    const NSString& domain;
    int64_t code;
};

const Row rows[] = {
    {"net::ERR_NAME_NOT_RESOLVED", NSURLErrorDomain, -1003},
    {"ERR_DNS_TIMED_OUT", NSURLErrorDomain, -1003},
    {"net::ERR_CONNECTION_REFUSED", NSURLErrorDomain, -1004},
    {"net::ERR_ADDRESS_UNREACHABLE", NSURLErrorDomain, -1004},
    {"net::ERR_CONNECTION_FAILED", NSURLErrorDomain, -1004},
    {"net::ERR_CONNECTION_RESET", NSURLErrorDomain, -1005},
    {"net::ERR_CONNECTION_CLOSED", NSURLErrorDomain, -1005},
    {"net::ERR_CONNECTION_ABORTED", NSURLErrorDomain, -1005},
    {"net::ERR_EMPTY_RESPONSE", NSURLErrorDomain, -1005},
    {"net::ERR_CONTENT_LENGTH_MISMATCH", NSURLErrorDomain, -1005},
    {"net::ERR_INCOMPLETE_CHUNKED_ENCODING", NSURLErrorDomain, -1005},
    {"net::ERR_HTTP2_PROTOCOL_ERROR", NSURLErrorDomain, -1005},
    {"net::ERR_QUIC_PROTOCOL_ERROR", NSURLErrorDomain, -1005},
    {"net::ERR_TIMED_OUT", NSURLErrorDomain, -1001},
    {"net::ERR_CONNECTION_TIMED_OUT", NSURLErrorDomain, -1001},
    {"net::ERR_TOO_MANY_REDIRECTS", NSURLErrorDomain, -1007},
    {"net::ERR_INTERNET_DISCONNECTED", NSURLErrorDomain, -1009},
    {"net::ERR_NETWORK_CHANGED", NSURLErrorDomain, -1009},
    {"net::ERR_INVALID_RESPONSE", NSURLErrorDomain, -1011},
    {"net::ERR_INVALID_HTTP_RESPONSE", NSURLErrorDomain, -1011},
    {"net::ERR_RESPONSE_HEADERS_TOO_BIG", NSURLErrorDomain, -1011},
    {"net::ERR_CONTENT_DECODING_FAILED", NSURLErrorDomain, -1016},
    {"net::ERR_INVALID_URL", NSURLErrorDomain, -1000},
    {"net::ERR_UNKNOWN_URL_SCHEME", NSURLErrorDomain, -1002},
    {"net::ERR_FILE_NOT_FOUND", NSURLErrorDomain, -1100},
    {"net::ERR_ACCESS_DENIED", NSURLErrorDomain, -1102},
    {"net::ERR_CERT_DATE_INVALID", NSURLErrorDomain, -1201},
    {"net::ERR_CERT_AUTHORITY_INVALID", NSURLErrorDomain, -1203},
    {"net::ERR_CERT_COMMON_NAME_INVALID", NSURLErrorDomain, -1202},
    {"net::ERR_SSL_PROTOCOL_ERROR", NSURLErrorDomain, -1200},
    {"net::ERR_ABORTED", NSURLErrorDomain, -999},
    {"net::ERR_UNSAFE_PORT", WebKitErrorDomain, 103},
};

}

TEST(ErrorFromEngineName, IsThePlatformsErrorWithTheFailingAddress)
{
    const NSURL url = NSURL::URLWithString(u"http://h/a");
    for (const Row& row : rows) {
        const NSError error = errorFromEngineName(row.name, url);
        EXPECT_EQ(error.domain(), row.domain) << row.name;
        EXPECT_EQ(error.code(), row.code) << row.name;
        EXPECT_EQ(error.userInfo()[NSURLErrorFailingURLStringErrorKey].string(), NSString(u"http://h/a"));
        EXPECT_EQ(error.userInfo()[NSURLErrorKey].url(), url);
        EXPECT_TRUE(error.userInfo()[NSLocalizedDescriptionKey].isAbsent()) << "descriptions are derived, not stored";
    }
}

TEST(ErrorFromEngineName, OfAnUnknownNameKeepsItAsTheReason)
{
    const NSError error = errorFromEngineName("net::ERR_SOMETHING_NEW", NSURL::URLWithString(u"http://h/"));
    EXPECT_EQ(error.code(), NSURLErrorUnknown);
    EXPECT_EQ(error.localizedFailureReason(), NSString(u"net::ERR_SOMETHING_NEW"));
}
