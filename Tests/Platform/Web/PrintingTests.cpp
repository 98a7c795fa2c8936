#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/NSWindow.h"
#include "Platform/Print/PDFDocument.h"
#include "Platform/Web/ViewTest.h"
#include "Platform/Web/WebFrameView.h"

namespace {

class Printing : public ViewTest {
protected:
    Printing()
    {
        engine->showPage("main", u"http://h/", u"<p>");
        view->setFrameSize({612, 792});
    }
    [[nodiscard]] WebDocumentView& documentView() { return *mainFrame()->frameView()->documentView(); }
    [[nodiscard]] static NSPrintInfo info(double margin = 36)
    {
        NSPrintInfo info;
        info.setPaperSize({612, 792});
        info.setHorizontalPagination(NSFitPagination);
        info.setTopMargin(margin);
        info.setBottomMargin(margin);
        info.setLeftMargin(margin);
        info.setRightMargin(margin);
        return info;
    }
};

TEST_F(Printing, TellsTheEngineSizeAndMedia)
{
    view->setFrame({{5, 5}, {300, 400}});
    view->setMediaStyle(u"print");
    EXPECT_EQ(engine->viewSize(), (NSSize{300, 400}));
    EXPECT_EQ(engine->mediaType(), NSString(u"print"));
    EXPECT_EQ(view->frame(), (NSRect{{5, 5}, {300, 400}}));
    NSWindow window({{0, 0}, {10, 10}}, NSWindowStyleMaskBorderless, NSBackingStoreRetained, false);
    window.contentView().addSubview(*view);
    EXPECT_EQ(view->window(), &window);
}

TEST_F(Printing, HasADocumentViewOnlyWithADocument)
{
    EXPECT_NE(mainFrame()->frameView()->documentView(), nullptr);
    EXPECT_EQ(mainFrame()->frameView(), mainFrame()->frameView());
    engine->attachFrame("f");
    engine->showPage("f", u"http://h/f", u"<p>");
    EXPECT_EQ(mainFrame()->childFrames()[0]->frameView()->documentView(), nullptr);
    const auto frame = mainFrame();
    const auto frameView = frame->frameView();
    view.reset();
    EXPECT_EQ(frame->frameView(), nullptr);
    EXPECT_EQ(frameView->documentView(), nullptr);
}

TEST_F(Printing, BoundsAreTheDocuments)
{
    EXPECT_EQ(documentView().bounds(), (NSRect{{0, 0}, {612, 792}}));
    engine->sizeOfDocument = {700, 5000};
    EXPECT_EQ(documentView().bounds(), (NSRect{{0, 0}, {700, 5000}}));
}

TEST_F(Printing, ShowsTheWholeDocumentWhenItsFrameIsHigherThanTheView)
{
    documentView().setFrame(documentView().bounds());
    documentView().layout();
    EXPECT_EQ(engine->timesShownWhole(), 0);
    engine->sizeOfDocument = {612, 793};
    documentView().setFrame(documentView().bounds());
    documentView().layout();
    EXPECT_EQ(engine->timesShownWhole(), 1);
}

TEST_F(Printing, PrintsOnePageOfTheDocumentsSize)
{
    engine->sizeOfDocument = {700, 20000};
    view->preferences().setShouldPrintBackgrounds(true);
    const NSData data = documentView().dataWithPDFInsideRect(documentView().bounds());
    ASSERT_EQ(engine->prints().size(), 1U);
    const PrintSettings& settings = engine->prints()[0];
    EXPECT_EQ(settings.paperSize, (NSSize{700, 20000}));
    EXPECT_EQ(settings.scale, 1);
    EXPECT_EQ(settings.topMargin, 0);
    EXPECT_TRUE(settings.isUnbroken);
    EXPECT_TRUE(settings.printsBackgrounds);
    EXPECT_EQ(PDFDocument::initWithData(data).pageCount(), 1U);
    EXPECT_NE(data.characters().find("/UserUnit 2"), std::string_view::npos);
    // What is asked for may be less or more than the document.
    (void)documentView().dataWithPDFInsideRect({{600, 100}, {200, 50}});
    EXPECT_EQ(engine->prints()[1].paperSize, (NSSize{800, 20000}));
}

TEST_F(Printing, StacksWhatCameOutOnSeveralPages)
{
    engine->onPrint = [](const PrintSettings& settings) { return support::emptyPDF(settings.paperSize, 3); };
    EXPECT_EQ(PDFDocument::initWithData(documentView().dataWithPDFInsideRect({{0, 0}, {612, 2376}})).pageCount(), 1U);
}

TEST_F(Printing, GivesOnWhatIsNoPDF)
{
    engine->onPrint = [](const PrintSettings&) { return NSData::dataWithBytes("no PDF"); };
    EXPECT_EQ(documentView().dataWithPDFInsideRect({{0, 0}, {10, 10}}), NSData::dataWithBytes("no PDF"));
    EXPECT_EQ(documentView().dataWithPDFForPrintInfo(info()), NSData::dataWithBytes("no PDF"));
}

struct FitRow {
    double width;   // of the document
    double margin;
    double scale;
    double paperWidth;
};

TEST_F(Printing, FitsTheDocumentsWidthBetweenTheMargins)
{
    for (const FitRow& row : {FitRow{612, 36, 540.0 / 612, 612}, FitRow{612, 0, 1, 612}, FitRow{540, 36, 1, 612},
             FitRow{300, 36, 1, 612}, FitRow{5400, 36, 0.1, 612}, FitRow{7200, 36, 0.075, 612}, FitRow{14400, 36, 0.075, 1224}}) {
        SCOPED_TRACE(row.width);
        engine->sizeOfDocument = {row.width, 5000};
        const NSData pages = documentView().dataWithPDFForPrintInfo(info(row.margin));
        const PrintSettings& settings = engine->prints().back();
        EXPECT_NEAR(settings.scale, row.scale, 1e-9);
        EXPECT_NEAR(settings.paperSize.width, row.paperWidth, 1e-6);
        EXPECT_NEAR(settings.leftMargin, row.margin * row.paperWidth / 612, 1e-6);
        EXPECT_FALSE(settings.isUnbroken);
        EXPECT_FALSE(settings.printsBackgrounds);
        EXPECT_EQ(PDFDocument::initWithData(pages).pageCount(), 1U);
    }
    EXPECT_EQ(engine->timesShownWhole(), 0);
}

TEST_F(Printing, ScalesNothingWithoutFitting)
{
    engine->sizeOfDocument = {5000, 5000};
    NSPrintInfo automatic = info();
    automatic.setHorizontalPagination(NSAutoPagination);
    (void)documentView().dataWithPDFForPrintInfo(automatic);
    EXPECT_EQ(engine->prints().back().scale, 1);
}

TEST_F(Printing, HasNoPagesWhereMarginsLeaveNothing)
{
    EXPECT_FALSE(documentView().dataWithPDFForPrintInfo(info(306)));
    EXPECT_FALSE(documentView().dataWithPDFForPrintInfo(info(1000)));
    EXPECT_TRUE(engine->prints().empty());
}

TEST_F(Printing, IsEmptyOrAbsentWithoutAnEngine)
{
    engine->failEngine(NSError(NSURLErrorDomain, NSURLErrorUnknown));
    EXPECT_EQ(documentView().bounds(), NSRect());
    documentView().setFrame({{0, 0}, {612, 5000}});
    documentView().layout();
    EXPECT_FALSE(documentView().dataWithPDFInsideRect({{0, 0}, {612, 792}}));
    EXPECT_FALSE(documentView().dataWithPDFForPrintInfo(info()));
}

TEST_F(Printing, OfAnEmptyRectangleIsAPage)
{
    EXPECT_EQ(PDFDocument::initWithData(documentView().dataWithPDFInsideRect({})).pageCount(), 1U);
    EXPECT_TRUE(engine->prints().empty());
}

}
