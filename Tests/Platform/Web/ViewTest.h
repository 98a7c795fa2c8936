#pragma once

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSNotificationCenter.h"
#include "Platform/Foundation/Value.h"
#include "Platform/Web/WebView.h"
#include "Support/Printing.h"
#include "Support/ScriptedEngine.h"
#include "Support/Waiting.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

// Keeps what it was told, one line for each call, frames under their engine names; and does what the test wants at a call.
class Recorder : public WebFrameLoadDelegate, public WebPolicyDelegate, public WebResourceLoadDelegate {
public:
    std::vector<std::string> lines;
    // Whether calls about resources, and questions of policy, are kept too: they stand in every load.
    bool keepsResources = false;
    bool keepsQuestions = false;
    std::map<std::string, std::function<void()>> reactions;   // by line
    NSError lastError;
    WebPolicyDecisionListener::Answer navigationAnswer = WebPolicyDecisionListener::Answer::Use;
    WebPolicyDecisionListener::Answer responseAnswer = WebPolicyDecisionListener::Answer::Use;
    bool answersLater = false;
    WebPolicyDelegate::Listener listener;   // the last one
    NSDictionary lastAction;
    std::shared_ptr<WebFrame> lastFrame;
    NSURLRequest lastRequest;
    NSURLResponse lastResponse;
    NSURLAuthenticationChallenge lastChallenge;
    WebDataSource lastDataSource;
    NSDate lastFireDate;

    std::vector<std::string> take() { return std::exchange(lines, {}); }

    void webViewDidStartProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("start " + nameOf(frame));
    }
    void webViewDidReceiveServerRedirectForProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("redirect " + nameOf(frame) + " " + frame->provisionalDataSource().request().URL().absoluteString().UTF8());
    }
    void webViewDidFailProvisionalLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame) override
    {
        lastError = error;
        keep("fail provisional " + nameOf(frame) + " " + std::to_string(error.code()));
    }
    void webViewDidCommitLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("commit " + nameOf(frame));
    }
    void webViewDidReceiveTitle(WebView&, const NSString& title, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("title " + nameOf(frame) + " " + title.UTF8());
    }
    void webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("finish " + nameOf(frame));
    }
    void webViewDidFailLoadWithError(WebView&, const NSError& error, const std::shared_ptr<WebFrame>& frame) override
    {
        lastError = error;
        keep("fail " + nameOf(frame) + " " + std::to_string(error.code()));
    }
    void webViewWillPerformClientRedirectToURL(
        WebView&, const NSURL& url, double delay, const NSDate& fireDate, const std::shared_ptr<WebFrame>& frame) override
    {
        lastFireDate = fireDate;
        keep("client redirect " + nameOf(frame) + " " + url.absoluteString().UTF8() + " " + NSStringFromDouble(delay).UTF8());
    }
    void webViewDidCancelClientRedirectForFrame(WebView&, const std::shared_ptr<WebFrame>& frame) override
    {
        keep("client redirect cancelled " + nameOf(frame));
    }

    void webViewDecidePolicyForNavigationAction(WebView&, const NSDictionary& actionInformation, const NSURLRequest& request,
        const std::shared_ptr<WebFrame>& frame, const Listener& asking) override
    {
        lastAction = actionInformation;
        lastFrame = frame;
        lastRequest = request;
        listener = asking;
        keepAsked("navigation");
        answer(asking, navigationAnswer);
    }
    void webViewDecidePolicyForNewWindowAction(WebView&, const NSDictionary& actionInformation, const NSURLRequest& request,
        const NSString& newFrameName, const Listener& asking) override
    {
        lastAction = actionInformation;
        lastRequest = request;
        listener = asking;
        keep("new window " + newFrameName.UTF8());
        asking->ignore();
    }
    void webViewDecidePolicyForMIMEType(WebView&, const NSString& type, const NSURLRequest& request,
        const std::shared_ptr<WebFrame>& frame, const Listener& asking) override
    {
        lastFrame = frame;
        lastRequest = request;
        listener = asking;
        keepAsked("type " + type.UTF8());
        answer(asking, responseAnswer);
    }

    Value webViewIdentifierForInitialRequest(WebView&, const NSURLRequest& request, const WebDataSource& dataSource) override
    {
        lastDataSource = dataSource;
        keepResource("identify " + request.URL().absoluteString().UTF8());
        return request.URL();
    }
    NSURLRequest webViewResourceWillSendRequest(WebView&, const Value& identifier, const NSURLRequest& request,
        const NSURLResponse& redirectResponse, const WebDataSource& dataSource) override
    {
        lastDataSource = dataSource;
        lastResponse = redirectResponse;
        keepResource("send " + identifier.description().UTF8() + " " + request.URL().absoluteString().UTF8()
            + (redirectResponse ? " redirected" : ""));
        return request;
    }
    void webViewResourceDidReceiveAuthenticationChallenge(WebView&, const Value& identifier,
        const NSURLAuthenticationChallenge& challenge, const WebDataSource& dataSource) override
    {
        lastDataSource = dataSource;
        lastChallenge = challenge;
        if (challenge.sender())
            challenge.sender()->cancelAuthenticationChallenge(challenge);
        keep("challenge " + identifier.description().UTF8());
    }
    void webViewResourceDidReceiveResponse(
        WebView&, const Value& identifier, const NSURLResponse& response, const WebDataSource&) override
    {
        lastResponse = response;
        keepResource("response " + identifier.description().UTF8());
    }
    void webViewResourceDidReceiveContentLength(WebView&, const Value& identifier, int64_t length, const WebDataSource&) override
    {
        keepResource("length " + identifier.description().UTF8() + " " + std::to_string(length));
    }
    void webViewResourceDidFinishLoadingFromDataSource(WebView&, const Value& identifier, const WebDataSource&) override
    {
        keepResource("finished " + identifier.description().UTF8());
    }
    void webViewResourceDidFailLoadingWithError(
        WebView&, const Value& identifier, const NSError& error, const WebDataSource&) override
    {
        lastError = error;
        keepResource("failed " + identifier.description().UTF8() + " " + std::to_string(error.code()));
    }

    void keep(const std::string& line)
    {
        lines.push_back(line);
        if (const auto reaction = reactions.find(line); reaction != reactions.end()) {
            const std::function<void()> react = reaction->second;
            reactions.erase(reaction);
            react();
        }
    }
    static std::string nameOf(const std::shared_ptr<WebFrame>& frame) { return frame ? frame->frameID() : "(none)"; }

private:
    void keepResource(const std::string& line)
    {
        if (keepsResources)
            keep(line);
    }
    void keepAsked(const std::string& line)
    {
        if (keepsQuestions)
            keep(line);
    }
    void answer(const Listener& asking, WebPolicyDecisionListener::Answer given) const
    {
        if (answersLater)
            return;
        if (given == WebPolicyDecisionListener::Answer::Use)
            asking->use();
        else
            asking->ignore();
    }
};

// A view over an engine that says what the test says.
class ViewTest : public testing::Test {
protected:
    using Lines = std::vector<std::string>;
    ViewTest()
    {
        auto owned = std::make_unique<support::ScriptedEngine>();
        engine = owned.get();
        view = std::make_unique<WebView>(NSRect{{0, 0}, {612, 612}}, NSString(), NSString(), std::move(owned));
        view->setFrameLoadDelegate(&recorder);
        view->setPolicyDelegate(&recorder);
        view->setResourceLoadDelegate(&recorder);
    }

    [[nodiscard]] std::shared_ptr<WebFrame> mainFrame() const { return view->mainFrame(); }
    // The main frame's child of that index.
    [[nodiscard]] std::shared_ptr<WebFrame> child(size_t index = 0) const { return mainFrame()->childFrames().at(index); }
    // Keeps the two progress notifications as lines of the recorder, as well.
    void keepProgress()
    {
        for (const auto& [name, line] : {std::pair<NSString, const char*>(WebViewProgressStartedNotification, "round"),
                 std::pair<NSString, const char*>(WebViewProgressFinishedNotification, "round over")}) {
            observers.push_back(NSNotificationCenter::defaultCenter().addObserverForName(
                name, view.get(), [this, line = std::string(line)](const NSNotification&) { recorder.keep(line); }));
        }
    }
    static std::string textOf(const NSData& data) { return std::string(data.characters()); }
    static std::string addressOf(const WebResource& resource) { return resource.URL().absoluteString().UTF8(); }
    static Lines addressesOf(const std::vector<WebResource>& resources)
    {
        Lines addresses;
        for (const WebResource& resource : resources)
            addresses.push_back(addressOf(resource));
        return addresses;
    }

    Recorder recorder;
    std::vector<NSNotificationObserver> observers;
    support::ScriptedEngine* engine = nullptr;   // the view's
    std::unique_ptr<WebView> view;
};
