#include "Platform/Foundation/NSRunLoop.h"
#include "Tools/ArchiveLoader.h"
#include "Tools/ResultRecord.h"

// What is shown as a page, and the download of everything else.

namespace {

constexpr double downloadTimeout = 10;   // seconds without a byte; deliberately not the setting for pages
constexpr double slice = 0.5;            // seconds

// Deliberate: compared as the server spells it, so that a type in capitals is downloaded.
bool isShownType(const NSString& type)
{
    return type == NSString(u"text/html") || type == NSString(u"application/xhtml+xml") || type == NSString(u"text/xml")
        || type == NSString(u"application/xml");
}

}

void ArchiveLoader::webViewDecidePolicyForMIMEType(
    WebView& view, const NSString& type, const NSURLRequest&, const std::shared_ptr<WebFrame>& frame, const Listener& listener)
{
    if (frame != view.mainFrame() || isShownType(type)) {
        listener->use();
        return;
    }
    listener->ignore();
    // Nothing is left to wait for but the grace period.
    _objectsLoading.removeAllObjects();
}

void ArchiveLoader::downloadInstead(const NSString& path)
{
    _downloadDestination = path;
    // What the view still has to tell of the page that it turned away is no news of the download.
    _view->setFrameLoadDelegate(nullptr);
    _view->setResourceLoadDelegate(nullptr);
    auto request = NSMutableURLRequest::requestWithURL(_url, NSURLRequestReloadIgnoringLocalCacheData, downloadTimeout);
    // The server sees the same visitor as before.
    const WebVisitorIdentity visitor = _view->identityForURL(_url);
    request.setValue(visitor.userAgent, u"User-Agent");
    request.setValue(visitor.cookies, u"Cookie");
    // Until the response says more, so that the progress is 0.
    _totalBytes = 1;
    _download = std::make_unique<NSURLDownload>(request, this);
    waitUntilDownloadIsDone();
}

void ArchiveLoader::waitUntilDownloadIsDone()
{
    while (!_downloadIsDone) {
        // Deliberate: an unknown or zero length gives a negative, infinite or undefined fraction, which is posted as it is.
        postProgress(static_cast<double>(_bytesDownloaded) / static_cast<double>(_totalBytes));
        NSRunLoop::currentRunLoop().runUntilDate(NSDate::dateWithTimeIntervalSinceNow(slice));
    }
}

void ArchiveLoader::downloadDidReceiveResponse(NSURLDownload&, const NSURLResponse& response)
{
    _totalBytes = response.expectedContentLength();
    _bytesDownloaded = 0;
}

void ArchiveLoader::downloadDidReceiveDataOfLength(NSURLDownload&, uint64_t length)
{
    _bytesDownloaded += static_cast<int64_t>(length);
}

void ArchiveLoader::downloadDecideDestinationWithSuggestedFilename(NSURLDownload& download, const NSString& filename)
{
    const NSString folder = _downloadDestination.stringByDeletingLastPathComponent();
    download.setDestination(folder.stringByAppendingPathComponent(filename), false);
}

void ArchiveLoader::downloadDidCreateDestination(NSURLDownload&, const NSString& path)
{
    _downloadDestination = path;
}

void ArchiveLoader::downloadDidFinish(NSURLDownload&)
{
    _downloadIsDone = true;
    finishWithErrorAndTitleAndURL(_error, {}, _newURLString, _downloadDestination);
}

void ArchiveLoader::downloadDidFailWithError(NSURLDownload&, const NSError& error)
{
    _downloadIsDone = true;
    _error = error;
    finishWithErrorAndTitleAndURL(_error, {}, _newURLString, {});
}
