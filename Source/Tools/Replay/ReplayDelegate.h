#pragma once

#include "QVRWebArchiveWebResourceLoadDelegate.h"

#include <cstddef>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

// The delegate of a view that replays an archive, which counts what becomes of the requests.
class ReplayDelegate final : public QVRWebArchiveWebResourceLoadDelegate {
public:
    // `archive` as setWebArchive takes it.
    ReplayDelegate(const WebArchive& archive, bool isOffline, bool isWorkaroundEnabled);

    // Requests of the archive's page, each counted once.
    [[nodiscard]] size_t answeredByAddress() const { return _byAddress; }
    [[nodiscard]] size_t answeredByFileName() const { return _byFileName; }
    [[nodiscard]] size_t answeredByNetwork() const { return _byNetwork; }
    // The addresses of those that nothing answered, in the order in which that was known, each once.
    [[nodiscard]] const std::vector<NSString>& unanswered() const { return _unanswered; }
    [[nodiscard]] size_t unansweredRequests() const { return _unansweredRequests; }

    Value webViewIdentifierForInitialRequest(WebView&, const NSURLRequest& request, const WebDataSource& dataSource) override;
    NSURLRequest webViewResourceWillSendRequest(WebView&, const Value& identifier, const NSURLRequest& request,
        const NSURLResponse& redirectResponse, const WebDataSource& dataSource) override;
    void webViewResourceDidReceiveResponse(
        WebView&, const Value& identifier, const NSURLResponse& response, const WebDataSource& dataSource) override;
    void webViewResourceDidFailLoadingWithError(
        WebView&, const Value& identifier, const NSError& error, const WebDataSource& dataSource) override;

private:
    enum class Found { Nothing, Address, FileName };
    struct Load {
        NSURL url;
        Found found = Found::Nothing;
        bool isCounted = false;
    };

    void count(Load& load, bool isAnswered);

    std::unordered_map<int64_t, Load> _loads;   // by identifier
    int64_t _lastIdentifier = 0;
    bool _isWorkaroundEnabled;
    const bool _mayUseNetwork;
    size_t _byAddress = 0;
    size_t _byFileName = 0;
    size_t _byNetwork = 0;
    size_t _unansweredRequests = 0;
    std::vector<NSString> _unanswered;
    std::set<NSString> _knownUnanswered;
};
