#pragma once

#include "Platform/Engine/PageEngine.h"

// A client that takes no notice of any news and allows whatever it is asked.
class SilentPageEngineClient : public PageEngineClient {
public:
    void frameAttached(const FrameID&, const FrameID&) override { }
    void frameDetached(const FrameID&) override { }
    void frameNamed(const FrameID&, const NSString&) override { }
    void decideNavigation(const NavigationAction&, PolicyDecision decide) override { decide(PolicyAnswer::Use); }
    void navigationStarted(const FrameID&, const DocumentID&, const NSURLRequest&) override { }
    void navigationRedirected(const FrameID&, const NSURLRequest&) override { }
    void decideResponse(const FrameID&, const NSURLRequest&, const NSURLResponse&, PolicyDecision decide) override
    {
        decide(PolicyAnswer::Use);
    }
    void navigationCommitted(const FrameID&, const DocumentID&, const NSURLResponse&) override { }
    void navigationFailed(const FrameID&, const NSError&) override { }
    void documentFinished(const FrameID&) override { }
    void documentFailed(const FrameID&, const NSError&) override { }
    void titleChanged(const FrameID&, const NSString&) override { }
    void clientRedirectScheduled(const FrameID&, const NSURL&, double) override { }
    void clientRedirectCleared(const FrameID&) override { }
    void newWindowRefused(const NSURLRequest&, const NSString&) override { }
    void resourceRequested(
        const ResourceID&, const FrameID&, const DocumentID&, const NSURLRequest&, const NSURLResponse&) override
    {
    }
    void resourceResponded(const ResourceID&, const NSURLResponse&) override { }
    void resourceReceivedData(const ResourceID&, int64_t) override { }
    void resourceFinished(const ResourceID&) override { }
    void resourceFailed(const ResourceID&, const NSError&) override { }
    void authenticationRefused(const ResourceID&, const NSURLResponse&) override { }
    void engineFailed(const NSError&) override { }
};
