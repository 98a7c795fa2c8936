#include "EndToEnd/CaptureTest.h"

using namespace std::chrono_literals;
using namespace support;

namespace {

size_t occurrences(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

class Markup : public CaptureTest { };

TEST_F(Markup, KeepsTheDoctypeOnceDirectlyBeforeTheRootElementAndAddsNone)
{
    const std::string rows[] = {
        "<!DOCTYPE html>",
        "<!DOCTYPE html PUBLIC \"-//W3C//DTD HTML 4.01//EN\" \"http://www.w3.org/TR/html4/strict.dtd\">",
        "<!DOCTYPE html PUBLIC \"-//W3C//DTD HTML 4.01 Transitional//EN\">",
        "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\" \"http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd\">",
        "<!DOCTYPE html SYSTEM \"about:legacy-compat\">",
        "",
    };
    for (const std::string& doctype : rows) {
        SCOPED_TRACE(doctype);
        const std::string page = captureMarkup(doctype + "<html><head><title>t</title></head><body>text</body></html>").page();
        EXPECT_TRUE(page.starts_with(doctype + "<html>")) << page.substr(0, 300);
        EXPECT_EQ(occurrences(page, "<!DOCTYPE"), doctype.empty() ? 0U : 1U);
    }
}

TEST_F(Markup, IsThePageAsScriptsLeftItInUTF8)
{
    server.on("/add.js", script("document.body.appendChild(document.createElement('p')).textContent = 'added \xE2\x82\xAC';"));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><p id=a>before</p><script>document.getElementById('a').remove();"
                      "document.write('<p>written</p>')</script><script src=add.js></script>");
    expectArchive(captured);
    EXPECT_TRUE(holds(captured.page(), "<p>added \xE2\x82\xAC</p>"));
    EXPECT_TRUE(holds(captured.page(), "<p>written</p>"));
    EXPECT_FALSE(holds(captured.page(), "before"));
    EXPECT_EQ(captured.archive->main.textEncodingName, "UTF-8");
    EXPECT_EQ(captured.archive->main.mimeType, "text/html");
    ASSERT_TRUE(captured.archive->resource(url("/add.js")));
    EXPECT_EQ(captured.archive->resource(url("/add.js"))->mimeType, "text/javascript");
}

TEST_F(Markup, IsTheServersBytesWhenTheSettingSaysSo)
{
    settings["WebToolUseDOMDocument"] = false;
    const std::string bytes =
        "<!doctype HTML>\r\n<TITLE>t</TITLE>\n<P CLASS=a>text<script>document.body.append('added')</script><!-- end";
    const Captured captured = captureMarkup(bytes);
    expectArchive(captured);
    EXPECT_EQ(captured.page(), bytes);
    EXPECT_EQ(captured.archive->main.mimeType, "text/html");
}

TEST_F(Markup, EscapesTextsAndAttributesButNotScriptsAndStyles)
{
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><p title='a&quot;b&amp;c'>1 &lt; 2 &amp;&amp; 3 &gt; 2 &copy;</p>"
                      "<script>if (1 < 2 && 3 > 2) window.x = '&amp;';</script><style>p > a { content: '<&' }</style>"
                      "<textarea>&lt;b&gt;</textarea><pre>\n\n  kept  </pre>");
    const std::string page = captured.page();
    EXPECT_TRUE(holds(page, "1 &lt; 2 &amp;&amp; 3 &gt; 2 \xC2\xA9</p>")) << page;
    EXPECT_TRUE(holds(page, "title=\"a&quot;b&amp;c\"")) << page;
    EXPECT_TRUE(holds(page, "if (1 < 2 && 3 > 2) window.x = '&amp;';")) << page;
    EXPECT_TRUE(holds(page, "p > a { content: '<&' }")) << page;
    EXPECT_TRUE(holds(page, "<textarea>&lt;b&gt;</textarea>")) << page;
    EXPECT_TRUE(holds(page, "  kept  </pre>")) << page;
}

TEST_F(Markup, KeepsTemplatesAndComments)
{
    const std::string page =
        captureMarkup("<!DOCTYPE html><title>t</title><template id=x><p>in the template</p></template><!-- a comment -->").page();
    EXPECT_TRUE(holds(page, "<template id=\"x\"><p>in the template</p></template>")) << page;
    EXPECT_TRUE(holds(page, "<!-- a comment -->")) << page;
}

TEST_F(Markup, LeavesNoscriptOutWhereScriptsRan)
{
    const std::string markup = "<!DOCTYPE html><title>t</title><noscript><img src=counter.png>no scripts</noscript><p>text";
    server.on("/counter.png", typed("image/png", pngImage(9, 9, 9)));
    const Captured with = captureMarkup(markup);
    EXPECT_FALSE(holds(with.page(), "noscript")) << with.page();
    EXPECT_FALSE(holds(with.page(), "counter.png")) << with.page();
    EXPECT_TRUE(server.requests("/counter.png").empty());

    settings["EnableJavaScriptForWebTool"] = false;
    const Captured without = captureMarkup(markup);
    EXPECT_TRUE(holds(without.page(), "<noscript>")) << without.page();
    EXPECT_TRUE(without.archive->resource(url("/counter.png")));
}

TEST_F(Markup, RunsNoScriptsWhenTheSettingForbidsThem)
{
    settings["EnableJavaScriptForWebTool"] = false;
    const std::string page = captureMarkup("<title>t</title><p>text<script>document.body.append('by script')</script>").page();
    EXPECT_TRUE(holds(page, "document.body.append"));
    EXPECT_EQ(occurrences(page, "by script"), 1U) << page;
}

TEST_F(Markup, OfALongDocumentIsWhole)
{
    std::string markup = "<!DOCTYPE html><title>t</title><table>";
    for (int row = 0; row < 20'000; ++row)
        markup += "<tr><td>row " + std::to_string(row) + "</td><td>the quick brown fox jumps over the lazy dog</td></tr>\n";
    const Captured captured = captureMarkup(markup + "</table>");
    expectArchive(captured);
    const std::string page = captured.page();
    EXPECT_GT(page.size(), markup.size());
    EXPECT_EQ(occurrences(page, "</tr>"), 20'000U);
    EXPECT_TRUE(holds(page, "<td>row 19999</td>"));
}

TEST_F(Markup, OfADeepDocumentIsWhole)
{
    std::string markup = "<!DOCTYPE html><title>t</title>";
    for (int depth = 0; depth < 400; ++depth)
        markup += "<div class=d" + std::to_string(depth) + ">";
    const std::string page = captureMarkup(markup + "bottom").page();
    EXPECT_EQ(occurrences(page, "</div>"), 400U);
    EXPECT_TRUE(holds(page, "bottom"));
}

TEST_F(Markup, OfAnEmptyPageIsAnEmptyDocument)
{
    const Captured captured = captureMarkup("");
    expectArchive(captured);
    EXPECT_EQ(captured.page(), "<html><head></head><body></body></html>");
}

TEST_F(Markup, OfXHTMLKeepsItsInstructionsAndStaysXML)
{
    server.on("/page.xhtml",
        typed("application/xhtml+xml; charset=utf-8",
            "<?xml version=\"1.0\"?>\n<?xml-stylesheet type=\"text/css\" href=\"style.css\"?>\n"
            "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\" \"http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd\">\n"
            "<html xmlns=\"http://www.w3.org/1999/xhtml\"><head><title>t</title></head><body><p>text<br/></p>"
            "<img src=\"picture.png\" alt=\"\"/></body></html>"));
    server.on("/style.css", css("p { color: green }"));
    server.on("/picture.png", typed("image/png", pngImage(0, 255, 0)));
    const Captured captured = capture(url("/page.xhtml"));
    expectArchive(captured);
    EXPECT_EQ(captured.archive->main.mimeType, "application/xhtml+xml");
    EXPECT_EQ(captured.archive->main.textEncodingName, "UTF-8");
    EXPECT_TRUE(holds(captured.page(), "<?xml-stylesheet type=\"text/css\" href=\"style.css\"?>")) << captured.page();
    EXPECT_EQ(occurrences(captured.page(), "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\""), 1U) << captured.page();
    EXPECT_TRUE(holds(captured.page(), "<br />") || holds(captured.page(), "<br/>")) << captured.page();
    ASSERT_TRUE(captured.archive->resource(url("/style.css")));
    EXPECT_EQ(captured.archive->resource(url("/style.css"))->data, "p { color: green }");
    EXPECT_TRUE(captured.archive->resource(url("/picture.png")));
}

TEST_F(Markup, OfTextXMLIsTheServersBytesWhateverTheSettingSays)
{
    const std::string bytes =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<?xml-stylesheet type=\"text/css\" href=\"feed.css\"?>\n"
        "<feed><entry>text</entry></feed>\n";
    server.on("/feed.xml", typed("text/xml", bytes));
    server.on("/feed.css", css("entry { display: block }"));
    const Captured captured = capture(url("/feed.xml"));
    expectArchive(captured);
    EXPECT_EQ(captured.page(), bytes);
    EXPECT_EQ(captured.archive->main.mimeType, "text/xml");
    EXPECT_TRUE(captured.archive->resource(url("/feed.css")));
}

TEST_F(Markup, OfOtherXMLTypesComesFromTheDocument)
{
    server.on("/data.xml", typed("application/xml", "<data><item id='1'>text</item></data>"));
    const Captured captured = capture(url("/data.xml"));
    expectArchive(captured);
    EXPECT_EQ(captured.archive->main.mimeType, "application/xml");
    EXPECT_TRUE(holds(captured.page(), "<item id=\"1\">text</item>")) << captured.page();
    EXPECT_EQ(captured.archive->main.textEncodingName, "UTF-8");
}

TEST_F(Markup, IsTakenFromFilesToo)
{
    (void)folder.write("site/pictures/a b.png", pngImage(1, 2, 3));
    const std::string path =
        folder.write("site/index.html", "<!DOCTYPE html><title>On disk</title><img src='pictures/a%20b.png'>");
    const Captured captured = capture("file://" + path);
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "On disk");
    EXPECT_EQ(captured.record.url, "file://" + path);
    EXPECT_EQ(captured.archive->main.url, "file://" + path);
    const ArchivedResource* picture = captured.archive->resource("file://" + folder.pathOf("site/pictures/a%20b.png"));
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->data, pngImage(1, 2, 3));
    EXPECT_EQ(picture->mimeType, "image/png");
}

}
