#include "Replay/ReplayTest.h"

#include <algorithm>
#include <memory>

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* documentation = "/usr/share/doc/python3-doc/html";

// A site that goes away: pages are captured and looked at while it is there, and replayed when it is gone.
class ReplayedPicture : public ReplayTest {
protected:
    ReplayedPicture()
    {
        site->serveFolder("/doc/", documentation);
        site->serveFolder("/demo/", DEMO_FOLDER);
        addOwnPages();
    }

    void add(const std::string& path, const std::string& markup)
    {
        site->on(path, html("<!DOCTYPE html><title>t</title>" + markup));
    }
    void addPicture(const std::string& path, int red, int green, int blue)
    {
        site->on(path, typed("image/png", pngImage(red, green, blue, 20, 20)));
    }

    void addOwnPages()
    {
        const std::string far = site->url("", "127.0.0.2");
        for (int index = 0; index < 6; ++index)
            addPicture("/p" + std::to_string(index) + ".png", 40 * index, 255 - 40 * index, 90);
        addPicture("/near/same.png", 255, 0, 0);
        addPicture("/far/same.png", 0, 0, 255);

        site->on("/styles/sheet.css",
            css("@import 'more.css'; body { background: url(../p1.png) } p { border-image: url(/p2.png) 5; border: 4px solid }"));
        site->on("/styles/more.css", css("p { color: #a00; list-style: url(/p3.png) } .x::before { content: url(/p4.png) }"));
        add("/styles.html",
            "<link rel=stylesheet href=styles/sheet.css><p>words<ul><li class=x style='background:url(p5.png)'>item</ul>"
            "<img src=near/same.png><img src=far/same.png><picture><source srcset=p0.png><img src=p1.png></picture>");

        site->on("/font.ttf", Handler{[](const Request&) {
            Response response = typed("font/ttf", font());
            response.headers.emplace_back("Access-Control-Allow-Origin", "*");
            return response;
        }});
        add("/font.html",
            "<style>@font-face { font-family: f; src: url(" + far
                + "/font.ttf) } p { font: 20px f, serif }</style>"
                  "<p>iiiWWW in the font of another site");

        add("/third.html", "<body style='margin:0'><p>third<img src=p3.png>");
        add("/second.html", "<body style='margin:0'><p>second<img src=p2.png><iframe src=third.html></iframe>");
        add("/named.html", "<body style='margin:0'><p id=p><img src=p4.png><script>p.append(name)</script>");
        add("/frames.html",
            "<iframe src=second.html height=260></iframe><iframe name=left src=named.html></iframe>"
            "<iframe name=right src=named.html></iframe><iframe src='"
                + site->url("/third.html", "localhost")
                + "'></iframe>"
                  "<iframe srcdoc='<p>in the attribute<img src=p5.png>'></iframe>");
        site->on("/frameset.html",
            html("<html><head><title>t</title></head><frameset cols='30%,*'><frame src=second.html>"
                 "<frame src=third.html></frameset></html>"));
        add("/many.html", [] {
            std::string frames;
            for (int index = 0; index < 12; ++index)
                frames += "<iframe width=90 height=60 src='numbered.html?" + std::to_string(index) + "'></iframe>";
            return frames;
        }());
        site->on("/numbered.html", Handler{[](const Request& request) { return html("<!DOCTYPE html><p>" + request.query); }});

        site->on("/western.html",
            typed("text/html; charset=windows-1252", "<!DOCTYPE html><title>t</title><p>caf\xE9 \x80 \x93quoted\x94"));
        site->on("/cyrillic.html",
            typed("text/html", "<!DOCTYPE html><meta charset=koi8-r><title>t</title><p>\xF2\xD5\xD3\xD3\xCB\xC9\xCA"));
        site->on("/wide.html", typed("text/html; charset=utf-16le", std::string("<\0p\0>\0\xAC\x20<\0p\0>\0W\0", 16)));
        site->on("/page.xhtml",
            typed("application/xhtml+xml",
                "<?xml version=\"1.0\"?><html xmlns=\"http://www.w3.org/1999/xhtml\">"
                "<head><title>t</title></head><body><p>strict <img src=\"p1.png\"/></p></body></html>"));
        site->on("/drawing.svg", typed("image/svg+xml", svgImage("#123456")));
        add("/parts.html",
            "<object data=drawing.svg></object><embed src=drawing.svg><img src=drawing.svg><video poster=p2.png width=80></video>"
            "<input type=image src=p3.png><svg width=30 height=30><image href=p4.png width=30 height=30 /></svg>");

        site->on("/rows.json", typed("application/json", "[\"one\", \"two\", \"three\"]"));
        add("/built.html",
            "<div id=list></div><script>const request = new XMLHttpRequest(); request.open('GET', 'rows.json', false); "
            "request.send();"
            "list.innerHTML = JSON.parse(request.responseText).map((row, n) => `<p>${row}<img "
            "src=p${n}.png>`).join('')</script>");
        add("/modules.html",
            "<div id=out>plain</div><script type=module>import {text} from './module.js'; out.textContent = text</script>");
        site->on("/module.js", typed("text/javascript", "import {word} from './word.js'; export const text = 'by ' + word"));
        site->on("/word.js", typed("text/javascript", "export const word = 'modules'"));
        add("/drawn.html",
            "<canvas id=c width=100 height=100></canvas><script>const image = new Image();"
            "image.onload = () => c.getContext('2d').drawImage(image, 10, 10); image.src = 'p1.png'</script>");
        add("/written.html",
            "<body><script>document.write('<p>written by script<img src=p1.png>')</script>"
            "<script>document.body.append('added by script')</script>");
        add("/filled.html",
            "<iframe id=f></iframe><script>f.contentDocument.body.innerHTML = '<p>filled by script<img src=p2.png>'</script>");
    }

    // The page of the benchmarks, served at "/bench/<name>/".
    void addBenchmarkPage(const std::string& name)
    {
        runHelper({"python3", MAKE_PAGES_SCRIPT, folder.pathOf("bench"), name});
        site->serveFolder("/bench/", folder.pathOf("bench"));
    }

    using Handler = TestServer::Handler;

    // Captures the page, looks at it, takes the site away and replays the archive.
    void compare(const std::string& path, bool runsScriptsAgain = true)
    {
        const std::string address = site->url(path);
        const Captured captured = capture(address);
        expectArchive(captured);
        const Picture live = livePicture(address);
        site.reset();
        settings["EnableJavaScriptForWebTool"] = runsScriptsAgain;
        const Picture replayed = replayedPicture(outputPath());
        EXPECT_EQ(differenceOf(replayed, live), "");
        EXPECT_EQ(last.unanswered, 0U) << last.process.output;
        EXPECT_EQ(last.byFileName, 0U) << last.process.output;
        EXPECT_GE(last.byAddress.value_or(0), 1U);
    }

    std::unique_ptr<TestServer> site = std::make_unique<TestServer>();
};

struct Row {
    const char* path;
    // Whether its scripts run again in the replay. The archive has the page as they left it: where they add to the page, they
    // would add all that once more, so there the live page is compared with what the archive shows without them.
    bool runsScriptsAgain = true;
    // Seconds that the capture and the live page are given after their end, for what that does not wait for.
    int64_t gracePeriod = 0;
};

void PrintTo(const Row& row, std::ostream* stream)
{
    *stream << row.path;
}

class ReplayedPages : public ReplayedPicture, public testing::WithParamInterface<Row> { };

TEST_P(ReplayedPages, LookAsTheLiveOnesDidWhenTheirSiteIsGone)
{
    const std::string path = GetParam().path;
    if (path.starts_with("/bench/"))
        addBenchmarkPage(path.substr(7, path.find('/', 7) - 7));
    settings["WebToolExtraLoadingTime"] = gracePeriod = GetParam().gracePeriod;
    compare(path, GetParam().runsScriptsAgain);
}

std::string nameOf(const char* path)
{
    std::string name = path + 1;
    std::replace_if(
        name.begin(), name.end(), [](char character) { return !std::isalnum(static_cast<unsigned char>(character)); }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Sites, ReplayedPages,
    testing::Values(Row{"/demo/index.html"}, Row{"/bench/small/index.html"}, Row{"/bench/article/index.html"},
        Row{"/bench/mixed/index.html"}, Row{"/bench/thousand/index.html"}, Row{"/doc/index.html"},
        // A script puts a button on every example.
        Row{"/doc/library/functions.html", false}, Row{"/doc/library/bisect.html", false}, Row{"/doc/whatsnew/3.11.html", false},
        Row{"/styles.html", true, 1}, Row{"/font.html"}, Row{"/frameset.html"}, Row{"/many.html"}, Row{"/western.html"},
        // Scripts in the frames add the frames' names.
        Row{"/frames.html", false}, Row{"/written.html", false}, Row{"/cyrillic.html"}, Row{"/wide.html"}, Row{"/page.xhtml"},
        Row{"/parts.html"}, Row{"/built.html"}, Row{"/modules.html"}, Row{"/drawn.html"}, Row{"/filled.html", true, 1}),
    [](const testing::TestParamInfo<Row>& row) { return nameOf(row.param.path); });

TEST_F(ReplayedPicture, OfAPageThatItsScriptsAddToHasThatTwiceWhenTheyRunAgain)
{
    const Captured captured = capture(site->url("/written.html"));
    expectArchive(captured);
    site.reset();
    const std::string markup = folder.pathOf("markup.html");
    EXPECT_EQ(replayWithArguments({outputPath(), "--html", markup}).process.exitStatus, 0);
    const std::string text = readFile(markup);
    EXPECT_NE(text.find("added by scriptadded by script"), std::string::npos) << text;
}

class ReplayedServerBytes : public ReplayedPicture, public testing::WithParamInterface<const char*> { };

TEST_P(ReplayedServerBytes, LookAsTheLivePagesDid)
{
    settings["WebToolUseDOMDocument"] = false;
    compare(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Sites, ReplayedServerBytes,
    testing::Values("/western.html", "/cyrillic.html", "/wide.html", "/page.xhtml", "/frames.html", "/written.html",
        "/built.html", "/doc/library/functions.html"),
    [](const testing::TestParamInfo<const char*>& row) { return nameOf(row.param); });

}
