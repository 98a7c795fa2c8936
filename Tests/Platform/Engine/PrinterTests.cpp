#include "Platform/Engine/PageEngineFactory.h"
#include "Platform/Engine/SilentPageEngineClient.h"
#include "Platform/Foundation/NSException.h"
#include "Support/TestServer.h"
#include "Support/Waiting.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

using namespace std::chrono_literals;

namespace {

// The real engine, with a page from a server.
class PrinterTest : public testing::Test, public SilentPageEngineClient {
protected:
    PrinterTest()
    {
        PageEngineOptions options;
        options.viewSize = {300, 200};
        options.readsLocalFiles = true;
        engine = makePageEngine(options);
        engine->setClient(this);
    }
    ~PrinterTest() override { engine->setClient(nullptr); }

    void show(const std::string& markup)
    {
        isFinished = false;
        server.on("/page.html", support::html("<!DOCTYPE html><style>body{margin:0}</style>" + markup));
        const NSURL url = NSURL::URLWithString(NSString::stringWithRepairedUTF8(server.url("/page.html")));
        engine->load(NSURLRequest::requestWithURL(url), {});
        ASSERT_TRUE(support::runLoopUntil([&] { return isFinished; }));
    }
    static auto soon() { return std::chrono::steady_clock::now() + 30s; }
    [[nodiscard]] std::string print(const PrintSettings& settings)
    {
        return std::string(engine->print(settings, soon()).characters());
    }
    static size_t countOf(std::string_view part, std::string_view text)
    {
        size_t count = 0;
        for (size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
            ++count;
        return count;
    }
    // A PNG's own width and height.
    static NSSize sizeOfPicture(const NSData& picture)
    {
        const std::string_view bytes = picture.characters();
        const auto number = [&](size_t at) {
            double value = 0;
            for (size_t index = at; index < at + 4 && index < bytes.size(); ++index)
                value = value * 256 + static_cast<unsigned char>(bytes[index]);
            return value;
        };
        return bytes.starts_with("\x89PNG") ? NSSize{number(16), number(20)} : NSSize();
    }

    support::TestServer server;
    std::unique_ptr<PageEngine> engine;
    bool isFinished = false;
    NSError failure;

private:
    void navigationFailed(const FrameID&, const NSError& error) override { failure = error; }
    void documentFinished(const FrameID&) override { isFinished = true; }
    void documentFailed(const FrameID&, const NSError& error) override { failure = error; }
    void engineFailed(const NSError& error) override { failure = error; }
};

TEST_F(PrinterTest, MeasuresTheDocumentForTheSizeOfTheView)
{
    show("<div style='height:1000px'></div>");
    EXPECT_EQ(engine->documentSize(soon()), (NSSize{300, 1000}));
    engine->setViewSize({500, 1200});
    EXPECT_EQ(engine->documentSize(soon()), (NSSize{500, 1200}));
    show("<div style='width:2000px;height:10px'></div>");
    EXPECT_EQ(engine->documentSize(soon()), (NSSize{2000, 1200}));
}

TEST_F(PrinterTest, LaysThePageOutForTheMediaType)
{
    show("<style>div{height:1000px}@media print{div{height:2000px}}</style><div></div>");
    EXPECT_EQ(engine->documentSize(soon()).height, 1000);
    engine->setMediaType(u"print");
    EXPECT_EQ(engine->documentSize(soon()).height, 2000);
    engine->setMediaType(u"screen");
    EXPECT_EQ(engine->documentSize(soon()).height, 1000);
    engine->setMediaType({});
    EXPECT_EQ(engine->documentSize(soon()).height, 1000);
}

TEST_F(PrinterTest, PrintsPagesOfThePaperItIsGiven)
{
    // The document would have it otherwise.
    show("<style>@page{size:A3 landscape;margin:3in!important}@page :first{margin:2in}</style><div style='height:2000px'></div>");
    PrintSettings settings;
    settings.paperSize = {600, 480};
    settings.topMargin = settings.bottomMargin = 50;
    EXPECT_EQ(countOf("/MediaBox [0 0 600 480]", print(settings)), 6U);
    settings.topMargin = settings.bottomMargin = 0;
    EXPECT_EQ(countOf("/MediaBox [0 0 600 480]", print(settings)), 5U);
    settings.scale = 0.5;
    EXPECT_EQ(countOf("/MediaBox [0 0 600 480]", print(settings)), 3U);
}

TEST_F(PrinterTest, TakesTheWholeDocumentOnOnePaper)
{
    show("<style>p{break-before:page;page:a;margin:0;height:100px}@page a{size:5in 5in}</style><p>a<p>b<p>c");
    PrintSettings settings;
    settings.paperSize = engine->documentSize(soon());
    EXPECT_EQ(countOf("/MediaBox", print(settings)), 3U);
    settings.isUnbroken = true;
    EXPECT_EQ(countOf("/MediaBox", print(settings)), 1U);
}

TEST_F(PrinterTest, GivesAPictureOfTheWholeDocument)
{
    show("<div style='height:1000px;width:700px'></div>");
    EXPECT_EQ(sizeOfPicture(engine->picture(soon())), (NSSize{700, 1000}));
    EXPECT_EQ(engine->documentSize(soon()), (NSSize{700, 1000}));
    show("");
    EXPECT_EQ(sizeOfPicture(engine->picture(soon())), (NSSize{300, 200}));
}

TEST_F(PrinterTest, IsNotHeldUpByAPageThatAsks)
{
    show("<script>onbeforeprint=onresize=()=>{alert(1);confirm(2)}</script>");
    engine->setViewSize({400, 300});
    EXPECT_EQ(engine->documentSize(soon()), (NSSize{400, 300}));
    PrintSettings settings;
    settings.paperSize = {400, 300};
    EXPECT_EQ(countOf("/MediaBox", print(settings)), 1U);
}

TEST_F(PrinterTest, SaysWhenTheEngineRefuses)
{
    show("");
    PrintSettings settings;
    settings.paperSize = {0, 0};
    settings.scale = PrintSettings::smallestScale / 2;
    EXPECT_THROW((void)engine->print(settings, soon()), NSException);
}

TEST(Printer, WithoutAnEngineThrows)
{
    PageEngineOptions options;
    options.enginePath = u"/does/not/exist";
    const auto engine = makePageEngine(options);
    const auto soon = std::chrono::steady_clock::now() + 30s;
    engine->setViewSize({1, 1});
    engine->setMediaType(u"print");
    EXPECT_THROW((void)engine->documentSize(soon), NSException);
    EXPECT_THROW((void)engine->print({}, soon), NSException);
    EXPECT_THROW((void)engine->picture(soon), NSException);
}

}
