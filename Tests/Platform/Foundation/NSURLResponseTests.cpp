#include "Platform/Foundation/NSURLResponse.h"

#include "Platform/Foundation/SuggestedFilename.h"
#include "Platform/Foundation/Value.h"
#include "Support/Printing.h"

#include <gtest/gtest.h>

namespace {

const NSURL address = NSURL::URLWithString(u"http://h/x");

NSDictionary contentType(const char16_t* field)
{
    return {{u"content-TYPE", NSString(field)}};
}

}

TEST(NSURLResponse, KeepsWhatItIsGivenAndGuessesNothing)
{
    const NSURLResponse response(address, NSString(), 1234, NSString());
    EXPECT_EQ(response.URL(), address);
    EXPECT_TRUE(response.MIMEType().isAbsent());
    EXPECT_TRUE(response.textEncodingName().isAbsent());
    EXPECT_EQ(response.expectedContentLength(), 1234);
    EXPECT_FALSE(response.isHTTP());
    EXPECT_FALSE(response.statusCode());
    EXPECT_TRUE(response.allHeaderFields().isAbsent());
    EXPECT_EQ(NSURLResponse(address, u"a/b", -5, u"utf-8").expectedContentLength(), NSURLResponseUnknownLength);
    EXPECT_EQ(NSURLResponse().expectedContentLength(), -1);
    EXPECT_TRUE(NSURLResponse().suggestedFilename().isAbsent());
}

TEST(NSHTTPURLResponse, ReadsTypeEncodingAndLengthFromTheHeader)
{
    const NSString none;
    const struct {
        const char16_t* field;
        NSString type;
        NSString encoding;
    } rows[] = {
        {u"text/html", u"text/html", none},
        {u" Text/HTML ; charset=ISO-8859-1", u"Text/HTML", u"ISO-8859-1"},
        {u"text/html;a=b; CharSet=\"utf-8\"; c=d", u"text/html", u"utf-8"},
        {u"text/html; charset='utf-8'", u"text/html", u"utf-8"},
        {u"text/html; charset=", u"text/html", none},
        {u"text/html; xcharset=a", u"text/html", none},
        {u"; charset=utf-8", none, u"utf-8"},
        {u"", none, none},
    };
    for (const auto& row : rows) {
        const NSHTTPURLResponse response(address, 200, contentType(row.field));
        EXPECT_EQ(response.MIMEType(), row.type) << NSString(row.field).UTF8();
        EXPECT_EQ(response.textEncodingName(), row.encoding) << NSString(row.field).UTF8();
    }
    EXPECT_TRUE(NSHTTPURLResponse(address, 204, NSDictionary()).MIMEType().isAbsent());
}

TEST(NSHTTPURLResponse, KnowsTheLengthOnlyWhenTheHeaderTellsIt)
{
    const auto length = [](NSDictionary fields) { return NSHTTPURLResponse(address, 200, fields).expectedContentLength(); };
    const auto of = [](const char16_t* text) { return NSDictionary{{u"Content-Length", NSString(text)}}; };
    EXPECT_EQ(length(of(u"0")), 0);
    EXPECT_EQ(length(of(u" 5000000000 ")), 5000000000);
    for (const char16_t* bad : {u"", u"-1", u"abc", u"12a", u"99999999999999999999", u"+5", u"1,1"})
        EXPECT_EQ(length(of(bad)), -1) << NSString(bad).UTF8();
    EXPECT_EQ(length({{u"Content-Length", NSString(u"5")}, {u"content-encoding", NSString(u"gzip")}}), -1);
    EXPECT_EQ(length({{u"Content-Length", NSString(u"5")}, {u"Content-Encoding", NSString(u"identity")}}), 5);
}

TEST(NSHTTPURLResponse, StaysOneWhenKeptAsItsBase)
{
    const NSURLResponse response = NSHTTPURLResponse(address, 404, {{u"X-a", NSString(u"1")}, {u"B", NSString(u"2")}});
    EXPECT_TRUE(response.isHTTP());
    EXPECT_EQ(response.statusCode(), 404);
    EXPECT_EQ(response.valueForHTTPHeaderField(u"x-A"), NSString(u"1"));
    const NSArray names = {NSString(u"X-a"), NSString(u"B")};
    EXPECT_EQ(response.allHeaderFields().allKeys(), names);
    EXPECT_EQ(response, NSHTTPURLResponse(address, 404, {{u"X-a", NSString(u"1")}, {u"B", NSString(u"2")}}));
    EXPECT_NE(response, NSHTTPURLResponse(address, 200, {{u"X-a", NSString(u"1")}, {u"B", NSString(u"2")}}));
}

TEST(ContentDisposition, GivesTheFileName)
{
    const NSString none;
    const struct {
        const char16_t* field;
        NSString expected;
    } rows[] = {
        {u"attachment; filename=a.pdf", u"a.pdf"},
        {u"attachment; filename=\"a b.pdf\"", u"a b.pdf"},
        {u"attachment; filename=\"a \\\"b\\\\;.pdf\"; x=y", u"a \"b\\;.pdf"},
        {u"inline; FILENAME = a.txt ; b=c", u"a.txt"},
        {u"attachment; filename=\"plain.txt\"; filename*=UTF-8''%e2%82%ac%20rates.txt", u"€ rates.txt"},
        {u"attachment; filename*=iso-8859-1'en'%A3.txt; filename=b", u"£.txt"},
        {u"attachment; filename*=utf-16''x; filename=b", u"b"},
        {u"attachment; filename*=UTF-8''%FF; filename=b", u"b"},
        {u"attachment; filename*=UTF-8'x; filename=b", u"b"},
        {u"filename=a.txt", u"a.txt"},
        {u"attachment; filename=\"never closed", u"never closed"},
        {u"attachment; filename=", none},
        {u"attachment", none},
        {u"attachment; filename", none},
        {u";;;=;", none},
        {u"", none},
    };
    for (const auto& row : rows)
        EXPECT_EQ(filenameFromContentDisposition(row.field), row.expected) << NSString(row.field).UTF8();
}

TEST(SuggestedFilename, IsAlwaysOnePlainName)
{
    const NSString none;
    const struct {
        NSString name;
        NSString expected;
    } rows[] = {
        {u"a/b", u"b"},
        {u"..\\..\\x.exe", u"x.exe"},
        {u"/etc/passwd", u"passwd"},
        {u"con\n", u"con"},
        {u" a ", u"a"},
        {u"a\u202egpj.exe", u"agpj.exe"},
        {u"..", none},
        {u".", none},
        {u"a/..", none},
        {u"", none},
        {u"\n", none},
        {u".profile", u".profile"},
        {NSString(), none},
    };
    for (const auto& row : rows)
        EXPECT_EQ(cleanedFilename(row.name), row.expected) << row.name.UTF8();
}

TEST(SuggestedFilename, CutsLongNamesBeforeTheirExtension)
{
    const NSString cut = cleanedFilename(NSString(std::u16string(300, u'a') + u".html"));
    EXPECT_EQ(cut, NSString(std::u16string(250, u'a') + u".html"));
    // Two bytes each: 255 - 5 leaves 125 of them; none is cut in half.
    EXPECT_EQ(cleanedFilename(NSString(std::u16string(300, u'ä') + u".html")).UTF8().size(), 255u);
    EXPECT_EQ(cleanedFilename(NSString(std::u16string(300, u'€'))).UTF8().size(), 255u);
    EXPECT_EQ(cleanedFilename(NSString(u"." + std::u16string(300, u'x'))).UTF8().size(), 255u);
}

TEST(SuggestedFilename, ComesFromHeaderAddressHostAndType)
{
    const struct {
        const char16_t* disposition;
        const char16_t* address;
        NSString type;
        const char16_t* expected;
    } rows[] = {
        {u"attachment; filename=a.bin", u"http://h/x.pdf", u"application/pdf", u"a.bin"},
        {u"attachment; filename=..", u"http://h/x.pdf", u"application/pdf", u"x.pdf"},
        {u"", u"http://h/x", u"application/pdf", u"x.pdf"},
        {u"", u"http://h/x", u"application/PDF; a=b", u"x.pdf"},
        {u"", u"http://h/x", u"a/unknown", u"x"},
        {u"", u"http://h/a%2F..%2Fx.pdf", NSString(), u"x.pdf"},
        {u"", u"http://h.example/", u"text/html", u"h.example.html"},
        {u"", u"http://h.example", NSString(), u"h.example"},
        {u"", u"data:,x", u"text/plain", u"unknown.txt"},
    };
    for (const auto& row : rows) {
        const NSHTTPURLResponse response(NSURL::URLWithString(row.address), 200,
            {{u"content-disposition", NSString(row.disposition)}}, row.type, -1, NSString());
        EXPECT_EQ(response.suggestedFilename(), NSString(row.expected)) << NSString(row.address).UTF8();
    }
}
