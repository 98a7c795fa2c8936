#include "EndToEnd/PDFTest.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>
#include <sys/stat.h>

using namespace support;

namespace {

std::string rows(int count, const std::string& before = "<p>", const std::string& after = "")
{
    std::string markup;
    for (int row = 1; row <= count; ++row)
        markup += before + "row-" + std::to_string(row) + after + "\n";
    return markup;
}

const std::string title = "<!DOCTYPE html><title>A title</title>";

class Pages : public PDFTest { };

TEST_F(Pages, HoldEveryRowOnceAndInOrder)
{
    for (const std::string& markup : {rows(500), "<table>" + rows(2000, "<tr><td>", "<td>more") + "</table>",
             "<ol>" + rows(300, "<li style='height:37px'>") + "</ol>", "<div style='columns:2'>" + rows(300) + "</div>",
             "<div style='position:fixed;top:0;background:white;height:60px;width:100%'>fixed</div>" + rows(300),
             "<style>p{break-inside:avoid;margin:0;height:500px}</style>" + rows(20)}) {
        SCOPED_TRACE(markup.substr(0, 80));
        expectPDF(print(title + markup));
        EXPECT_EQ(numbersAfter("row-"), numbersUpTo(static_cast<int>(std::count(markup.begin(), markup.end(), '\n'))));
        EXPECT_GT(std::stoi(information()["Pages"]), 3);
    }
}

TEST_F(Pages, AreTheSystemsPaperWithEqualMargins)
{
    const std::string markup = title + "<style>body{margin:0}p{margin:0;text-align:justify}</style><p>"
        + std::string("some words to fill a line ") + [] {
              std::string text;
              for (int count = 0; count < 800; ++count)
                  text += "some words to fill a line ";
              return text;
          }();
    struct Row {
        std::string paper;
        double width, height;
        int64_t margin;
    };
    for (const Row& row :
        {Row{"letter", 612, 792, 36}, Row{"a4", 595.28, 841.89, 36}, Row{"a5", 419.53, 595.28, 72}, Row{"letter", 612, 792, 0}}) {
        SCOPED_TRACE(row.paper);
        environment["PAPERSIZE"] = row.paper;
        settings["Web2PDFPageMargin"] = row.margin;
        const double margin = static_cast<double>(row.margin);
        expectPDF(print(markup));
        EXPECT_NEAR(pageSize().first, row.width, 1);
        EXPECT_NEAR(pageSize().second, row.height, 1);
        double left = 1000, top = 1000, right = 0, bottom = 0;
        for (const Word& word : words()) {
            left = std::min(left, word.left);
            top = std::min(top, word.top);
            right = std::max(right, word.right);
            bottom = std::max(bottom, word.bottom);
        }
        EXPECT_NEAR(left, margin, 1.5);
        EXPECT_NEAR(top, margin, 6);   // half the leading of a line
        EXPECT_NEAR(right, row.width - margin, 1.5);
        EXPECT_LE(bottom, row.height - margin + 1);
        EXPECT_GT(bottom, row.height - margin - 30);
    }
}

TEST_F(Pages, HaveMarginsOf36PointsUnlessSettingsSayOtherwise)
{
    expectPDF(print(title + "<style>body,p{margin:0}</style><p>word"));
    ASSERT_EQ(words().size(), 1U);
    EXPECT_NEAR(words()[0].left, 36, 1);
    EXPECT_NEAR(words()[0].top, 36, 4);
}

// The page's own rules change neither paper nor margins.
TEST_F(Pages, AreNotWhatThePageSaysOfPaper)
{
    const std::string text = "<style>body,p{margin:0}</style><p>word";
    for (const std::string rule : {"@page{size:A3 landscape;margin:3in}",
             "@page{size:200px 300px!important;margin:1in!important}", "@page :first{margin:4in}",
             "@page wide{size:landscape;margin:2in}body{page:wide}", "@media all{@page{margin:5in!important}}",
             "@page{@top-center{content:'HEAD'}}", "@page{page-orientation:rotate-left}"}) {
        SCOPED_TRACE(rule);
        expectPDF(print(title + "<style>" + rule + "</style>" + text));
        EXPECT_EQ(information()["Page size"], "612 x 792 pts (letter)");
        EXPECT_EQ(information()["Pages"], "1");
        ASSERT_EQ(words().size(), 1U);
        EXPECT_NEAR(words()[0].left, 36, 1);
        EXPECT_NEAR(words()[0].top, 36, 4);
    }
}

TEST_F(Pages, AreFilledByTheDocumentsWidth)
{
    struct Row {
        const char* width;
        double expected;   // distance between the two words, in points
    };
    // 540 points are printable; the view is 612 pixels wide.
    for (const Row& row :
        {Row{"612px", 540}, Row{"300px", 300 * 540.0 / 612}, Row{"1224px", 540}, Row{"9000px", 540}, Row{"30000px", 540}}) {
        SCOPED_TRACE(row.width);
        expectPDF(print(title + "<style>body{margin:0}div{position:relative;height:30px;width:" + row.width
            + "}i{position:absolute;width:1px;height:30px;right:0;background:black}b{position:absolute;left:0}</"
              "style><div><b>left</b>"
              "<a href='#x' style='position:absolute;left:0;right:0;height:30px'></a></div><p id=x>"));
        const std::string plain = plainForm();
        std::smatch found;
        ASSERT_TRUE(std::regex_search(plain, found, std::regex("/Rect \\[\\s*(\\S+)\\s+(\\S+)\\s+(\\S+)\\s+(\\S+)\\s*\\]")))
            << "no link";
        EXPECT_NEAR(std::stod(found[3]) - std::stod(found[1]), row.expected, 2);
        EXPECT_NEAR(std::stod(found[1]), 36, 1);
        EXPECT_NEAR(pageSize().first, 612, 0.5);
        EXPECT_NEAR(pageSize().second, 792, 0.5);
    }
}

TEST_F(Pages, ShowThePageAsOnTheScreenUnlessSettingsSayOtherwise)
{
    const std::string markup =
        title + "<style>@media print{.s{display:none}}@media screen{.p{display:none}}</style><p class=s>screen<p class=p>paper";
    expectPDF(print(markup));
    EXPECT_EQ(texts(), "screen\n\f");
    settings["MediaStylePDF"] = "print";
    expectPDF(print(markup));
    EXPECT_EQ(texts(), "paper\n\f");
    expectPDF(print(markup, "pdfSinglePage"));
    EXPECT_EQ(texts(), "paper\n\f");
    settings["MediaStylePDF"] = true;
    expectPDF(print(markup, "pdfSinglePage"));
    EXPECT_EQ(texts(), "screen\n\f");
}

TEST_F(Pages, HaveBackgroundsUnlessSettingsSayOtherwise)
{
    const std::string markup = title + "<body style='background:#ff0000'>x";
    const auto hasRed = [this] { return plainForm().find("1 0 0 rg") != std::string::npos; };
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        settings.erase("PDFWebBackgrounds");
        expectPDF(print(markup, mode));
        EXPECT_TRUE(hasRed());
        settings["PDFWebBackgrounds"] = false;
        expectPDF(print(markup, mode));
        EXPECT_FALSE(hasRed());
    }
}

TEST_F(Pages, ShowWhatIsFixedOnceAndCoverNothingWithIt)
{
    expectPDF(print(title
        + "<style>body{margin:0;padding-top:50px}header{position:fixed;top:0}nav{position:sticky;bottom:0}</style>"
          "<header>HEADER</header>"
        + rows(200) + "<nav>NAVIGATION</nav>"));
    const std::string all = texts();
    EXPECT_EQ(all.find("HEADER"), all.rfind("HEADER"));
    EXPECT_EQ(words().front().text, "HEADER");
    EXPECT_EQ(words().back().text, "NAVIGATION");
    EXPECT_EQ(numbersAfter("row-"), numbersUpTo(200));
}

class Information : public PDFTest { };

TEST_F(Information, IsSetAndTheRestIsKept)
{
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        SCOPED_TRACE(mode);
        const Captured captured = print("<!DOCTYPE html><html lang=en><title>A title</title><h1>Heading</h1><p>text", mode);
        expectPDF(captured);
        auto told = information();
        EXPECT_EQ(told["Title"], "A title");
        EXPECT_EQ(told["Subject"], url("/page.html"));
        EXPECT_EQ(told["Author"], "127.0.0.1");
        EXPECT_EQ(told["Creator"], "Tarnwick");
        EXPECT_EQ(told["Producer"].substr(0, 8), "Skia/PDF");
        EXPECT_FALSE(told["CreationDate"].empty());
        EXPECT_EQ(told["Tagged"], "yes");
        EXPECT_EQ(told.count("Keywords"), 0U);
        EXPECT_EQ(captured.record.title, "A title");
        EXPECT_EQ(captured.record.url, url("/page.html"));
    }
}

TEST_F(Information, HasAnOutlineOfTheHeadings)
{
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        SCOPED_TRACE(mode);
        expectPDF(print(
            "<!DOCTYPE html><html lang=en><title>t</title><h1>First heading</h1><p>text<h2>Second heading</h2><p>text", mode));
        const std::string text = runHelper({"qpdf", "--json=1", "--json-key=outlines", pdfPath()});
        EXPECT_NE(text.find("First heading"), std::string::npos) << text;
        EXPECT_NE(text.find("Second heading"), std::string::npos) << text;
    }
}

TEST_F(Information, TakesTitlesInAnyScript)
{
    for (const std::string& text : {std::string("Größe & „Maß“"), std::string("日本語の題名"), std::string("عنوان"),
             std::string("\xF0\x9F\x98\x80 emoji"), std::string("(a) \\ (b)")}) {
        SCOPED_TRACE(text);
        expectPDF(print("<!DOCTYPE html><meta charset=utf-8><title>" + text + "</title>x"));
        EXPECT_EQ(information()["Title"], text);
    }
}

TEST_F(Information, NamesThePageByItsAddressWithoutATitle)
{
    expectPDF(print("<!DOCTYPE html><p>x"));
    EXPECT_EQ(information()["Subject"], url("/page.html"));
}

TEST_F(Information, KeepsLinksWorking)
{
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        SCOPED_TRACE(mode);
        // So high that the single page has a unit of its own.
        expectPDF(print(title
                + "<style>body{margin:0}</style><a href='http://example.org/there'>link</a><br><a href=#end>down</a><div "
                  "style='height:20000px'></div><p id=end>end",
            mode));
        const std::string plain = plainForm();
        EXPECT_NE(plain.find("(http://example.org/there)"), std::string::npos);
        const std::string urls = runHelper({"pdfinfo", "-url", pdfPath()});
        EXPECT_NE(urls.find("http://example.org/there"), std::string::npos);
        // The link lies over its word.
        std::smatch found;
        ASSERT_TRUE(std::regex_search(plain, found, std::regex("/Rect \\[\\s*(\\S+)\\s+(\\S+)\\s+(\\S+)\\s+(\\S+)\\s*\\]")));
        const Word word = words().front();
        EXPECT_EQ(word.text, "link");
        EXPECT_NEAR(std::stod(found[1]), word.left, 1);
        EXPECT_NEAR(std::stod(found[3]), word.right, 1);
        std::istringstream size(information()["Page size"]);
        double height = 0;
        std::string ignored;
        size >> ignored >> ignored >> height;
        EXPECT_NEAR(height - std::stod(found[4]), word.top, 4);
    }
}

class SinglePage : public PDFTest { };

TEST_F(SinglePage, IsAsLargeAsTheDocument)
{
    struct Row {
        std::string markup;
        double width, height;
    };
    for (const Row& row :
        {Row{"<div style='height:5000px'></div>", 612, 5000}, Row{"<div style='width:1px;height:1px'></div>", 612, 792},
            Row{"", 612, 792}, Row{"<div style='width:1500px;height:1001px'></div>", 1500, 1001},
            Row{"<div style='height:14400px'></div>", 612, 14400}, Row{"<div style='height:14401px'></div>", 612, 14401},
            Row{"<div style='height:200000px'></div>", 612, 200000},
            Row{"<style>p{break-after:page;height:300px;margin:0}@page{size:A6}</style><p>a<p>b<p>c<p>d", 612, 1200},
            Row{"<style>.v{height:100vh}</style><div class=v></div><div style='height:1000px'></div>", 612, 1792},
            Row{"<style>html,body,.v{height:100%}</style><div class=v></div><div style='height:1000px'></div>", 612, 1792},
            Row{"<style>.v{min-height:50vh}.w{padding-top:25vh}</style><div class=v><div class=v></div></div><div "
                "class=w></div><div "
                "style='height:1000px'></div>",
                612, 792 * 0.75 + 1000}}) {
        SCOPED_TRACE(row.markup);
        expectPDF(print(title + "<style>body{margin:0}</style>" + row.markup, "pdfSinglePage"));
        EXPECT_EQ(information()["Pages"], "1");
        EXPECT_NEAR(pageSize().first, row.width, 0.51);
        EXPECT_NEAR(pageSize().second, row.height, 0.51 * std::max(1.0, row.height / 14400));
        std::istringstream size(information()["Page size"]);
        double width = 0, height = 0;
        std::string times;
        size >> width >> times >> height;
        EXPECT_LE(height, 14400);
    }
}

TEST_F(SinglePage, HoldsEveryRowOfALongDocument)
{
    expectPDF(print(title + "<style>body{margin:0}p{margin:0;height:100px}</style>" + rows(2000), "pdfSinglePage"));
    EXPECT_EQ(information()["Pages"], "1");
    EXPECT_NEAR(pageSize().second, 200'000, 8);
    EXPECT_EQ(numbersAfter("row-"), numbersUpTo(2000));
    // The last row stands at the end of the page.
    EXPECT_GT(words().back().bottom, words().front().bottom + 13'900);
}

TEST_F(SinglePage, IsMadeForHostsInTheSettings)
{
    const std::string markup = title + "<div style='height:3000px'>";
    expectPDF(print(markup, "pdf"));
    EXPECT_GT(std::stoi(information()["Pages"]), 1);
    // In other letters it is a word like any other.
    expectPDF(print(markup, "PDFSinglePage"));
    EXPECT_GT(std::stoi(information()["Pages"]), 1);
    settings["WebToolSinglePageDomains"] = SettingList{"127.0.0.1"};
    expectPDF(print(markup, "pdf"));
    EXPECT_EQ(information()["Pages"], "1");
}

TEST_F(SinglePage, ShowsWhatIsLoadedWhenItComesIntoView)
{
    server.on("/late.png", typed("image/png", pngImage(0, 0, 255, 40, 40)));
    expectPDF(print(title
            + "<div style='height:3000px'></div><img id=late width=40 height=40><script>new "
              "IntersectionObserver((all,observer)=>{"
              "if(all.some(each=>each.isIntersecting)){late.src='late.png';observer.disconnect()}}).observe(late)</script>",
        "pdfSinglePage"));
    EXPECT_EQ(server.requests("/late.png").size(), 1U);
    EXPECT_NE(runHelper({"pdfimages", "-list", pdfPath()}).find("image"), std::string::npos);
}

class Output : public PDFTest { };

TEST_F(Output, HasTheGivenNameWithThePDFsExtension)
{
    for (const char* name : {"page.webarchive", "page", "page.pdf", "page.x"}) {
        SCOPED_TRACE(name);
        server.on("/page.html", html(title));
        expectPDF(captureWithArguments({url("/page.html"), folder.pathOf("output/" + std::string(name)), "1", "pdf"}));
    }
}

TEST_F(Output, IsAnArchiveForTitleOnlyRuns)
{
    server.on("/page.html", html(title));
    const Captured captured = capture(url("/page.html"), "webloc");
    expectArchive(captured);
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.webarchive"});
}

TEST_F(Output, IsAPDFOfAPageWithInlineFrames)
{
    server.on("/frame.html", html("inside"));
    expectPDF(print(title + "<iframe src=frame.html></iframe>outside"));
    EXPECT_NE(texts().find("inside"), std::string::npos);
    EXPECT_NE(texts().find("outside"), std::string::npos);
}

TEST_F(Output, OfAPageThatPrintsToNothingIsAnEmptyPage)
{
    for (const char* markup : {"", "<style>html{display:none}</style>x", "<style>body{display:none}</style>x"}) {
        SCOPED_TRACE(markup);
        for (const char* mode : {"pdf", "pdfSinglePage"}) {
            expectPDF(print(title + markup, mode));
            EXPECT_EQ(information()["Pages"], "1");
            EXPECT_EQ(texts(), "\f");
        }
    }
}

TEST_F(Output, ReplacesAnOlderFileAsAWhole)
{
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        (void)folder.write("output/page.pdf", std::string(1'000'000, 'x'));
        expectPDF(print(title, mode));
        EXPECT_LT(std::filesystem::file_size(pdfPath()), 100'000U);
    }
}

TEST_F(Output, ThatCannotBeWrittenIsAnError)
{
    struct Row {
        std::string path;
        bool isSinglePage;
    };
    (void)folder.write("a file", "");
    (void)folder.makeFolder("output/taken.pdf");
    for (const char* path : {"missing/page.webarchive", "a file/page.webarchive", "output/taken.webarchive",
             "/proc/page.webarchive"}) {   // where not even root may create a file
        for (const char* mode : {"pdf", "pdfSinglePage"}) {
            SCOPED_TRACE(path);
            SCOPED_TRACE(mode);
            server.on("/page.html", html(title));
            const Captured captured = captureWithArguments({url("/page.html"), folder.pathOf(path), "1", mode});
            EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
            EXPECT_EQ(captured.record.url, url("/page.html"));
            if (mode == std::string("pdf")) {
                expectError(captured, "com.brackenlow.tarnwick.webtool", 2);
                EXPECT_EQ(captured.record.errorString, "Error running print operation.");
            } else {
                EXPECT_EQ(readArchivedError(*captured.record.errorData).domain, "NSCocoaErrorDomain");
            }
        }
    }
    EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"taken.pdf"});
    EXPECT_FALSE(std::filesystem::exists(folder.pathOf("missing")));
}

TEST_F(Output, IsNotThereWhenTheEngineDiesWhilePrinting)
{
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        SCOPED_TRACE(mode);
        const std::string older = "an older file";
        (void)folder.write("output/page.pdf", older);
        server.on("/page.html",
            html(title
                + "<script>onbeforeprint=()=>{const asked=new "
                  "XMLHttpRequest();asked.open('GET','/printing',false);asked.send()}</script>x"));
        server.hold("/printing");
        const size_t before = server.requests("/printing").size();
        const auto process = start(url("/page.html"), mode);
        ASSERT_TRUE(server.waitForRequests("/printing", before + 1));
        // The engine's first process; the others end with it.
        for (const pid_t each : descendantsOf(process->processIdentifier())) {
            const std::string line = commandLineOf(each);
            if (line.find("--remote-debugging-pipe") != std::string::npos && line.find("--type=") == std::string::npos)
                kill(each, SIGKILL);
        }
        const Captured captured = finish(*process);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        if (mode == std::string("pdf"))
            expectError(captured, "com.brackenlow.tarnwick.webtool", 2);
        else
            expectError(captured, "NSCocoaErrorDomain", 512);
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>{"page.pdf"});
        EXPECT_EQ(readFile(pdfPath()), older);
        server.release("/printing");
    }
}

TEST_F(Output, IsMadeOfAPageWhoseScriptsAreOff)
{
    settings["EnableJavaScriptForWebTool"] = false;
    Captured captured;
    for (const char* mode : {"pdf", "pdfSinglePage"}) {
        expectPDF(captured = print(title
                          + "<style>body{margin:0}@page{size:A3}.v{height:100vh}</style><div class=v>x</div><div "
                            "style='height:2000px'></div><script>document.body.textContent='script'</script>",
                      mode));
        EXPECT_EQ(texts().find("script"), std::string::npos);
        EXPECT_NEAR(pageSize().first, 612, 0.51);
    }
    EXPECT_NEAR(pageSize().second, 2792, 0.51);
    // Without scripts nothing is waited for.
    EXPECT_LT(captured.seconds(), 15);
}

TEST_F(Output, OfARefusedFileIsAPageOnlyWhereSettingsAllow)
{
    server.on("/page.zip", typed("application/zip", "PK"));
    const Captured downloaded = capture(url("/page.zip"), "pdf");
    EXPECT_EQ(downloaded.record.path, folder.pathOf("output/page.zip"));
    std::filesystem::remove(folder.pathOf("output/page.zip"));
    // There is no document then: one page of it is empty, and there is nothing to paginate.
    settings["WebToolCreatePDFAfterPolicyChange"] = true;
    expectPDF(capture(url("/page.zip"), "pdfSinglePage"));
    EXPECT_TRUE(std::regex_search(plainForm(), std::regex("/MediaBox \\[\\s+0\\s+0\\s+0\\s+0\\s+\\]")));
    expectError(capture(url("/page.zip"), "pdf"), "com.brackenlow.tarnwick.webtool", 2);
}

}
