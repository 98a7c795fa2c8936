#include "Tools/Replay/ReplayDelegate.h"

#include <utility>

namespace {

// Texts of addresses are the same resource whatever place in it they name.
std::u16string_view withoutFragment(const NSString& address)
{
    return address.units().substr(0, address.units().find(u'#'));
}

bool isSameResource(const NSURL& a, const NSURL& b)
{
    return withoutFragment(a.absoluteString()) == withoutFragment(b.absoluteString());
}

}

ReplayDelegate::ReplayDelegate(const WebArchive& archive, bool isOffline, bool isWorkaroundEnabled)
    : _isWorkaroundEnabled(isWorkaroundEnabled), _mayUseNetwork(!isOffline)
{
    setOffline(isOffline);
    setWorkaroundEnabled(isWorkaroundEnabled);
    setWebArchive(archive);
}

Value ReplayDelegate::webViewIdentifierForInitialRequest(WebView&, const NSURLRequest&, const WebDataSource&)
{
    return ++_lastIdentifier;
}

NSURLRequest ReplayDelegate::webViewResourceWillSendRequest(WebView& view, const Value& identifier, const NSURLRequest& request,
    const NSURLResponse& redirectResponse, const WebDataSource& dataSource)
{
    // The question whether another request may be sent belongs to that request.
    if (request.HTTPMethod() != NSString(u"OPTIONS")) {
        const WebResource resource = archivedResourceForURL(request.URL());
        const bool isSame = resource && isSameResource(resource.URL(), request.URL());
        const Found found = isSame ? Found::Address : resource && _isWorkaroundEnabled ? Found::FileName : Found::Nothing;
        Load& load = _loads[identifier ? identifier.integerValue() : ++_lastIdentifier];
        load.url = request.URL();
        load.found = found;
        // What works beside the page, such as a worker that pages share, has no further news: what may be answered counts as
        // answered.
        if (!identifier)
            count(load, found != Found::Nothing || _mayUseNetwork);
    }
    return QVRWebArchiveWebResourceLoadDelegate::webViewResourceWillSendRequest(
        view, identifier, request, redirectResponse, dataSource);
}

void ReplayDelegate::webViewResourceDidReceiveResponse(
    WebView&, const Value& identifier, const NSURLResponse&, const WebDataSource&)
{
    if (const auto load = _loads.find(identifier.integerValue()); load != _loads.end())
        count(load->second, true);
}

void ReplayDelegate::webViewResourceDidFailLoadingWithError(
    WebView& view, const Value& identifier, const NSError& error, const WebDataSource& dataSource)
{
    const bool isGivenUp = error.domain() == NSURLErrorDomain && error.code() == NSURLErrorCancelled;
    if (const auto load = _loads.find(identifier.integerValue()); load != _loads.end() && !isGivenUp)
        count(load->second, false);
    QVRWebArchiveWebResourceLoadDelegate::webViewResourceDidFailLoadingWithError(view, identifier, error, dataSource);
}

void ReplayDelegate::count(Load& load, bool isAnswered)
{
    if (std::exchange(load.isCounted, true))
        return;
    if (!isAnswered) {
        ++_unansweredRequests;
        const NSString address = load.url.absoluteString();
        if (_knownUnanswered.insert(address).second)
            _unanswered.push_back(address);
    } else if (load.found == Found::Address) {
        ++_byAddress;
    } else if (load.found == Found::FileName) {
        ++_byFileName;
    } else {
        ++_byNetwork;
    }
}
