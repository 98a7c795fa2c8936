#include "Platform/Web/WebDocumentView.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Print/BlankPDF.h"
#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/PDFPages.h"
#include "Platform/Web/WebPage.h"
#include "Platform/Web/WebView.h"

#include <algorithm>

NSRect WebDocumentView::bounds()
{
    const std::shared_ptr<WebPage> page = _page.lock();
    try {
        return page ? NSRect{{0, 0}, page->documentSize()} : NSRect();
    } catch (const NSException&) {
        return {};
    }
}

void WebDocumentView::layout()
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!page || !page->view() || frame().size.height <= page->view()->frame().size.height)
        return;
    try {
        (void)page->showWhole();
    } catch (const NSException&) {
        // Whoever asks next finds out.
    }
}

NSData WebDocumentView::dataWithPDFInsideRect(NSRect rect)
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!page || !page->view())
        return {};
    if (rect.size.width <= 0 || rect.size.height <= 0)
        return blankPDF({0, 0});
    PrintSettings settings;
    // The paper begins at the document's corner, and all of the document must be on it.
    const NSSize whole = bounds().size;
    settings.paperSize = {
        std::max(rect.origin.x + rect.size.width, whole.width), std::max(rect.origin.y + rect.size.height, whole.height)};
    settings.printsBackgrounds = page->view()->preferences().shouldPrintBackgrounds();
    settings.isUnbroken = true;
    try {
        const NSData printed = page->print(settings);
        const NSData pdf = pdfAsOnePage(printed, rect);
        // What is no PDF is not for us to judge.
        return pdf ? pdf : printed;
    } catch (const NSException&) {
        return {};
    }
}

NSData WebDocumentView::dataWithPDFForPrintInfo(const NSPrintInfo& info)
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!page || !page->view())
        return {};
    PrintSettings settings;
    settings.paperSize = info.paperSize();
    settings.topMargin = info.topMargin();
    settings.leftMargin = info.leftMargin();
    settings.bottomMargin = info.bottomMargin();
    settings.rightMargin = info.rightMargin();
    settings.printsBackgrounds = page->view()->preferences().shouldPrintBackgrounds();
    const double printableWidth = settings.paperSize.width - settings.leftMargin - settings.rightMargin;
    const double printableHeight = settings.paperSize.height - settings.topMargin - settings.bottomMargin;
    if (printableWidth <= 0 || printableHeight <= 0)
        return {};
    try {
        const double width = page->documentSize().width;
        if (info.horizontalPagination() == NSFitPagination && width > printableWidth)
            settings.scale = printableWidth / width;
        // What the engine cannot make so small is printed on larger paper, and that made smaller.
        const double enlarged = std::max(1.0, PrintSettings::smallestScale / settings.scale);
        if (enlarged == 1)
            return page->print(settings);
        settings.scale = PrintSettings::smallestScale;
        for (double* length : {&settings.paperSize.width, &settings.paperSize.height, &settings.topMargin, &settings.leftMargin,
                 &settings.bottomMargin, &settings.rightMargin})
            *length *= enlarged;
        return pdfScaled(page->print(settings), 1 / enlarged);
    } catch (const NSException&) {
        return {};
    }
}
