#include "Replay/ReplayTest.h"
#include "Support/Sanitizer.h"

#include <algorithm>

using namespace support;

namespace {

constexpr const char* site = "http://site.example/";

std::string colour(const std::string& value, const std::string& more = {})
{
    return "<!DOCTYPE html><title>t</title><body style='margin:0;background:" + value + "'>" + more;
}

std::string frame(const std::string& name, int height = 200)
{
    return "<iframe src='" + name + "' width=300 height=" + std::to_string(height)
        + " frameborder=0 style='display:block'></iframe>";
}

// Archives that others could have made.
class ForeignArchive : public ReplayTest {
protected:
    Picture pictureOf(const std::string& value, const std::vector<std::string>& options = {})
    {
        return replayedPicture(writeArchive(propertyListXML(value)), options);
    }
    // The markup in the end.
    std::string markupOf(const std::string& value, const std::vector<std::string>& options = {})
    {
        const std::string path = folder.pathOf("markup.html");
        std::vector<std::string> arguments = {writeArchive(propertyListXML(value)), "--html", path};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Replayed replayed = replayWithArguments(arguments);
        EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
        return replayed.process.exitStatus == 0 ? readFile(path) : std::string();
    }
    // The text of the body that the page's bytes show.
    std::string textShown(const std::string& bytes, const std::string& encoding)
    {
        const std::string markup = markupOf(archiveXML(resourceXML(site, bytes, "text/html", encoding)));
        const size_t start = markup.find("<p>");
        return start == std::string::npos ? markup : markup.substr(start + 3, markup.find('<', start + 3) - start - 3);
    }
    void expectRefused(const std::vector<std::string>& arguments, const std::string& words)
    {
        const Replayed replayed = replayWithArguments(arguments);
        EXPECT_EQ(replayed.process.exitStatus, 1);
        EXPECT_EQ(replayed.process.output, "");
        const std::string& line = replayed.process.error;
        EXPECT_TRUE(line.starts_with("twwebreplay: ")) << line;
        EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
        EXPECT_NE(line.find(words), std::string::npos) << line;
    }
};

TEST_F(ForeignArchive, InXMLWithResponsesAndUnknownKeysIsShown)
{
    const std::string unknown = "<key>WebResourceResponse</key><data>YnBsaXN0MDA=</data><key>Else</key><array><true/></array>";
    const Picture picture = pictureOf(archiveXML(
        resourceXML(site, colour("#fff", "<link rel=stylesheet href=a.css><p>x<img src=b.png>"), "text/html", {}, unknown),
        resourceXML(std::string(site) + "a.css", "body { background: #102030 !important }", "text/css", {}, unknown)
            + resourceXML(std::string(site) + "b.png", pngImage(9, 8, 7, 50, 50), "image/png", {}, unknown)));
    EXPECT_EQ(picture.pixelAt(600, 600), 0x102030U);
    EXPECT_EQ(last.byAddress, 3U);
    EXPECT_EQ(last.unanswered, 0U);
}

TEST_F(ForeignArchive, IsReadInTheEncodingThatItNames)
{
    EXPECT_EQ(textShown("<p>caf\xE9 \x80", "windows-1252"), "caf\xC3\xA9 \xE2\x82\xAC");
    EXPECT_EQ(textShown("<meta charset=utf-8><p>\xF2\xD5\xD3", "koi8-r"), "\xD0\xA0\xD1\x83\xD1\x81")
        << "the archive's word goes first";
    EXPECT_EQ(textShown("<p>\x93\xFA\x96\x7B", "Shift_JIS"), "\xE6\x97\xA5\xE6\x9C\xAC");
    EXPECT_EQ(textShown(std::string("<\0p\0>\0\xAC\x20", 8), "UTF-16LE"), "\xE2\x82\xAC");
    EXPECT_EQ(textShown("<p>caf\xC3\xA9", "no such encoding"), "caf\xC3\x83\xC2\xA9") << "as a browser guesses";
    EXPECT_EQ(textShown("<meta charset=koi8-r><p>\xF2\xD5\xD3", {}), "\xD0\xA0\xD1\x83\xD1\x81");
    EXPECT_EQ(textShown("\xEF\xBB\xBF<p>caf\xC3\xA9", {}), "caf\xC3\xA9");
}

TEST_F(ForeignArchive, WithFramesThreeDeepShowsEachWithItsOwn)
{
    // Every frame asks for the same address, and has something else under it.
    const auto picture = [](int shade) {
        return resourceXML(std::string(site) + "p.png", pngImage(shade, 0, 0, 300, 300), "image/png");
    };
    const auto page = [](const std::string& name, int level) {
        return resourceXML(std::string(site) + name,
            colour("#fff",
                "<img src=p.png width=300 height=20 style='display:block'>"
                    + (level < 3 ? frame("deep" + std::to_string(level + 1) + ".html", 100 - 20 * level) : "")),
            "text/html");
    };
    const std::string deepest = archiveXML(page("deep3.html", 3), picture(40));
    const std::string deeper = archiveXML(page("deep2.html", 2), picture(30), deepest);
    const std::string deep = archiveXML(page("deep1.html", 1), picture(20), deeper);
    for (const std::vector<std::string>& options : {std::vector<std::string>{}, {"--no-workaround"}}) {
        const Picture shown = pictureOf(archiveXML(page("", 0), picture(10), deep), options);
        EXPECT_EQ(shown.pixelAt(5, 10), 0x0a0000U);
        EXPECT_EQ(shown.pixelAt(5, 30), 0x140000U);
        EXPECT_EQ(shown.pixelAt(5, 50), 0x1e0000U);
        EXPECT_EQ(shown.pixelAt(5, 70), 0x280000U);
        EXPECT_EQ(last.byAddress, 8U) << last.process.output;
        EXPECT_EQ(last.unanswered, 0U);
    }
}

TEST_F(ForeignArchive, WithFramesOfOneAddressGivesEachItsOwn)
{
    const auto same = [](const std::string& value) {
        return archiveXML(resourceXML(std::string(site) + "f.html", colour(value), "text/html"));
    };
    const Picture shown =
        pictureOf(archiveXML(resourceXML(site, colour("#fff", frame("f.html") + frame("f.html") + frame("f.html")), "text/html"),
            {}, same("#010000") + same("#020000") + same("#030000")));
    EXPECT_EQ(shown.pixelAt(5, 100), 0x010000U);
    EXPECT_EQ(shown.pixelAt(5, 300), 0x020000U);
    EXPECT_EQ(shown.pixelAt(5, 500), 0x030000U);
}

TEST_F(ForeignArchive, AnswersInternalSchemesFromItsResourcesAndElseWithNothing)
{
    const std::string markup = markupOf(archiveXML(
        resourceXML(site,
            colour("#fff",
                "<img id=a src='x-msg:one'><img id=b src='safari-resource:/two.png'><script src='x-webdoc://h/three.js'></script>"
                "<script src='safari-reader:none'></script><script>onload = () => document.title = [a.naturalWidth, "
                "b.naturalWidth, window.three]</script>"),
            "text/html"),
        resourceXML("x-msg:one", pngImage(1, 2, 3, 11, 11), "image/png")
            + resourceXML("safari-resource:/two.png", pngImage(1, 2, 3, 22, 22), "image/png")
            + resourceXML("x-webdoc://h/three.js", "window.three = 33", "text/javascript")));
    EXPECT_NE(markup.find("<title>11,22,33</title>"), std::string::npos) << markup;
}

TEST_F(ForeignArchive, WithoutAnAddressOfItsOwnIsShownAllTheSame)
{
    for (const std::string address :
        {"", "about:blank", "x-msg://7/", "no address at all", "javascript:document.title", "http:", "data:text/html,x"}) {
        SCOPED_TRACE(address);
        const Picture picture = pictureOf(archiveXML(resourceXML(address, colour("#112233", "<img src=dir/a.png>"), "text/html"),
            resourceXML("x-msg://7/a.png", pngImage(200, 100, 0, 40, 40), "image/png")));
        EXPECT_EQ(picture.pixelAt(20, 20), 0xc86400U) << "found by its file name";
        EXPECT_EQ(picture.pixelAt(300, 300), 0x112233U);
    }
}

TEST_F(ForeignArchive, WhoseTypesLieIsShownAsFarAsABrowserDoes)
{
    const Picture picture = pictureOf(archiveXML(
        resourceXML(site, colour("#010101", "<img src=a.png width=40 height=40 style='display:block'><script src=a.js></script>"),
            "text/html"),
        resourceXML(std::string(site) + "a.png", pngImage(200, 100, 0, 40, 40), "text/html")
            + resourceXML(std::string(site) + "a.js", "document.body.style.background = '#020202'", "no type\nat: all")));
    EXPECT_EQ(picture.pixelAt(20, 20), 0xc86400U);
    EXPECT_EQ(picture.pixelAt(300, 300), 0x020202U);

    const Replayed asPicture =
        replayWithArguments({writeArchive(propertyListXML(archiveXML(resourceXML(site, "<p>no picture", "image/png"))))});
    EXPECT_EQ(asPicture.process.exitStatus, 0) << asPicture.process.error;
    const Replayed asUnknown =
        replayWithArguments({writeArchive(propertyListXML(archiveXML(resourceXML(site, "<p>", "application/x-nobody-knows"))))});
    EXPECT_EQ(asUnknown.process.exitStatus, 0) << asUnknown.process.error;
    EXPECT_EQ(pictureOf(archiveXML(resourceXML(site, colour("#040404"), {}))).pixelAt(300, 300), 0x040404U) << "no type at all";
}

TEST_F(ForeignArchive, WithWrongKindsInItsPlacesIsReadWithoutThem)
{
    const std::string wrong = "<key>WebResourceMIMEType</key><integer>5</integer><key>WebResourceTextEncodingName</key><array/>"
                              "<key>WebResourceFrameName</key><true/>";
    const std::string main = "<dict><key>WebResourceData</key><data>PHA+eA==</data><key>WebResourceURL</key><string>"
        + std::string(site) + "</string>" + wrong + "</dict>";
    EXPECT_NE(markupOf(archiveXML(main, "<string>x</string><dict><key>WebResourceURL</key><data>AAAA</data></dict>",
                           "<integer>3</integer><dict/>"))
                  .find("<p>x"),
        std::string::npos);
    for (const char* value :
        {"<dict><key>WebMainResource</key><string>x</string></dict>", "<array/>", "<string>WebMainResource</string>", "<dict/>",
            "<dict><key>WebMainResource</key><dict><key>WebResourceData</key><string>x</string><key>WebResourceURL</"
            "key><integer>1</integer></dict></dict>"})
        expectRefused({writeArchive(propertyListXML(value))}, "no main resource");
    EXPECT_NE(markupOf(archiveXML("<dict><key>WebResourceData</key><data>PHA+eA==</data></dict>")
                           .insert(6, "<key>WebSubresources</key><string>x</string><key>WebSubframeArchives</key><data/>"))
                  .find("<p>x"),
        std::string::npos);
}

TEST_F(ForeignArchive, ThatIsNoneIsRefusedWithOneLine)
{
    expectRefused({folder.pathOf("missing.webarchive")}, "missing.webarchive: No such file");
    expectRefused({folder.makeFolder("folder.webarchive")}, "not an ordinary file");
    const std::string pipe = folder.pathOf("pipe.webarchive");
    runHelper({"mkfifo", pipe});
    expectRefused({pipe}, "not an ordinary file");
    expectRefused({"/dev/zero"}, "not an ordinary file");
    expectRefused({writeArchive("")}, "no property list");
    expectRefused({writeArchive("<html>\n\n</html>")}, "no property list");
    expectRefused({writeArchive("bplist00")}, "no property list");

    const std::string whole = propertyListXML(archiveXML(resourceXML(site, "<p>x", "text/html")));
    for (const size_t length : {size_t(1), whole.size() / 3, whole.size() / 2, whole.size() - 12})
        expectRefused({writeArchive(whole.substr(0, length))}, "no property list");
}

TEST_F(ForeignArchive, ThatIsHostileIsRefusedInTimeAndMemory)
{
    // The engine would be the first to use memory; none is started here. Files are checked in a process with little of it.
    const std::string path = folder.pathOf("hostile.webarchive");
    const std::vector<std::pair<std::string, std::string>> rows = {
        // A dictionary that is its own main resource.
        {"open(p,'wb').write(b'bplist00'+b'\\xd1\\x01\\x00'+b'\\x5f\\x10\\x0fWebMainResource'+bytes([8,11])+bytes(6)+bytes([1,1])"
         "+bytes(7)+bytes([2])+bytes(8)+bytes(7)+bytes([29]))",
            "no property list"},
        // Arrays of arrays, each ten times the one inside it, thirty deep.
        {"objs=[b'\\xaa'+bytes([i+1]*10) for i in range(30)]+[b'\\x51x'];o=[];d=b'bplist00'\nfor x in objs:\n "
         "o.append(len(d));d+=x\n"
         "open(p,'wb').write(d+b''.join(y.to_bytes(2,'big') for y in "
         "o)+bytes(6)+bytes([2,1])+len(objs).to_bytes(8,'big')+bytes(8)+len(d).to_bytes(8,'big'))",
            "no property list"},
        // Nested deeper than any call stack goes.
        {"open(p,'w').write('<plist>'+'<array>'*1000000+'</array>'*1000000+'</plist>')", "no property list"},
        // A length beyond the end of the file.
        {"open(p,'wb').write(b'bplist00\\x4f\\x13\\x7f\\xff\\xff\\xff\\xff\\xff\\xff\\xff'+bytes([8])+bytes(6)+bytes([1,1])+"
         "bytes(7)+bytes([1])+bytes(8)+bytes(7)+bytes([18]))",
            "no property list"},
        // More than is read: nothing of it is.
        {"open(p,'wb').truncate(1<<30)", "too large"},
    };
    for (const auto& [script, words] : rows) {
        SCOPED_TRACE(script);
        runHelper({"python3", "-c", "p='" + path + "'\n" + script});
        const ProcessOptions options = [&] {
            ProcessOptions limited = processOptions({});
            const std::string limit = isSanitized ? "" : "ulimit -v 400000; ";
            limited.arguments = {"sh", "-c", limit + "exec \"$0\" \"$1\"", TWWEBREPLAY, path};
            return limited;
        }();
        const ProcessOutcome outcome = run(options);
        EXPECT_EQ(outcome.exitStatus, 1) << outcome.error;
        EXPECT_NE(outcome.error.find(words), std::string::npos) << outcome.error;
        EXPECT_LT(outcome.wallTime.count(), 20);
    }
}

}
