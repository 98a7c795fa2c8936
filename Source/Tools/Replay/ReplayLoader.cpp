#include "Tools/Replay/ReplayLoader.h"

#include "Platform/Print/NSPrintInfo.h"
#include "Platform/Web/WebFrameView.h"
#include "QVRSettings.h"

namespace {

const NSString LogWebReplay = u"LogWebReplay";
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
    _timeoutDate = Deadline::after(longestWait);
    startLoading();
    _view->mainFrame()->loadArchive(archive);
    waitUntilDone();
}

NSData ReplayLoader::PDF()
{
    prepareViewForPaper();
    const NSPrintInfo info = printInfoWithSettings(NSPrintInfo::sharedPrintInfo().dictionary());
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
    (void)trustFinishedNotification();
}

NSError ReplayLoader::errorToRemember(const NSError& error)
{
    // Nothing more comes to a page that is not there.
    extendFinishDate(0);
    return error;
}
