#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/PDFDocument.h"
#include "Tools/ToolTest.h"

#include <csignal>
#include <filesystem>
#include <optional>
#include <sys/resource.h>

namespace {

class PDFOutput : public ArchiveLoaderTest {
protected:
    [[nodiscard]] NSString pathOf(const std::string& name) const { return NSString::stringWithRepairedUTF8(folder.pathOf(name)); }
    [[nodiscard]] NSString pdfPath() const { return pathOf("page.pdf"); }
    void save(bool singlePage, const std::string& name = "page.webarchive")
    {
        EXPECT_THROW((void)loader().savePDFToPath(pathOf(name), singlePage), RunEnded);
    }
    void loadTitled(const NSString& url = u"http://www.h/")
    {
        load(url, [](Engine& told, const NSURLRequest& request) {
            told.openPage(Engine::main, request.URL().absoluteString(), u"<p>");
            told.title(Engine::main, u"A title");
            told.finish(Engine::main);
        });
    }
    [[nodiscard]] NSDictionary attributes() const
    {
        return PDFDocument::initWithURL(NSURL::fileURLWithPath(pdfPath(), false)).documentAttributes();
    }
    [[nodiscard]] static NSSize paper() { return NSPrintInfo::sharedPrintInfo().paperSize(); }
    [[nodiscard]] const PrintSettings& printed() const { return engine->prints().back(); }
    void setPolicyChange() { setError(NSError(WebKitErrorDomain, WebKitErrorFrameLoadInterruptedByPolicyChange)); }
};

TEST_F(PDFOutput, IsPossibleForPagesWithInlineFramesAndNotForFramesets)
{
    loadPage();
    EXPECT_TRUE(loader().canCreatePDF());
    engine->attachFrame("inline", Engine::main, {}, u"iframe");
    engine->attachFrame("object", Engine::main, {}, u"object");
    EXPECT_TRUE(loader().canCreatePDF());
    engine->attachFrame("frame", Engine::main, {}, u"frame");
    EXPECT_FALSE(loader().canCreatePDF());
}

TEST_F(PDFOutput, IsPossibleAfterAPolicyChangeOnlyWhereSettingsSaySo)
{
    loadPage();
    setPolicyChange();
    EXPECT_FALSE(loader().canCreatePDF());
    setLoadSettings("<key>WebToolCreatePDFAfterPolicyChange</key><string>x</string>");
    EXPECT_FALSE(loader().canCreatePDF());
    setLoadSettings("<key>WebToolCreatePDFAfterPolicyChange</key><true/>");
    EXPECT_TRUE(loader().canCreatePDF());
    engine->attachFrame("frame", Engine::main, {}, u"frame");
    EXPECT_FALSE(loader().canCreatePDF());
    forgetLoader();
    setLoadSettings({});
    loadPage();
    setError(NSError(WebKitErrorDomain, 103));
    EXPECT_TRUE(loader().canCreatePDF());
}

TEST_F(PDFOutput, IsTriedWhenTheEngineDoesNotTellWhetherThereAreFrames)
{
    loadPage();
    engine->attachFrame("frame", Engine::main, {}, u"frame");
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown));
    EXPECT_TRUE(loader().canCreatePDF());
}

TEST_F(PDFOutput, TellsTitleAddressAndPathOfThePDF)
{
    for (const bool singlePage : {false, true}) {
        SCOPED_TRACE(singlePage);
        forgetLoader();
        loadTitled();
        save(singlePage);
        EXPECT_EQ(record().keys, (Lines{"succeeded", "title", "url", "path"}));
        EXPECT_EQ(record().title, "A title");
        EXPECT_EQ(record().url, "http://www.h/");
        EXPECT_EQ(record().path, pdfPath().UTF8());
        EXPECT_EQ(attributes(),
            (NSDictionary{{PDFDocumentCreatorAttribute, u"Tarnwick"}, {PDFDocumentTitleAttribute, u"A title"},
                {PDFDocumentSubjectAttribute, u"http://www.h/"}, {PDFDocumentAuthorAttribute, u"h"},
                {PDFDocumentProducerAttribute, u"Scripted"}}));
        EXPECT_EQ(support::namesIn(folder.path()), (Lines{"page.pdf", "record.plist"}));
    }
}

struct NameRow {
    const char* given;
    const char* made;
};

TEST_F(PDFOutput, HasTheNameWithThePDFsExtension)
{
    loadTitled();
    for (const NameRow& row : {NameRow{"x.webarchive", "x.pdf"}, NameRow{"x", "x.pdf"}, NameRow{"x.pdf", "x.pdf"},
             NameRow{"x.y.z", "x.y.pdf"}, NameRow{"x.PDF", "x.pdf"}}) {
        SCOPED_TRACE(row.given);
        save(false, row.given);
        EXPECT_EQ(record().path, folder.pathOf(row.made));
        std::filesystem::remove(folder.pathOf(row.made));
    }
}

struct AuthorRow {
    NSString url;
    NSString author;
};

TEST_F(PDFOutput, IsByTheHostWithoutItsWWW)
{
    for (const AuthorRow& row : {AuthorRow{u"http://www.h/", u"h"}, AuthorRow{u"http://WWW.h/", u"WWW.h"},
             AuthorRow{u"http://www.www.h/", u"www.h"}, AuthorRow{u"http://wwwh/", u"wwwh"},
             AuthorRow{u"http://a.www.h:81/x", u"a.www.h"}, AuthorRow{u"file:///www.h/x", u""}}) {
        SCOPED_TRACE(row.url.UTF8());
        forgetLoader();
        loadTitled(row.url);
        save(false);
        EXPECT_EQ(attributes()[PDFDocumentAuthorAttribute], Value(row.author));
        EXPECT_EQ(attributes()[PDFDocumentSubjectAttribute], Value(row.url));
    }
}

TEST_F(PDFOutput, IsPrintedOnPaperWithEqualMargins)
{
    loadTitled();
    engine->sizeOfDocument = NSSize{2 * paper().width, 5000};
    save(false);
    EXPECT_EQ(engine->viewSize(), paper());
    EXPECT_EQ(engine->mediaType(), NSString(u"screen"));
    EXPECT_EQ(printed().paperSize, paper());
    for (const double margin : {printed().topMargin, printed().leftMargin, printed().bottomMargin, printed().rightMargin})
        EXPECT_EQ(margin, 36);
    EXPECT_NEAR(printed().scale, (paper().width - 72) / (2 * paper().width), 1e-9);
    EXPECT_TRUE(printed().printsBackgrounds);
    EXPECT_FALSE(printed().isUnbroken);
    EXPECT_EQ(engine->prints().size(), 1U);
    setLoadSettings("<key>Web2PDFPageMargin</key><integer>10</integer><key>PDFWebBackgrounds</key><false/>"
                    "<key>MediaStylePDF</key><string>print</string>");
    save(false);
    EXPECT_EQ(printed().bottomMargin, 10);
    EXPECT_FALSE(printed().printsBackgrounds);
    EXPECT_EQ(engine->mediaType(), NSString(u"print"));
}

TEST_F(PDFOutput, IsOnePageOfTheDocumentsSize)
{
    loadTitled();
    engine->sizeOfDocument = NSSize{700, 5000};
    setLoadSettings("<key>Web2PDFPageMargin</key><integer>10</integer><key>PDFWebBackgrounds</key><false/>");
    save(true);
    EXPECT_EQ(engine->viewSize(), paper());
    EXPECT_EQ(engine->timesShownWhole(), 1);
    EXPECT_EQ(printed().paperSize, (NSSize{700, 5000}));
    EXPECT_EQ(printed().topMargin, 0);
    EXPECT_EQ(printed().scale, 1);
    EXPECT_TRUE(printed().isUnbroken);
    EXPECT_FALSE(printed().printsBackgrounds);
}

TEST_F(PDFOutput, EndsWithAFatalErrorBeforeAnythingIsPrinted)
{
    loadTitled();
    setError(NSError(NSURLErrorDomain, NSURLErrorTimedOut));
    save(false);
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(archivedError().code, NSURLErrorTimedOut);
    EXPECT_TRUE(engine->prints().empty());
}

TEST_F(PDFOutput, ForgetsAForgivenError)
{
    loadTitled();
    setError(NSError(NSURLErrorDomain, NSURLErrorCancelled));
    save(true);
    EXPECT_TRUE(record().hasSucceeded());
}

// The failures carry neither title nor path.
TEST_F(PDFOutput, ThatCannotBePrintedIsAnErrorOfTheTool)
{
    loadTitled();
    engine->onPrint = [](const PrintSettings&) -> NSData { throw NSException(NSGenericException, u"The paper is stuck."); };
    folder.write("page.pdf", "older");
    save(false);
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(record().errorString, "Error running print operation.");
    EXPECT_EQ(record().url, "http://www.h/");
    EXPECT_EQ(archivedError().domain, "com.brackenlow.tarnwick.webtool");
    EXPECT_EQ(archivedError().code, 2);
    EXPECT_EQ(archivedError().userInfo.size(), 1U);
    EXPECT_EQ(archivedError().value(NSLocalizedDescriptionKey.UTF8()), "Error running print operation.");
    EXPECT_EQ(support::readFile(pdfPath().UTF8()), "older");
}

TEST_F(PDFOutput, WithMarginsThatLeaveNothingCannotBePrinted)
{
    loadTitled();
    setLoadSettings("<key>Web2PDFPageMargin</key><integer>1000</integer>");
    save(false);
    EXPECT_EQ(archivedError().code, 2);
    // They are no matter for one page.
    forgetLoader();
    loadTitled();
    save(true);
    EXPECT_TRUE(record().hasSucceeded());
}

TEST_F(PDFOutput, OnOnePageThatCannotBePrintedIsAWriteError)
{
    loadTitled();
    engine->onPrint = [](const PrintSettings&) -> NSData { throw NSException(NSGenericException, u"The paper is stuck."); };
    folder.write("page.pdf", "older");
    save(true);
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(archivedError().domain, "NSCocoaErrorDomain");
    EXPECT_EQ(archivedError().code, 512);
    EXPECT_EQ(archivedError().value(NSFilePathErrorKey.UTF8()), pdfPath().UTF8());
    EXPECT_EQ(support::readFile(pdfPath().UTF8()), "older");
}

TEST_F(PDFOutput, ThatCannotBeWrittenFailsThePrintOrTheWrite)
{
    for (const bool singlePage : {false, true}) {
        SCOPED_TRACE(singlePage);
        forgetLoader();
        loadTitled();
        save(singlePage, "missing/page.webarchive");
        EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(record().url, "http://www.h/");
        EXPECT_EQ(archivedError().domain, singlePage ? "NSCocoaErrorDomain" : "com.brackenlow.tarnwick.webtool");
        EXPECT_EQ(archivedError().code, singlePage ? 4 : 2);
    }
    EXPECT_EQ(support::namesIn(folder.path()), Lines{"record.plist"});
}

// Deliberate: there is nothing that could be written again, and no error that says so.
TEST_F(PDFOutput, ThatCannotBeReadAgainHasNeitherErrorNorPath)
{
    loadTitled();
    engine->onPrint = [](const PrintSettings&) { return NSData::dataWithBytes("no PDF"); };
    for (const bool singlePage : {false, true}) {
        SCOPED_TRACE(singlePage);
        save(singlePage);
        EXPECT_EQ(record().keys, (Lines{"succeeded", "url"}));
        EXPECT_TRUE(record().hasSucceeded());
        EXPECT_EQ(support::readFile(pdfPath().UTF8()), "no PDF");
    }
}

// No file may grow beyond so many bytes while this lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : _signal(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &_limit);
        rlimit limit = _limit;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &_limit);
        std::signal(SIGXFSZ, _signal);
    }

private:
    rlimit _limit = {};
    void (*_signal)(int);
};

TEST_F(PDFOutput, ThatCannotBeWrittenAgainIsAWriteError)
{
    loadTitled();
    engine->onPrint = [](const PrintSettings& settings) { return support::emptyPDF(settings.paperSize, 1000); };
    std::optional<FileSizeLimit> limit;
    onLog = [&](const std::string& message) {
        // Enough for the record and too little for the PDF.
        if (message.starts_with("printed: "))
            limit.emplace(20'000);
    };
    save(false);
    limit.reset();
    EXPECT_EQ(record().keys, (Lines{"succeeded", "errorData", "errorString", "url"}));
    EXPECT_EQ(archivedError().value(NSFilePathErrorKey.UTF8()), pdfPath().UTF8());
    // What was printed is still there, whole.
    EXPECT_EQ(PDFDocument::initWithURL(NSURL::fileURLWithPath(pdfPath(), false)).pageCount(), 1000U);
    EXPECT_EQ(support::namesIn(folder.path()), (Lines{"page.pdf", "record.plist"}));
}

TEST_F(PDFOutput, WithoutAFileAfterPrintingHasNoRecord)
{
    loadTitled();
    onLog = [this](const std::string& message) {
        if (message.starts_with("printed: "))
            std::filesystem::remove(pdfPath().UTF8());
    };
    for (const bool singlePage : {false, true}) {
        SCOPED_TRACE(singlePage);
        EXPECT_FALSE(loader().savePDFToPath(pathOf("page.webarchive"), singlePage));
        EXPECT_EQ(support::namesIn(folder.path()), Lines());
    }
}

TEST_F(PDFOutput, WithoutADocumentIsAnEmptyRectangleOrFails)
{
    load(u"http://h/", [](Engine& told, const NSURLRequest&) { told.fail(Engine::main, NSURLErrorCancelled); });
    save(true);
    EXPECT_EQ(record().keys, (Lines{"succeeded", "title", "url", "path"}));
    EXPECT_NE(support::readFile(pdfPath().UTF8()).find("/MediaBox [ 0 0 0 0 ]"), std::string::npos);
    EXPECT_EQ(PDFDocument::initWithURL(NSURL::fileURLWithPath(pdfPath(), false)).pageCount(), 1U);
    EXPECT_TRUE(engine->prints().empty());
    save(false);
    EXPECT_EQ(archivedError().code, 2);
}

}
