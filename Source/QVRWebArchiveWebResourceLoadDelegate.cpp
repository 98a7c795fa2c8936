#include "QVRWebArchiveWebResourceLoadDelegate.h"

#include "Platform/Foundation/NSDebug.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSLog.h"
#include "QVRWebArchiveURLProtocol.h"

void QVRWebArchiveWebResourceLoadDelegate::setWebArchive(const WebArchive& archive)
{
    _webArchive = archive;
    _urlToResource = std::make_unique<ArchivedResourceIndex>();
    addResources(_webArchive);
}

void QVRWebArchiveWebResourceLoadDelegate::addResources(const WebArchive& archive)
{
    if (!archive)
        return;
    addResource(archive.mainResource());
    for (const WebResource& resource : archive.subresources())
        addResource(resource);
    for (const WebArchive& subframe : archive.subframeArchives())
        addResources(subframe);
}

void QVRWebArchiveWebResourceLoadDelegate::addResource(const WebResource& resource)
{
    if (!_urlToResource)
        return;
    try {
        _urlToResource->setResource(resource, resource.URL().description());
    } catch (const NSException&) {
        // It has no address, and nothing can ask for it.
    }
}

WebResource QVRWebArchiveWebResourceLoadDelegate::archivedResourceForURL(const NSURL& url) const
{
    if (!url || !_urlToResource)
        return {};
    if (WebResource exact = _urlToResource->resourceForKey(url.description()))
        return exact;
    const NSString path = url.path();
    return path.length() > 0 ? _urlToResource->resourceForFileName(path.lastPathComponent()) : WebResource();
}

NSMutableURLRequest QVRWebArchiveWebResourceLoadDelegate::archiveRequestForRequest(const NSURLRequest& request) const
{
    NSMutableURLRequest copy(request);
    copy.setCachePolicy(_isOffline ? NSURLRequestReturnCacheDataDontLoad : NSURLRequestReloadIgnoringLocalCacheData);
    if (!_isWorkaroundEnabled)
        return copy;
    const WebResource resource = archivedResourceForURL(copy.URL());
    if (!resource) {
        if (NSDebugEnabled)
            NSLog(u"no archived resource for: %@", copy.URL());
        return copy;
    }
    NSDictionary record = NSDictionary::dictionary();
    const std::pair<const char16_t*, Value> entries[] = {{u"url", resource.URL()}, {u"mimeType", resource.MIMEType()},
        {u"data", resource.data()}, {u"textEncodingName", resource.textEncodingName()}};
    for (const auto& [key, value] : entries) {
        if (value)
            record.setObject(value, key);
    }
    qvrSetArchivedResource(copy, record);
    copy.setHTTPShouldHandleCookies(false);
    return copy;
}

NSURLRequest QVRWebArchiveWebResourceLoadDelegate::webViewResourceWillSendRequest(
    WebView&, const Value&, const NSURLRequest& request, const NSURLResponse&, const WebDataSource&)
{
    return archiveRequestForRequest(request);
}

void QVRWebArchiveWebResourceLoadDelegate::webViewResourceDidFinishLoadingFromDataSource(
    WebView&, const Value&, const WebDataSource&)
{
}

void QVRWebArchiveWebResourceLoadDelegate::webViewResourceDidFailLoadingWithError(
    WebView&, const Value&, const NSError& error, const WebDataSource&)
{
    if (NSDebugEnabled)
        NSLog(u"failed to load: %@", error);
}

void QVRWebArchiveWebResourceLoadDelegate::webViewResourceDidReceiveAuthenticationChallenge(
    WebView&, const Value&, const NSURLAuthenticationChallenge& challenge, const WebDataSource&)
{
    if (NSURLAuthenticationChallengeSender* sender = challenge.sender())
        sender->cancelAuthenticationChallenge(challenge);
}
