#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSURLProtocol.h"

#include <functional>
#include <memory>
#include <vector>

// One request that a protocol class has claimed, until the protocol has told all of its answer.
class ProtocolLoad final : public NSURLProtocolClient, public std::enable_shared_from_this<ProtocolLoad> {
public:
    using Ended = std::function<void(ProtocolLoad& load)>;

    // Offers `request` to the registered classes. Null when none claims it. `decide` is called once with the answer, and `ended`
    // just before, unless the load is cancelled first.
    [[nodiscard]] static std::shared_ptr<ProtocolLoad> loadForRequest(
        const NSURLRequest& request, RequestDecision decide, Ended ended);
    // Begins; may end at once.
    void start();
    // Nothing more is told.
    void cancel();

    void URLProtocolDidReceiveResponse(
        NSURLProtocol& protocol, const NSURLResponse& response, NSURLCacheStoragePolicy cacheStoragePolicy) override;
    void URLProtocolDidLoadData(NSURLProtocol& protocol, const NSData& data) override;
    void URLProtocolDidFinishLoading(NSURLProtocol& protocol) override;
    void URLProtocolDidFailWithError(NSURLProtocol& protocol, const NSError& error) override;

private:
    ProtocolLoad() = default;
    void end(const RequestAnswer& answer);

    std::unique_ptr<NSURLProtocol> _protocol;
    RequestDecision _decide;   // null once ended
    Ended _ended;
    NSURLResponse _response;
    std::vector<NSData> _pieces;
};
