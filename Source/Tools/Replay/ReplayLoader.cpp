#include "Tools/Replay/ReplayLoader.h"

#include "Platform/Foundation/NSDate.h"
#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Web/WebFrameView.h"
#include "QVRSettings.h"

namespace {

const NSString LogWebReplay = u"LogWebReplay";
// How long a page is believed to need after it has reported that nothing is loading, though something is. Seconds.
constexpr double trustAfterFinish = 10;
// The longest wait, for a page that never reports that. Seconds.
constexpr double longestWait = 60;

}

ReplayLoader::ReplayLoader(const PageEngineMaker& makeEngine, ReplayDelegate& delegate) : Loader(makeEngine)
{
    _view->setResourceLoadDelegate(&delegate);
}

void ReplayLoader::showArchive(const WebArchive& archive)
{
    WebPreferences& preferences = _view->preferences();
    preferences.setJavaScriptEnabled(qvrBoolForKey(u"EnableJavaScriptForWebTool", HostDomain, true));
    preferences.setJavaEnabled(false);
    preferences.setPlugInsEnabled(shouldEnablePlugIns());
    _timeoutDate = NSDate::dateWithTimeIntervalSinceNow(longestWait);
    startLoading();
    _view->mainFrame()->loadArchive(archive);
    waitUntilDone();
}

NSData ReplayLoader::PDF()
{
    _view->setFrameSize(NSPrintInfo::sharedPrintInfo().paperSize());
    _view->preferences().setShouldPrintBackgrounds(qvrBoolForKey(u"PDFWebBackgrounds", HostDomain, true));
    const NSString mediaStyle = qvrObjectForKey(u"MediaStylePDF", HostDomain, {}).string();
    _view->setMediaStyle(mediaStyle ? mediaStyle : NSString(u"screen"));
    NSPrintInfo info(NSPrintInfo::sharedPrintInfo().dictionary());
    info.setHorizontalPagination(NSFitPagination);
    info.setVerticalPagination(NSAutoPagination);
    info.setTopMargin(margin());
    info.setBottomMargin(margin());
    info.setLeftMargin(margin());
    info.setRightMargin(margin());
    const auto frameView = _view->mainFrame()->frameView();
    WebDocumentView* documentView = frameView ? frameView->documentView() : nullptr;
    return documentView ? documentView->dataWithPDFForPrintInfo(info) : NSData();
}

NSData ReplayLoader::markup()
{
    const DOMDocument document = _view->mainFrame()->DOMDocument();
    const WebResource page = document ? document.webArchive().mainResource() : WebResource();
    // What is no markup is kept as it was sent.
    const NSString type = page.MIMEType().lowercaseString();
    const bool isMarkup = type == NSString(u"text/html") || type.hasSuffix(u"/xml") || type.hasSuffix(u"+xml");
    return isMarkup ? page.data() : NSData();
}

const NSString& ReplayLoader::logArea() const
{
    return LogWebReplay;
}

void ReplayLoader::progressFinished(const NSNotification& notification)
{
    Loader::progressFinished(notification);
    if (qvrBoolForKey(u"WebToolTrustFinishedNotification", HostDomain, true))
        _timeoutDate = NSDate::dateWithTimeIntervalSinceNow(trustAfterFinish);
}

NSError ReplayLoader::errorToRemember(const NSError& error)
{
    // Nothing more comes to a page that is not there.
    extendFinishDate(0);
    return error;
}
