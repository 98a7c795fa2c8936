#include "EndToEnd/CaptureTest.h"

#include <algorithm>

using namespace std::chrono_literals;
using namespace support;

namespace {

std::string lower(std::string text)
{
    std::transform(
        text.begin(), text.end(), text.begin(), [](unsigned char unit) { return static_cast<char>(std::tolower(unit)); });
    return text;
}

std::string utf16LittleEndian(const std::u16string& text)
{
    std::string bytes;
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xff);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

struct EncodedPage {
    std::string name;
    Response response;
    std::string encodingName;   // in lower case
    std::string shown;          // text of the page, in UTF-8
};

std::vector<EncodedPage> encodedPages()
{
    return {
        {"windows-1252 by header", typed("text/html; charset=windows-1252", "<title>t</title><p>caf\xE9 \x80 \x93quoted\x94</p>"),
            "windows-1252", "caf\xC3\xA9 \xE2\x82\xAC \xE2\x80\x9Cquoted\xE2\x80\x9D"},
        {"windows-1252 by meta element", typed("text/html", "<meta charset=iso-8859-1><title>t</title><p>caf\xE9</p>"),
            "windows-1252", "caf\xC3\xA9"},
        {"Shift_JIS", typed("text/html; charset=Shift_JIS", "<title>t</title><p>\x93\xFA\x96\x7B\x8C\xEA</p>"), "shift_jis",
            "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E"},
        {"UTF-16 by byte-order mark",
            typed("text/html", utf16LittleEndian(u"\uFEFF<title>t</title><p>\u4E16\u754C \U0001F600</p>")), "utf-16le",
            "\xE4\xB8\x96\xE7\x95\x8C \xF0\x9F\x98\x80"},
        {"UTF-8 by byte-order mark", typed("text/html; charset=windows-1252", "\xEF\xBB\xBF<title>t</title><p>\xC3\xA9</p>"),
            "utf-8", "<p>\xC3\xA9</p>"},
        {"ISO-8859-2", typed("text/html;charset=\"ISO-8859-2\"", "<title>t</title><p>\xA9\xE1rka</p>"), "iso-8859-2",
            "\xC5\xA0\xC3\xA1rka"},
        {"GB18030", typed("text/html; charset=gb18030", "<title>t</title><p>\xD6\xD0\xCE\xC4</p>"), "gb18030",
            "\xE4\xB8\xAD\xE6\x96\x87"},
    };
}

class Encoding : public CaptureTest { };

TEST_F(Encoding, OfAnyPageBecomesUTF8InItsArchive)
{
    for (const EncodedPage& row : encodedPages()) {
        SCOPED_TRACE(row.name);
        server.on("/page.html", row.response);
        const Captured captured = capture(url("/page.html"));
        expectArchive(captured);
        EXPECT_TRUE(holds(captured.page(), row.shown)) << captured.page();
        EXPECT_FALSE(holds(captured.page(), "\xEF\xBB\xBF"));
        EXPECT_EQ(captured.archive->main.textEncodingName, "UTF-8");
        EXPECT_EQ(captured.archive->main.mimeType, "text/html");
    }
}

TEST_F(Encoding, OfThePageIsNamedWhenItsBytesAreKept)
{
    settings["WebToolUseDOMDocument"] = false;
    for (const EncodedPage& row : encodedPages()) {
        SCOPED_TRACE(row.name);
        server.on("/page.html", row.response);
        const Captured captured = capture(url("/page.html"));
        expectArchive(captured);
        EXPECT_EQ(captured.page(), row.response.body);
        EXPECT_EQ(lower(captured.archive->main.textEncodingName.value_or("(none)")), row.encodingName);
        EXPECT_EQ(captured.archive->main.mimeType, "text/html");
    }
}

TEST_F(Encoding, OfStyleSheetsAndScriptsLeavesTheirBytesAlone)
{
    const std::string sheet = "@charset \"windows-1252\"; p::before { content: \"\x80\xE9\" }";
    const std::string code = "document.title = 'caf\xE9';";
    const std::string marked = "\xEF\xBB\xBFp::after { content: '\xE2\x82\xAC' }";
    server.on("/sheet.css", typed("text/css", sheet));
    server.on("/marked.css", typed("text/css", marked));
    server.on("/wide.css", typed("text/css", utf16LittleEndian(u"\uFEFFp { color: red }")));
    server.on("/code.js", typed("text/javascript; charset=iso-8859-1", code));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><meta charset=utf-8><title>t</title><link rel=stylesheet href=sheet.css>"
                      "<link rel=stylesheet href=marked.css><link rel=stylesheet href=wide.css>"
                      "<script src=code.js></script><p>text");
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "caf\xC3\xA9");
    ASSERT_EQ(captured.archive->resources.size(), 4U);
    EXPECT_EQ(captured.archive->resource(url("/sheet.css"))->data, sheet);
    EXPECT_EQ(captured.archive->resource(url("/marked.css"))->data, marked);
    EXPECT_EQ(captured.archive->resource(url("/wide.css"))->data, utf16LittleEndian(u"\uFEFFp { color: red }"));
    EXPECT_EQ(captured.archive->resource(url("/code.js"))->data, code);
    EXPECT_EQ(captured.archive->resource(url("/code.js"))->mimeType, "text/javascript");
    EXPECT_EQ(lower(captured.archive->resource(url("/code.js"))->textEncodingName.value_or("(none)")), "iso-8859-1");
}

TEST_F(Encoding, OfTheTransferIsUndone)
{
    const std::string sheet = "p { color: green }";
    const std::string code = "document.body.append('ran')";
    server.on("/page.html",
        gzipped(html("<!DOCTYPE html><title>packed</title><link rel=stylesheet href=a.css><link rel=stylesheet href=b.css>"
                     "<body><script src=c.js></script><img src=d.png>")));
    server.on("/a.css", deflated(css(sheet)));
    server.on("/b.css", brotlied(css(sheet)));
    server.on("/c.js", gzipped(script(code)));
    Response picture = gzipped(typed("image/png", pngImage(4, 5, 6)));
    picture.framing = Framing::Chunked;
    server.on("/d.png", picture);
    for (const bool fromDocument : {true, false}) {
        SCOPED_TRACE(fromDocument);
        settings["WebToolUseDOMDocument"] = fromDocument;
        const Captured captured = capture(url("/page.html"));
        expectArchive(captured);
        EXPECT_EQ(captured.record.title, "packed");
        EXPECT_TRUE(holds(captured.page(), "<script src="));
        ASSERT_EQ(captured.archive->resources.size(), 4U);
        EXPECT_EQ(captured.archive->resource(url("/a.css"))->data, sheet);
        EXPECT_EQ(captured.archive->resource(url("/b.css"))->data, sheet);
        EXPECT_EQ(captured.archive->resource(url("/c.js"))->data, code);
        EXPECT_EQ(captured.archive->resource(url("/d.png"))->data, pngImage(4, 5, 6));
    }
}

}
