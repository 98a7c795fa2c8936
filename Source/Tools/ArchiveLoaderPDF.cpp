#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Print/NSPrintOperation.h"
#include "Platform/Print/NSWindow.h"
#include "Platform/Print/PDFDocument.h"
#include "Platform/Web/WebFrameView.h"
#include "QVRError.h"
#include "QVRPath.h"
#include "QVRSettings.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/ResultRecord.h"
#include "Tools/SourceFile.h"

// The PDF output.

namespace {

// By how much the window that the page is printed in is larger than the paper, both ways. Points.
constexpr double windowAllowance = 200;

NSString orEmpty(const NSString& string)
{
    return string ? string : NSString(u"");
}

// The author of a page: its host, without one "www." in front. Deliberate: in these small letters only.
NSString authorOfURL(const NSString& url)
{
    const NSString www = u"www.";
    const NSString host = NSURL::URLWithString(orEmpty(url)).host();
    return orEmpty(host.hasPrefix(www) ? host.substringFromIndex(www.length()) : host);
}

}

bool ArchiveLoader::canCreatePDF() const
{
    const bool isAfterPolicyChange = qvrHasDomain(_error, WebKitErrorDomain, WebKitErrorFrameLoadInterruptedByPolicyChange);
    if (isAfterPolicyChange && !qvrBoolForKey(u"WebToolCreatePDFAfterPolicyChange", HostDomain, false))
        return false;
    try {
        return !isShowingFrames();
    } catch (const NSException&) {
        // The engine does not tell any more. Printing will say so.
        return true;
    }
}

bool ArchiveLoader::savePDFToPath(const NSString& path, bool singlePage)
{
    failIfFatalError();
    const NSString pdfPath = qvrChild(qvrParent(path), qvrWithExtension(qvrBasename(path), u"pdf"));

    // The view on paper, in a window that nobody sees.
    const NSSize paper = NSPrintInfo::sharedPrintInfo().paperSize();
    const NSRect content = {{0, 0}, {paper.width + windowAllowance, paper.height + windowAllowance}};
    NSWindow window(content, NSWindowStyleMaskBorderless, NSBackingStoreRetained, false);
    prepareViewForPaper();
    window.contentView().addSubview(*_view);
    const auto frameView = _view->mainFrame()->frameView();
    WebDocumentView* documentView = frameView ? frameView->documentView() : nullptr;

    // From here on the error is of this operation.
    _error = {};
    if (singlePage)
        writeSinglePage(documentView, pdfPath);
    else
        printPages(documentView, pdfPath);
    logFile(sourceFile, __LINE__, __func__, u"printed: %@", pdfPath);
    if (!qvrFileExists(pdfPath))
        return false;

    PDFDocument document = PDFDocument::initWithURL(NSURL::fileURLWithPath(pdfPath, false));
    NSMutableDictionary attributes = document.documentAttributes();
    attributes.setObject(NSString(u"Tarnwick"), PDFDocumentCreatorAttribute);
    attributes.setObject(orEmpty(pageTitle()), PDFDocumentTitleAttribute);
    attributes.setObject(orEmpty(_newURLString), PDFDocumentSubjectAttribute);
    attributes.setObject(authorOfURL(_newURLString), PDFDocumentAuthorAttribute);
    document.setDocumentAttributes(attributes);
    if (document.writeToFile(pdfPath, &_error))
        finishWithErrorAndTitleAndURL({}, pageTitle(), _newURLString, pdfPath);
    // Deliberate: what is no PDF cannot be written either, and that has no error.
    finishWithErrorAndTitleAndURL(_error, {}, _newURLString, {});
}

// Ends the run when the file cannot be written. Without a document view it is a page of an empty rectangle.
void ArchiveLoader::writeSinglePage(WebDocumentView* documentView, const NSString& path)
{
    NSRect whole;
    NSData page;
    if (documentView) {
        documentView->setFrame(documentView->bounds());
        documentView->layout();
        whole = documentView->bounds();
        page = documentView->dataWithPDFInsideRect(whole);
    } else {
        page = NSView(whole).dataWithPDFInsideRect(whole);
    }
    // A page that could not be printed is nothing to write.
    if (!page)
        _error = NSError(NSCocoaErrorDomain, NSFileWriteUnknownError, {{NSFilePathErrorKey, path}});
    if (!page || !page.writeToFile(path, NSDataWritingAtomic, &_error))
        finishWithErrorAndTitleAndURL(_error, {}, _newURLString, {});
}

// Ends the run when the pages cannot be printed.
void ArchiveLoader::printPages(WebDocumentView* documentView, const NSString& path)
{
    NSMutableDictionary settings = NSPrintInfo::sharedPrintInfo().dictionary();
    settings.setObject(NSPrintSaveJob, NSPrintJobDisposition);
    settings.setObject(NSURL::fileURLWithPath(path, false), NSPrintJobSavingURL);
    NSPrintOperation operation = NSPrintOperation::printOperationWithView(documentView, printInfoWithSettings(settings));
    operation.setShowsPrintPanel(false);
    operation.setShowsProgressPanel(false);
    if (operation.runOperation())
        return;
    _error =
        NSError(WebToolErrorDomain, WebToolErrorPrintFailed, {{NSLocalizedDescriptionKey, u"Error running print operation."}});
    finishWithErrorAndTitleAndURL(_error, {}, _newURLString, {});
}
