#include "Platform/Web/ProtocolLoad.h"

#include "Platform/Foundation/LoadErrors.h"

#include <utility>

namespace {

// One piece stays what it is.
NSData joined(const std::vector<NSData>& pieces)
{
    if (pieces.size() == 1)
        return pieces.front();
    std::vector<std::byte> bytes;
    for (const NSData& piece : pieces)
        bytes.insert(bytes.end(), piece.bytes().begin(), piece.bytes().end());
    return NSData(std::move(bytes));
}

}

std::shared_ptr<ProtocolLoad> ProtocolLoad::loadForRequest(const NSURLRequest& request, RequestDecision decide, Ended ended)
{
    std::shared_ptr<ProtocolLoad> load(new ProtocolLoad());
    load->_protocol = NSURLProtocol::protocolForRequest(request, load.get());
    if (!load->_protocol)
        return nullptr;
    load->_decide = std::move(decide);
    load->_ended = std::move(ended);
    return load;
}

void ProtocolLoad::start()
{
    const std::shared_ptr<ProtocolLoad> keepAlive = shared_from_this();
    _protocol->startLoading();
}

void ProtocolLoad::cancel()
{
    if (std::exchange(_decide, nullptr))
        _protocol->stopLoading();
}

void ProtocolLoad::URLProtocolDidReceiveResponse(NSURLProtocol&, const NSURLResponse& response, NSURLCacheStoragePolicy)
{
    // Nothing of it is kept for later, whatever the policy.
    _response = response;
}

void ProtocolLoad::URLProtocolDidLoadData(NSURLProtocol&, const NSData& data)
{
    if (_decide && data)
        _pieces.push_back(data);
}

void ProtocolLoad::URLProtocolDidFinishLoading(NSURLProtocol& protocol)
{
    RequestAnswer answer;
    if (_response) {
        answer.way = RequestAnswer::Way::Fulfil;
        answer.response = _response;
        answer.data = joined(_pieces);
    } else {
        answer.way = RequestAnswer::Way::Refuse;
        answer.error = loadError(NSURLErrorDomain, NSURLErrorBadServerResponse, protocol.request().URL());
    }
    end(answer);
}

void ProtocolLoad::URLProtocolDidFailWithError(NSURLProtocol& protocol, const NSError& error)
{
    RequestAnswer answer;
    answer.way = RequestAnswer::Way::Refuse;
    answer.error = errorWithFailingURL(error, protocol.request().URL());
    end(answer);
}

void ProtocolLoad::end(const RequestAnswer& answer)
{
    const RequestDecision decide = std::exchange(_decide, nullptr);
    if (!decide)
        return;
    const std::shared_ptr<ProtocolLoad> keepAlive = shared_from_this();
    _ended(*this);
    _protocol->stopLoading();
    decide(answer);
}
