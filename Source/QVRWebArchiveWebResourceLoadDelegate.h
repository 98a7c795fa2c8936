#pragma once

#include "ArchivedResourceIndex.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Web/WebArchive.h"
#include "Platform/Web/WebResourceLoadDelegate.h"

#include <memory>

// The resource-load delegate of a view that shows a saved archive. It gives each request the cache policy that keeps it off the
// network (or not), and binds it to the archived resource of its address, or else of its file name, so that
// QVRWebArchiveURLProtocol answers it. Flags and archive are set before the view starts to load.
class QVRWebArchiveWebResourceLoadDelegate : public NSObject, public WebResourceLoadDelegate {
public:
    // Requests do not touch the network. Off at first.
    void setOffline(bool offline) { _isOffline = offline; }
    // Requests are bound to archived resources. Off at first.
    void setWorkaroundEnabled(bool enabled) { _isWorkaroundEnabled = enabled; }
    // Indexes all that can be reached from `archive`, which may be absent, and forgets an earlier one. Nothing is found before.
    void setWebArchive(const WebArchive& archive);

    // Indexes the archive's main resource, its sub-resources, and then its frames' archives in the same way, each in its order. A
    // later resource takes the place of an earlier one of the same address; one without an address is left out. Does nothing
    // before the first setWebArchive.
    void addResources(const WebArchive& archive);
    void addResource(const WebResource& resource);

    // The resource of exactly this address; else of the first address, in the order in which they were indexed, that ends in "/"
    // and the last component of the path of `url`. The query and fragment of `url` play no part in the second case. Absent when
    // there is none, for an absent address, and for one that has no path and no resource of its own.
    [[nodiscard]] WebResource archivedResourceForURL(const NSURL& url) const;
    // A copy of `request` with the cache policy and, with the workaround, the archived resource and no cookies.
    [[nodiscard]] NSMutableURLRequest archiveRequestForRequest(const NSURLRequest& request) const;

    [[nodiscard]] bool changesRequests() const override { return true; }
    NSURLRequest webViewResourceWillSendRequest(WebView&, const Value& identifier, const NSURLRequest& request,
        const NSURLResponse& redirectResponse, const WebDataSource& dataSource) override;
    // Does nothing.
    void webViewResourceDidFinishLoadingFromDataSource(
        WebView&, const Value& identifier, const WebDataSource& dataSource) override;
    // Says so in the process log when NSDebugEnabled is set.
    void webViewResourceDidFailLoadingWithError(
        WebView&, const Value& identifier, const NSError& error, const WebDataSource& dataSource) override;
    // Cancels the challenge.
    void webViewResourceDidReceiveAuthenticationChallenge(WebView&, const Value& identifier,
        const NSURLAuthenticationChallenge& challenge, const WebDataSource& dataSource) override;

    [[nodiscard]] Class classObject() const override { return Class("QVRWebArchiveWebResourceLoadDelegate"); }

private:
    WebArchive _webArchive;
    std::unique_ptr<ArchivedResourceIndex> _urlToResource;   // null before the first archive
    bool _isOffline = false;
    bool _isWorkaroundEnabled = false;
};
