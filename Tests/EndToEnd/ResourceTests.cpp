#include "EndToEnd/CaptureTest.h"

#include <algorithm>

using namespace std::chrono_literals;
using namespace support;

namespace {

using Names = std::set<std::string>;

class Resources : public CaptureTest {
protected:
    // A picture at "/NAME.png", with bytes that no other name's has.
    void addPicture(const std::string& name)
    {
        const auto sum = std::hash<std::string>{}(name);
        pictures[name] =
            pngImage(static_cast<int>(sum & 255), static_cast<int>(sum >> 8 & 255), static_cast<int>(sum >> 16 & 255));
        server.on("/" + name + ".png", typed("image/png", pictures[name]));
    }
    std::map<std::string, std::string> pictures;

    // The archive's own resources without the server's address.
    Names namesOf(const InspectedArchive& archive) const
    {
        Names names;
        for (std::string address : archive.resourceURLs()) {
            const std::string prefix = url("/");
            names.insert(address.starts_with(prefix) ? address.substr(prefix.size()) : address);
        }
        return names;
    }
    // Each picture that is in the archive has the server's bytes and type.
    void expectPictures(const InspectedArchive& archive)
    {
        for (const auto& [name, bytes] : pictures) {
            if (const ArchivedResource* resource = archive.resource(url("/" + name + ".png"))) {
                EXPECT_EQ(resource->data, bytes) << name;
                EXPECT_EQ(resource->mimeType, "image/png") << name;
            }
        }
    }
};

TEST_F(Resources, AreTheImagesOfEveryElement)
{
    for (const char* name : {"img", "srcset", "picture", "input", "poster", "svg", "body", "object", "embed", "lazy", "script"})
        addPicture(name);
    addPicture("not-chosen");
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><body background=body.png><img src=img.png><img srcset='srcset.png 1x, not-chosen.png "
        "3x'>"
        "<picture><source srcset=not-chosen.png media='(min-width: 9000px)'><source srcset=picture.png><img "
        "src=not-chosen.png></picture>"
        "<input type=image src=input.png><video poster=poster.png></video><svg><image href=svg.png width=9 height=9 /></svg>"
        "<object data=object.png type=image/png></object><embed src=embed.png type=image/png>"
        "<div style='height: 9000px'></div><img src=lazy.png loading=lazy><script>new Image().src = 'script.png'</script>");
    expectArchive(captured);
    expectPictures(*captured.archive);
    EXPECT_EQ(namesOf(*captured.archive),
        (Names{"img.png", "srcset.png", "picture.png", "input.png", "poster.png", "svg.png", "body.png", "object.png",
            "embed.png", "lazy.png", "script.png"}));
}

TEST_F(Resources, AreTheStyleSheetsAndWhatTheyImport)
{
    server.on("/link.css", css("@import 'first.css'; @import url(folder/second.css); p { color: red }"));
    server.on("/first.css", css("@import url(\"third.css\");"));
    server.on("/folder/second.css", css("@import '../third.css'; @import 'fourth.css' print;"));
    server.on("/third.css", css("p { color: green }"));
    server.on("/folder/fourth.css", css("p { color: black }"));
    server.on("/element.css", css("a { color: red }"));
    server.on("/print.css", css("a { color: black }"));
    server.on("/alternate.css", css("a { color: white }"));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=link.css>"
                      "<style>@import 'element.css';</style><link rel=stylesheet href=print.css media=print>"
                      "<link rel='alternate stylesheet' title=other href=alternate.css><p>text");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive),
        (Names{"link.css", "first.css", "folder/second.css", "third.css", "folder/fourth.css", "element.css", "print.css",
            "alternate.css"}));
    EXPECT_EQ(captured.archive->resource(url("/folder/second.css"))->data, "@import '../third.css'; @import 'fourth.css' print;");
    EXPECT_EQ(captured.archive->resource(url("/folder/second.css"))->mimeType, "text/css");
}

TEST_F(Resources, AreKeptOnceWhenStyleSheetsImportEachOther)
{
    server.on("/a.css", css("@import 'b.css'; p { color: red }"));
    server.on("/b.css", css("@import 'a.css'; @import 'b.css'; p { color: green }"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=a.css><p>text");
    expectArchive(captured);
    EXPECT_EQ(captured.archive->resources.size(), 2U);
    EXPECT_EQ(namesOf(*captured.archive), (Names{"a.css", "b.css"}));
}

TEST_F(Resources, AreTheImagesOfStyles)
{
    // The engine asks for some of them only when it draws.
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    for (const char* name : {"sheet", "element", "attribute", "list", "border", "content", "mask", "set", "variable"})
        addPicture(name);
    addPicture("unused");
    server.on("/styles/sheet.css",
        css("p { background: url('../sheet.png') } ul { list-style-image: url(../list.png) } .none { background: "
            "url(../unused.png) }"
            " .b { border: 9px solid; border-image: url(../border.png) 9 } .c::before { content: url(../content.png) }"
            " .m { width: 9px; height: 9px; -webkit-mask-image: url(../mask.png); background: red }"
            " .s { width: 9px; height: 9px; background-image: image-set(url(../set.png) 1x) }"));
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><link rel=stylesheet href=styles/sheet.css><style>body { background: url(element.png) }"
        ":root { --picture: url(variable.png) } .v { background: var(--picture) }</style>"
        "<p style='background-image: url(\"attribute.png\")'>text<p>text<ul><li>item</ul><div class=b>b</div><div class=c>c</div>"
        "<div class=m></div><div class=s></div><div class=v>v</div>");
    expectArchive(captured);
    expectPictures(*captured.archive);
    EXPECT_EQ(namesOf(*captured.archive),
        (Names{"styles/sheet.css", "sheet.png", "element.png", "attribute.png", "list.png", "border.png", "content.png",
            "mask.png", "set.png", "variable.png"}));
}

TEST_F(Resources, AreTheFontsInUse)
{
    server.on("/used.ttf", typed("font/ttf", font()));
    server.on("/unused.ttf", typed("font/ttf", font()));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><style>@font-face { font-family: used; src: url(used.ttf) }"
                      "@font-face { font-family: unused; src: url(unused.ttf) } p { font-family: used }</style><p>text");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), Names{"used.ttf"});
    EXPECT_EQ(captured.archive->resource(url("/used.ttf"))->data, font());
    EXPECT_EQ(captured.archive->resource(url("/used.ttf"))->mimeType, "font/ttf");
}

TEST_F(Resources, AreSoundsFilmsAndTracks)
{
    const std::string sound = wavSound(4000);
    server.on("/sound.wav", typed("audio/wav", sound));
    server.on("/film.wav", typed("audio/wav", wavSound(5000)));
    server.on("/words.vtt", typed("text/vtt", "WEBVTT\n\n00:00.000 --> 00:01.000\nwords\n"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><audio src=sound.wav preload=auto></audio>"
                                            "<video preload=auto><source src=film.wav type=audio/wav>"
                                            "<track src=words.vtt kind=subtitles srclang=en default></video>");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), (Names{"sound.wav", "film.wav", "words.vtt"}));
    ASSERT_TRUE(captured.archive->resource(url("/sound.wav")));
    EXPECT_EQ(captured.archive->resource(url("/sound.wav"))->data, sound);
    EXPECT_EQ(captured.archive->resource(url("/sound.wav"))->mimeType, "audio/wav");
}

TEST_F(Resources, AreScriptsModulesAndWhatTheyFetch)
{
    server.on("/classic.js", script("window.classic = 1"));
    server.on("/module.js", typed("application/javascript", "import { word } from './part.js'; document.body.append(word)"));
    server.on("/part.js", script("export const word = 'imported'"));
    server.on("/later.js", script("document.body.append('later')"));
    server.on("/data.json", typed("application/json", "{\"word\": \"fetched\"}"));
    settings["WebToolExtraLoadingTime"] = int64_t(1);
    const Captured captured = captureMarkup(
        "<!DOCTYPE html><title>t</title><body><script src=classic.js></script><script type=module src=module.js></script>"
        "<script>document.head.appendChild(document.createElement('script')).src = 'later.js';"
        "fetch('data.json').then(answer => answer.json()).then(value => document.body.append(value.word))</script>");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), (Names{"classic.js", "module.js", "part.js", "later.js", "data.json"}));
    EXPECT_EQ(captured.archive->resource(url("/data.json"))->mimeType, "application/json");
    for (const char* word : {"imported", "later", "fetched"})
        EXPECT_NE(captured.page().find(word), std::string::npos) << word;
}

TEST_F(Resources, AreSVGDocumentsAndWhatTheyReferTo)
{
    server.on("/drawing.svg", typed("image/svg+xml", svgImage("red")));
    server.on("/symbols.svg",
        typed("image/svg+xml",
            "<svg xmlns='http://www.w3.org/2000/svg'><symbol id='a'><rect width='5' height='5'/></symbol>"
            "<symbol id='b'><circle r='5'/></symbol></svg>"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=drawing.svg><svg><use href='symbols.svg#a'/>"
                                            "<use href='symbols.svg#b'/></svg>");
    expectArchive(captured);
    EXPECT_EQ(captured.archive->resources.size(), 2U);
    ASSERT_TRUE(captured.archive->resource(url("/drawing.svg")));
    EXPECT_EQ(captured.archive->resource(url("/drawing.svg"))->data, svgImage("red"));
    EXPECT_TRUE(captured.archive->resource(url("/symbols.svg")));
}

TEST_F(Resources, AreKeptOnceForEachAddressWhateverItsFragment)
{
    addPicture("a");
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><img src=a.png><img src=a.png><img src='a.png#x'>"
                      "<img src='a.png#y'><img src='a.png?1'><img src='a.png?2#z'><p style='background: url(a.png)'>text");
    expectArchive(captured);
    EXPECT_EQ(captured.archive->resources.size(), 3U);
    EXPECT_TRUE(captured.archive->resource(url("/a.png")));
    EXPECT_TRUE(captured.archive->resource(url("/a.png?1")));
    EXPECT_TRUE(captured.archive->resource(url("/a.png?2")));
}

TEST_F(Resources, LeaveOutDataAndBlobAddresses)
{
    addPicture("real");
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=real.png><img "
                                            "src='data:image/gif;base64,R0lGODlhAQABAAAAACH5BAEKAAEALAAAAAABAAEAAAICTAEAOw=='>"
                                            "<iframe src='data:text/html,<p>in a data frame</p>'></iframe>"
                                            "<script>const image = document.body.appendChild(new Image());"
                                            "image.src = URL.createObjectURL(new Blob(['<svg "
                                            "xmlns=\"http://www.w3.org/2000/svg\"/>'], { type: 'image/svg+xml' }))</script>");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), Names{"real.png"});
}

TEST_F(Resources, IncludeAnswersThatSayNotFound)
{
    server.on("/gone.png", status(404, "<p>not here"));
    server.on("/broken.css", status(500, "p { color: red }"));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=broken.css><img src=gone.png><p>text");
    expectArchive(captured);
    ASSERT_TRUE(captured.archive->resource(url("/gone.png")));
    EXPECT_EQ(captured.archive->resource(url("/gone.png"))->data, "<p>not here");
    EXPECT_EQ(captured.archive->resource(url("/gone.png"))->mimeType, "text/html");
    EXPECT_TRUE(captured.archive->resource(url("/broken.css")));
}

TEST_F(Resources, LeaveOutWhatWasNeverAnswered)
{
    addPicture("good");
    server.onRaw("/reset.png", [](Exchange& exchange) { exchange.reset(); });
    server.onRaw("/closed.css", [](Exchange& exchange) { exchange.close(); });
    const std::string nobody = "http://127.0.0.1:" + std::to_string(unusedPort()) + "/a.png";
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=closed.css><img src=good.png>"
                      "<img src=reset.png><img src='"
            + nobody + "'><img src='http://nowhere.invalid/a.png'>");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), Names{"good.png"});
    EXPECT_GE(captured.logCount("Continuing after error loading resource: "), 4U) << captured.process.error;
}

TEST_F(Resources, IncludeWhatHasNoBytesOrNoType)
{
    server.on("/empty.css", css(""));
    server.on("/empty.js", script(""));
    Response untyped;
    untyped.body = pngImage(7, 7, 7);
    server.on("/untyped", untyped);
    server.on("/nothing.png", typed("image/png", ""));
    const Captured captured =
        captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=empty.css><script src=empty.js></script>"
                      "<img src=untyped><img src=nothing.png>");
    expectArchive(captured);
    EXPECT_EQ(namesOf(*captured.archive), (Names{"empty.css", "empty.js", "untyped", "nothing.png"}));
    EXPECT_EQ(captured.archive->resource(url("/untyped"))->data, pngImage(7, 7, 7));
    EXPECT_EQ(captured.archive->resource(url("/empty.css"))->data, "");
    EXPECT_EQ(captured.archive->resource(url("/empty.css"))->mimeType, "text/css");
}

TEST_F(Resources, KeepTheSpellingOfTheirTypesWithoutParameters)
{
    server.on("/a.css", typed("Text/CSS; Charset=UTF-8", "p { color: red }"));
    server.on("/b.png", typed("IMAGE/png;name=\"b\"", pngImage(1, 1, 1)));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><link rel=stylesheet href=a.css><img src=b.png>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->resources.size(), 2U);
    EXPECT_EQ(captured.archive->resource(url("/a.css"))->mimeType, "Text/CSS");
    EXPECT_EQ(captured.archive->resource(url("/b.png"))->mimeType, "IMAGE/png");
}

TEST_F(Resources, OfManyMegabytesAreWhole)
{
    std::string bytes = pngImage(1, 2, 3);
    bytes.reserve(12'000'000);
    for (uint32_t number = 1; bytes.size() < 12'000'000; number = number * 1664525 + 1013904223)
        bytes += static_cast<char>(number >> 24);
    server.on("/large.png", typed("image/png", bytes));
    Response chunked = typed("image/png", bytes);
    chunked.framing = Framing::Chunked;
    server.on("/chunked.png", chunked);
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=large.png><img src=chunked.png>");
    expectArchive(captured);
    ASSERT_EQ(captured.archive->resources.size(), 2U);
    EXPECT_TRUE(captured.archive->resource(url("/large.png"))->data == bytes);
    EXPECT_TRUE(captured.archive->resource(url("/chunked.png"))->data == bytes);
}

TEST_F(Resources, InGreatNumberAreAllThere)
{
    std::string markup = "<!DOCTYPE html><title>t</title>";
    for (int index = 0; index < 300; ++index) {
        addPicture("p" + std::to_string(index));
        markup += "<img src=p" + std::to_string(index) + ".png>";
    }
    const Captured captured = captureMarkup(markup);
    expectArchive(captured);
    EXPECT_EQ(captured.archive->resources.size(), 300U);
    expectPictures(*captured.archive);
}

TEST_F(Resources, ThatWereRedirectedHaveTheirBytes)
{
    addPicture("there");
    server.on("/here.png", redirect("/there.png"));
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=here.png>");
    expectArchive(captured);
    // The address in the page must lead to the bytes, whichever name they are filed under.
    const ArchivedResource* asked = captured.archive->resource(url("/here.png"));
    const ArchivedResource* led = captured.archive->resource(url("/there.png"));
    ASSERT_TRUE(asked || led);
    EXPECT_EQ((asked ? asked : led)->data, pictures["there"]);
}

TEST_F(Resources, OfOtherSitesAreThereToo)
{
    addPicture("a");
    const std::string other = server.url("/a.png", "localhost");
    const Captured captured = captureMarkup("<!DOCTYPE html><title>t</title><img src=a.png><img src='" + other + "'>");
    expectArchive(captured);
    EXPECT_EQ(captured.archive->resources.size(), 2U);
    ASSERT_TRUE(captured.archive->resource(other));
    EXPECT_EQ(captured.archive->resource(other)->data, pictures["a"]);
}

}
