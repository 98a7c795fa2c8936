#include "Tools/ArchiveLoader.h"

#include "Platform/Engine/PageEngineErrors.h"
#include "Platform/Foundation/CFPreferences.h"
#include "Platform/Foundation/NSDistributedNotificationCenter.h"
#include "Platform/Foundation/NSRunLoop.h"
#include "QVRError.h"
#include "QVRSettings.h"
#include "Tools/ResultRecord.h"
#include "Tools/SourceFile.h"

namespace {

const NSString LogWebTool = u"LogWebTool";
// What a site that redirects by script is given after each response, and again when it announces a redirect. Seconds.
constexpr double clientRedirectTime = 2;

}

ArchiveLoader::ArchiveLoader(const PageEngineMaker& makeEngine, bool readsLocalFiles) : Loader(makeEngine, readsLocalFiles) { }

ArchiveLoader::~ArchiveLoader() = default;

const NSString& ArchiveLoader::logArea() const
{
    return LogWebTool;
}

void ArchiveLoader::loadURL(const NSURL& url, const NSString& uid)
{
    // The addresses and the main request.
    const NSURL webURL = ensureWebURL(url);
    _newURLString = webURL.description();
    _url = processURL(webURL);
    _uid = uid;
    if (doesURLUseClientRedirect(_url))
        _clientRedirect = true;
    _mainRequest = requestForURL(_url);
    // What the page may do.
    WebPreferences& preferences = _view->preferences();
    preferences.setJavaScriptEnabled(shouldUseJavaScriptForURL(_url));
    preferences.setJavaEnabled(false);
    preferences.setPlugInsEnabled(shouldEnablePlugIns());
    // Loading may be switched off.
    const int64_t most = maxTriesBeforeTimeout();
    if (most == 0 || _error)
        return;
    // Only time-outs are tried again.
    for (int64_t attempt = 0;;) {
        logFile(sourceFile, __LINE__, __func__, u"Try %lu loading: %@", static_cast<uint64_t>(attempt), _url);
        startLoading();
        _view->mainFrame()->loadRequest(_mainRequest);
        waitUntilDone();
        if (!_error)
            return;
        const bool isTimedOut = qvrHasDomain(_error, NSURLErrorDomain, NSURLErrorTimedOut);
        ++attempt;
        if (attempt < most && isTimedOut)
            _error = {};
        if (attempt >= most || _error)
            return;
    }
}

bool ArchiveLoader::isErrorFatal()
{
    if (!_error)
        return false;
    if (qvrHasDomain(_error, NSURLErrorDomain, NSURLErrorCancelled)) {
        bool isSet = false;
        const bool continues = CFPreferencesGetAppBooleanValue(u"WebToolContinueAfterCancel", HostDomain, &isSet);
        if (continues || !isSet) {
            logFile(sourceFile, __LINE__, __func__, u"Continuing after cancelled loading of %@",
                _error.userInfo()[NSURLErrorFailingURLStringErrorKey]);
            return false;
        }
    }
    if (qvrHasDomain(_error, WebKitErrorDomain, WebKitErrorPlugInWillHandleLoad)) {
        QVRLogger::logFileIfEnabled(sourceFile, __LINE__, __func__, NSString(), u"Continuing after error %@", _error);
        return false;
    }
    if (qvrHasDomain(_error, WebKitErrorDomain, WebKitErrorFrameLoadInterruptedByPolicyChange)) {
        _needToDownload = true;
        return false;
    }
    return true;
}

void ArchiveLoader::failIfFatalError()
{
    if (isErrorFatal())
        finishWithErrorAndTitleAndURL(_error, {}, _newURLString, {});
}

NSError ArchiveLoader::errorToRemember(const NSError& error)
{
    const NSError underlying = error.userInfo()[NSUnderlyingErrorKey].error();
    if (error.domain() != EngineErrorDomain && underlying.domain() != EngineErrorDomain)
        return error;
    // Nothing more can come from an engine that is not there: the grace period has no purpose.
    extendFinishDate(0);
    return error.domain() == EngineErrorDomain ? NSError(WebToolErrorDomain, WebToolErrorEngine, error.userInfo()) : error;
}

void ArchiveLoader::postProgress(double fraction)
{
    logFile(sourceFile, __LINE__, __func__, u"progress: %f", fraction);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(
        NSString::stringWithFormat(u"com.brackenlow.Tarnwick.webtool.progress.%@", _uid), NSStringFromDouble(fraction), {}, true);
}

void ArchiveLoader::progressFinished(const NSNotification& notification)
{
    Loader::progressFinished(notification);
    if (!trustFinishedNotification())
        return;
    logFile(sourceFile, __LINE__, __func__, u"Received finished notification but not done loading so setting timeout date: %@",
        _timeoutDate.date());
}

NSString ArchiveLoader::pageTitle() const
{
    const NSString title = Loader::pageTitle();
    return title ? title : _url.description();
}

Value ArchiveLoader::webViewIdentifierForInitialRequest(WebView&, const NSURLRequest& request, const WebDataSource&)
{
    return request.URL();
}

NSURLRequest ArchiveLoader::webViewResourceWillSendRequest(
    WebView&, const Value& identifier, const NSURLRequest& request, const NSURLResponse&, const WebDataSource&)
{
    if (identifier.isEqual(_mainRequest.URL()) && !_processingPrefix)
        _newURLString = request.URL().description();
    return request;
}

void ArchiveLoader::webViewResourceDidReceiveResponse(WebView&, const Value&, const NSURLResponse&, const WebDataSource&)
{
    // The site's script gets time to redirect before the load can be taken for finished.
    if (_clientRedirect)
        NSRunLoop::currentRunLoop().runUntilDate(NSDate::dateWithTimeIntervalSinceNow(clientRedirectTime));
}

void ArchiveLoader::webViewResourceDidFailLoadingWithError(WebView&, const Value&, const NSError& error, const WebDataSource&)
{
    if (qvrHasDomain(error, NSURLErrorDomain, NSURLErrorCancelled))
        return;
    if (qvrBoolForKey(u"WebToolFailOnResourceLoadErrors", HostDomain, false)) {
        QVRLogger::logFileIfEnabled(
            sourceFile, __LINE__, __func__, NSString(), u"Tarnwick [twwebtool] Error loading resource: %@", error);
        _error = error;
    } else {
        QVRLogger::logFileIfEnabled(sourceFile, __LINE__, __func__, NSString(),
            u"Tarnwick [twwebtool] Continuing after error loading resource: %@", error);
    }
}

void ArchiveLoader::webViewWillPerformClientRedirectToURL(
    WebView&, const NSURL& url, double, const NSDate&, const std::shared_ptr<WebFrame>&)
{
    if (_clientRedirect)
        extendFinishDate(clientRedirectTime);
    logFile(sourceFile, __LINE__, __func__, u"willPerformClientRedirectToURL: %@", url);
}

void ArchiveLoader::webViewDidCancelClientRedirectForFrame(WebView&, const std::shared_ptr<WebFrame>& frame)
{
    logFile(sourceFile, __LINE__, __func__, u"didCancelClientRedirectForFrame: %@",
        frame ? frame->dataSource().request().URL() : NSURL());
}
