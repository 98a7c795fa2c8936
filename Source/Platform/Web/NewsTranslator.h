#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Web/Deliveries.h"
#include "Platform/Web/DocumentLoad.h"
#include "Platform/Web/FrameTree.h"
#include "Platform/Web/ResourceLog.h"
#include "Platform/Web/WebPolicyDecisionListener.h"

#include <memory>

class WebPage;
class WebView;

// Makes of the engine's news what the view's users see: frames, data sources, progress, and calls of the delegates. Every
// operation first changes the state, then calls out.
class NewsTranslator final : public PageEngineClient {
public:
    // The page owns the translator.
    explicit NewsTranslator(WebPage& page) : _page(page) { }

    void frameAttached(const FrameID& frame, const FrameID& parent) override;
    void frameDetached(const FrameID& frame) override;
    void frameNamed(const FrameID& frame, const NSString& name) override;

    void decideNavigation(const NavigationAction& action, PolicyDecision decide) override;
    void navigationStarted(const FrameID& frame, const DocumentID& document, const NSURLRequest& request) override;
    void navigationRedirected(const FrameID& frame, const NSURLRequest& request) override;
    void decideResponse(
        const FrameID& frame, const NSURLRequest& request, const NSURLResponse& response, PolicyDecision decide) override;
    void navigationCommitted(const FrameID& frame, const DocumentID& document, const NSURLResponse& response) override;
    void navigationFailed(const FrameID& frame, const NSError& error) override;
    void documentFinished(const FrameID& frame) override;
    void documentFailed(const FrameID& frame, const NSError& error) override;
    void titleChanged(const FrameID& frame, const NSString& title) override;

    void clientRedirectScheduled(const FrameID& frame, const NSURL& url, double delay) override;
    void clientRedirectCleared(const FrameID& frame) override;
    void newWindowRefused(const NSURLRequest& request, const NSString& name) override;

    void resourceRequested(const ResourceID& resource, const FrameID& frame, const DocumentID& document,
        const NSURLRequest& request, const NSURLResponse& redirectResponse) override;
    void resourceResponded(const ResourceID& resource, const NSURLResponse& response) override;
    void resourceReceivedData(const ResourceID& resource, int64_t length) override;
    void resourceFinished(const ResourceID& resource) override;
    void resourceFailed(const ResourceID& resource, const NSError& error) override;
    void willSendRequest(const OfferedRequest& offered, RequestDecision decide) override;
    void authenticationRefused(const ResourceID& resource, const NSURLResponse& challenge) override;

    void engineFailed(const NSError& error) override;

private:
    struct ResourceFacts;
    using Load = std::shared_ptr<DocumentLoad>;

    // Adding a call that a delegate is to get, if it is there when its turn comes.
    template <typename Call>
    void tellFrames(Deliveries& deliveries, Call call);
    template <typename Call>
    void tellResources(Deliveries& deliveries, Call call);
    void deliver(Deliveries& deliveries);
    // Asks the policy delegate, and answers for it when it throws first.
    template <typename Call>
    void ask(Call call, std::function<void(PolicyAnswer)> decide);

    // Parts of the operations above: they change the state and add the calls that follow from it.
    void start(FrameTree::Entry& entry, const DocumentID& document, const NSURLRequest& request, Deliveries& deliveries);
    void failProvisional(FrameTree::Entry& entry, const NSError& error, Deliveries& deliveries);
    void failCommitted(FrameTree::Entry& entry, const NSError& error, Deliveries& deliveries);
    void endRemoved(std::vector<FrameTree::Entry> removed, Deliveries& deliveries);
    void endProgress(const Load& load, Deliveries& deliveries);
    // The provisional load fails with `error` now or when the engine ends it, whichever comes first.
    void condemn(const Load& load, const NSError& error);
    void settle(const Load& load);

    // A request of a load, filed, and the load's identifier as it is when the calls are made: the load may be gone then.
    struct Filed {
        ResourceLog::Load& load;
        std::shared_ptr<Value> identifier;
    };
    // Files a request of a load, and adds the call that identifies a new one.
    Filed file(const ResourceID& resource, const FrameID& frame, const DocumentID& document, const NSURLRequest& request,
        Deliveries& deliveries);
    // Adds the call for the present request of a load.
    void tellWillSend(const Filed& filed, Deliveries& deliveries);
    // Adds the calls for requests that the engine did not ask about after all, because it had the answer in memory.
    void tellUnasked(const ResourceID& resource, Deliveries& deliveries);
    [[nodiscard]] WebDataSource dataSourceOf(const FrameID& frame, const DocumentID& document);
    [[nodiscard]] std::optional<ResourceFacts> factsOf(const ResourceID& resource);

    WebPage& _page;
};
