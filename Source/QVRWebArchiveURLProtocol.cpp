#include "QVRWebArchiveURLProtocol.h"

#include <algorithm>
#include <array>

NSDictionary qvrArchivedResource(const NSURLRequest& request)
{
    return NSURLProtocol::propertyForKey(QVRArchivedResourceKey, request).dictionary();
}

void qvrSetArchivedResource(NSMutableURLRequest& request, const NSDictionary& record)
{
    if (record)
        NSURLProtocol::setProperty(record, QVRArchivedResourceKey, request);
    else
        NSURLProtocol::removePropertyForKey(QVRArchivedResourceKey, request);
}

bool QVRWebArchiveURLProtocol::canInitWithRequest(const NSURLRequest& request)
{
    static const std::array<NSString, 4> internalSchemes = {u"x-msg", u"x-webdoc", u"safari-resource", u"safari-reader"};
    const NSString scheme = request.URL().scheme();
    if (std::find(internalSchemes.begin(), internalSchemes.end(), scheme) != internalSchemes.end())
        return true;
    return !qvrArchivedResource(request).isAbsent();
}

NSURLRequest QVRWebArchiveURLProtocol::canonicalRequestForRequest(const NSURLRequest& request)
{
    return request;
}

void QVRWebArchiveURLProtocol::startLoading()
{
    qvrSendResponse();
}

void QVRWebArchiveURLProtocol::qvrSendResponse(const Value&)
{
    if (!client())
        return;
    const NSDictionary record = qvrArchivedResource(request());
    const NSURLResponse response(record[u"url"].url(), record[u"mimeType"].string(),
        static_cast<int64_t>(record[u"data"].data().length()), record[u"textEncodingName"].string());
    client()->URLProtocolDidReceiveResponse(*this, response, NSURLCacheStorageNotAllowed);
    qvrSendData();
}

void QVRWebArchiveURLProtocol::qvrSendData(const Value&)
{
    if (!client())
        return;
    client()->URLProtocolDidLoadData(*this, qvrArchivedResource(request())[u"data"].data());
    client()->URLProtocolDidFinishLoading(*this);
}
