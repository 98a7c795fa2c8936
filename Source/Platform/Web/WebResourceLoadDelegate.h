#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Web/NSURLAuthenticationChallenge.h"
#include "Platform/Web/WebDataSource.h"

#include <cstdint>

class WebView;

// Told about each load that a view's pages make, their own among them. Called as WebFrameLoadDelegate says. `dataSource` is that
// of the frame that asked: of the document being loaded, also before it is shown. It is absent when that document is gone.
class WebResourceLoadDelegate {
public:
    virtual ~WebResourceLoadDelegate() = default;

    // Whether what webViewResourceWillSendRequest returns counts. Asked when a load begins; true makes every load cost more.
    [[nodiscard]] virtual bool changesRequests() const { return false; }

    // Under what the other operations know this load. Absent unless the delegate says more.
    virtual Value webViewIdentifierForInitialRequest(
        WebView&, const NSURLRequest& /*request*/, const WebDataSource& /*dataSource*/)
    {
        return {};
    }
    // The first request of a load (without a `redirectResponse`), and each to which a redirect led. When the delegate changes
    // requests, or a protocol class was registered when the view's load began, the request waits until this returns: what is
    // returned is offered to the archive that the view shows, then to the registered protocol classes (see NSURLProtocol), and
    // then sent, unless its cache policy is NSURLRequestReturnCacheDataDontLoad. Such a request never reaches the network, and
    // fails with NSURLErrorResourceUnavailable; an absent one fails with NSURLErrorCancelled. Deliberate: otherwise the request
    // is on its way already when the view's engine tells of it, and what is returned changes nothing.
    virtual NSURLRequest webViewResourceWillSendRequest(WebView&, const Value& /*identifier*/, const NSURLRequest& request,
        const NSURLResponse& /*redirectResponse*/, const WebDataSource& /*dataSource*/)
    {
        return request;
    }
    virtual void webViewResourceDidReceiveAuthenticationChallenge(WebView&, const Value& /*identifier*/,
        const NSURLAuthenticationChallenge& /*challenge*/, const WebDataSource& /*dataSource*/)
    {
    }
    virtual void webViewResourceDidReceiveResponse(
        WebView&, const Value& /*identifier*/, const NSURLResponse& /*response*/, const WebDataSource& /*dataSource*/)
    {
    }
    // `length` more bytes have come.
    virtual void webViewResourceDidReceiveContentLength(
        WebView&, const Value& /*identifier*/, int64_t /*length*/, const WebDataSource& /*dataSource*/)
    {
    }
    virtual void webViewResourceDidFinishLoadingFromDataSource(
        WebView&, const Value& /*identifier*/, const WebDataSource& /*dataSource*/)
    {
    }
    virtual void webViewResourceDidFailLoadingWithError(
        WebView&, const Value& /*identifier*/, const NSError& /*error*/, const WebDataSource& /*dataSource*/)
    {
    }
};
