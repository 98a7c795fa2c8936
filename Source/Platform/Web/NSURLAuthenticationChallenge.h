#pragma once

#include "Platform/Foundation/NSURLResponse.h"

#include <memory>

class NSURLAuthenticationChallenge;

// Who takes the answer to a challenge.
class NSURLAuthenticationChallengeSender {
public:
    virtual ~NSURLAuthenticationChallengeSender() = default;
    // No credentials are offered; the load that was asked for them fails, or goes on with the server's refusal.
    virtual void cancelAuthenticationChallenge(const NSURLAuthenticationChallenge& challenge) = 0;
};

// A server's demand for credentials. Copies are the same challenge. A default-constructed one is absent.
class NSURLAuthenticationChallenge {
public:
    NSURLAuthenticationChallenge() = default;
    NSURLAuthenticationChallenge(NSURLResponse failureResponse, std::shared_ptr<NSURLAuthenticationChallengeSender> sender)
        : _failureResponse(std::move(failureResponse)), _sender(std::move(sender))
    {
    }

    [[nodiscard]] bool isAbsent() const { return _sender == nullptr; }
    explicit operator bool() const { return _sender != nullptr; }
    // The answer that made the demand.
    [[nodiscard]] NSURLResponse failureResponse() const { return _failureResponse; }
    // Null for an absent challenge.
    [[nodiscard]] NSURLAuthenticationChallengeSender* sender() const { return _sender.get(); }

private:
    NSURLResponse _failureResponse;
    std::shared_ptr<NSURLAuthenticationChallengeSender> _sender;
};
