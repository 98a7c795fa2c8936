#include "Tools/Loader.h"

#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "Platform/Foundation/NSURLCache.h"
#include "QVRErrorDescription.h"
#include "QVRProcessInfo.h"
#include "QVRSettings.h"

#include <optional>
#include <utility>

namespace {

constexpr const char* sourceFile = "Source/Tools/loader";
constexpr NSSize viewSize = {612, 612};
constexpr double slice = 0.2;                  // seconds
constexpr double timeAfterFinishReport = 10;   // seconds

// Stands in the list of what is loading for a page whose first frame has not started.
const NSString rootPage = u"rootPage";

}

Loader::Loader(const PageEngineMaker& makeEngine, bool readsLocalFiles)
{
    clearURLCache();
    PageEngineOptions options;
    options.enginePath = qvrObjectForKey(u"WebToolEnginePath", HostDomain, {}).string();
    options.viewSize = viewSize;
    options.readsLocalFiles = readsLocalFiles;
    // Told while the view is being made, and by then the subclass has no area yet: it is logged with the first wait.
    options.report = [this](const NSString& text) { _engineReport = text; };
    _view = std::make_unique<WebView>(NSRect{{0, 0}, viewSize}, NSString(), NSString(), makeEngine(options));
    _view->setFrameLoadDelegate(this);
    _view->setPolicyDelegate(this);
    _view->setResourceLoadDelegate(this);
    _progressObserver = NSNotificationCenter::defaultCenter().addObserverForName(WebViewProgressFinishedNotification, _view.get(),
        [this](const NSNotification& notification) { progressFinished(notification); });
}

Loader::~Loader() = default;

const NSString& Loader::logArea() const
{
    throw NSException(NSInvalidArgumentException, u"-[Loader logArea]: unrecognized selector sent to instance");
}

void Loader::clearURLCache()
{
    NSURLCache& cache = NSURLCache::sharedURLCache();
    cache.removeAllCachedResponses();
    cache.setDiskCapacity(0);
    cache.setMemoryCapacity(0);
}

void Loader::startLoading()
{
    _objectsLoading.addObject(rootPage);
}

void Loader::waitUntilDone()
{
    // The settings of this wait.
    const bool usesPool = qvrBoolForKey(u"LoaderUsePool", HostDomain, qvrIsMacOSAtLeast10_9());
    bool isGracePeriodOver = false;
    if (const NSString report = std::exchange(_engineReport, {}))
        logFile(sourceFile, __LINE__, __func__, u"%@", report);
    for (;;) {
        // Each pass has its own pool.
        std::optional<NSAutoreleasePool> pool;
        if (usesPool)
            pool.emplace();
        // What is still loading.
        logObjectsLoading();
        // The early ends. Deliberate: they leave the pass's pool to the one around it.
        const bool hasAllThatIsWanted = _justTitle && hasPageTitle();
        const bool isTimedOut = !hasAllThatIsWanted && _timeoutDate.hasPassed();
        if (isTimedOut)
            logFile(sourceFile, __LINE__, __func__, u"Timing out");
        if (hasAllThatIsWanted || isTimedOut) {
            if (pool)
                pool->leaveOpen();
            break;
        }
        // A slice, in which all news arrives.
        postProgress(_view->estimatedProgress());
        NSRunLoop::currentRunLoop().runUntilDate(NSDate::dateWithTimeIntervalSinceNow(slice));
        // The grace period begins with the first pass that ends with nothing loading. Once over, it stays over.
        if (_objectsLoading.count() == 0) {
            logFile(sourceFile, __LINE__, __func__, u"Extra wait in loop for WebView to finish loading: %@", _finishDate.date());
            if (!_finishDate)
                extendFinishDate(static_cast<double>(webToolExtraLoadingTime()));
            if (_finishDate.hasPassed())
                isGracePeriodOver = true;
        }
        // Done, or another pass.
        if (isGracePeriodOver && _objectsLoading.count() == 0)
            break;
    }
    // The next attempt has a grace period of its own.
    _finishDate = {};
    logFile(sourceFile, __LINE__, __func__, u"done loading: %@", _objectsLoading);
}

void Loader::logObjectsLoading() const
{
    if (!QVRLogger::isSharedLoggerEnabledForArea(logArea()))
        return;
    logFile(sourceFile, __LINE__, "waitUntilDone", u"Loading %d objects:", static_cast<int>(_objectsLoading.count()));
    for (const Value& object : _objectsLoading) {
        const auto frame = std::dynamic_pointer_cast<const WebFrame>(object.object());
        if (!frame) {
            logFile(sourceFile, __LINE__, "waitUntilDone", u"    %@", object);
            continue;
        }
        const WebDataSource shown = frame->dataSource();
        const WebDataSource coming = frame->provisionalDataSource();
        logFile(sourceFile, __LINE__, "waitUntilDone", u"    %@: dataSource %@ (%@); provisionalDataSource: %@ (%@)", *frame,
            shown.request().URL(), shown.response().MIMEType(), coming.request().URL(), coming.response().MIMEType());
    }
}

void Loader::extendFinishDate(double seconds)
{
    _finishDate = Deadline::after(seconds);
}

void Loader::progressFinished(const NSNotification&)
{
    logFile(sourceFile, __LINE__, __func__, u"Progress finished");
}

bool Loader::trustFinishedNotification()
{
    if (!qvrBoolForKey(u"WebToolTrustFinishedNotification", HostDomain, true))
        return false;
    _timeoutDate = Deadline::after(timeAfterFinishReport);
    return true;
}

void Loader::postProgress(double) { }

NSString Loader::pageTitle() const
{
    return _view->mainFrame()->dataSource().pageTitle();
}

bool Loader::hasPageTitle() const
{
    return _receivedTitle && pageTitle();
}

int64_t Loader::webToolTimeout() const
{
    return qvrIntegerForKey(u"WebToolTimeout", HostDomain, 10);
}

bool Loader::shouldEnablePlugIns() const
{
    return qvrBoolForKey(u"WebToolEnableWebPlugIns", HostDomain, false);
}

int64_t Loader::maxTriesBeforeTimeout() const
{
    return qvrIntegerForKey(u"WebToolMaxTriesBeforeTimeout", HostDomain, 3);
}

int64_t Loader::webToolExtraLoadingTime() const
{
    return _justTitle ? 0 : qvrIntegerForKey(u"WebToolExtraLoadingTime", HostDomain, 2);
}

double Loader::margin() const
{
    return static_cast<double>(qvrIntegerForKey(u"Web2PDFPageMargin", HostDomain, 36));
}

void Loader::webViewDidReceiveTitle(WebView&, const NSString&, const std::shared_ptr<WebFrame>&)
{
    _receivedTitle = true;
}

void Loader::webViewDidStartProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame)
{
    // From here on the frames themselves stand for the page.
    _objectsLoading.removeObject(rootPage);
    const NSURL url = frame ? frame->provisionalDataSource().request().URL() : NSURL();
    if (!frame) {
        QVRLogger::logFileIfEnabled(sourceFile, __LINE__, __func__, NSString(), u"didStartProvisionalLoadForFrame got nil frame");
    } else if (url.scheme() != NSString(u"about")) {
        // Blank and internal frames are never waited for.
        _objectsLoading.addObject(frame);
    }
    logFile(sourceFile, __LINE__, __func__, u"didStartProvisionalLoadForFrame: %@ %@", frame.get(), url);
}

void Loader::webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame)
{
    _objectsLoading.removeObject(frame);
    logFile(sourceFile, __LINE__, __func__, u"didFinishLoadForFrame: %@", frame.get());
}

void Loader::webViewDidFailProvisionalLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame)
{
    if (QVRLogger::isSharedLoggerEnabledForArea(logArea()))
        logFile(sourceFile, __LINE__, __func__, u"didFailProvisionalLoadWithError: %@", qvrFullDescription(error));
    frameFailed(error, frame);
}

void Loader::webViewDidFailLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame)
{
    if (QVRLogger::isSharedLoggerEnabledForArea(logArea()))
        logFile(sourceFile, __LINE__, __func__, u"didFailLoadWithError: %@", qvrFullDescription(error));
    frameFailed(error, frame);
}

void Loader::frameFailed(const NSError& error, const std::shared_ptr<WebFrame>& frame)
{
    _objectsLoading.removeObject(frame);
    // What fails in a sub-frame is missing in the capture, no more.
    if (frame == _view->mainFrame())
        _error = errorToRemember(error);
}

void Loader::webViewDecidePolicyForNavigationAction(WebView&, const NSDictionary& actionInformation, const NSURLRequest&,
    const std::shared_ptr<WebFrame>&, const Listener& listener)
{
    if (actionInformation[WebActionNavigationTypeKey].integerValue() == WebNavigationTypeOther)
        listener->use();
    else
        listener->ignore();
}

void Loader::webViewDecidePolicyForNewWindowAction(
    WebView&, const NSDictionary&, const NSURLRequest&, const NSString&, const Listener& listener)
{
    listener->ignore();
}

void Loader::webViewResourceDidReceiveAuthenticationChallenge(
    WebView&, const Value&, const NSURLAuthenticationChallenge& challenge, const WebDataSource&)
{
    challenge.sender()->cancelAuthenticationChallenge(challenge);
    _error = NSError(NSURLErrorDomain, NSURLErrorUserAuthenticationRequired);
}

void Loader::prepareViewForPaper()
{
    _view->setFrameSize(NSPrintInfo::sharedPrintInfo().paperSize());
    _view->preferences().setShouldPrintBackgrounds(qvrBoolForKey(u"PDFWebBackgrounds", HostDomain, true));
    const NSString mediaStyle = qvrObjectForKey(u"MediaStylePDF", HostDomain, {}).string();
    _view->setMediaStyle(mediaStyle ? mediaStyle : NSString(u"screen"));
}

NSPrintInfo Loader::printInfoWithSettings(const NSDictionary& settings) const
{
    NSPrintInfo info(settings);
    info.setHorizontalPagination(NSFitPagination);
    info.setVerticalPagination(NSAutoPagination);
    info.setHorizontallyCentered(false);
    info.setVerticallyCentered(false);
    info.setTopMargin(margin());
    info.setBottomMargin(margin());
    info.setLeftMargin(margin());
    info.setRightMargin(margin());
    return info;
}
