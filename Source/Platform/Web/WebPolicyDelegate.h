#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Web/WebPolicyDecisionListener.h"

#include <cstdint>
#include <memory>

class WebFrame;
class WebView;

// Keys of an action's information: the kind of navigation (integer, one of WebNavigationType…) and the address it goes to.
inline const NSString WebActionNavigationTypeKey = u"WebActionNavigationTypeKey";
inline const NSString WebActionOriginalURLKey = u"WebActionOriginalURLKey";

// The numbers are the platform's.
enum WebNavigationType : int64_t {
    WebNavigationTypeLinkClicked = 0,
    WebNavigationTypeFormSubmitted = 1,
    WebNavigationTypeBackForward = 2,
    WebNavigationTypeReload = 3,
    WebNavigationTypeFormResubmitted = 4,
    WebNavigationTypeOther = 5
};

// Asked what a view may show. Left as they are, the questions are answered with "use". Called as WebFrameLoadDelegate says; a
// question whose callback throws before there is an answer is answered with "ignore".
class WebPolicyDelegate {
public:
    using Listener = std::shared_ptr<WebPolicyDecisionListener>;
    virtual ~WebPolicyDelegate() = default;

    // Whether `frame` may go where `request` says. Ignored navigations leave the page as it is and are not told further.
    virtual void webViewDecidePolicyForNavigationAction(WebView&, const NSDictionary& /*actionInformation*/,
        const NSURLRequest& /*request*/, const std::shared_ptr<WebFrame>& /*frame*/, const Listener& listener)
    {
        listener->use();
    }
    // The page asked for a window of its own. Views have one window: whatever the answer, no other one opens.
    virtual void webViewDecidePolicyForNewWindowAction(WebView&, const NSDictionary& /*actionInformation*/,
        const NSURLRequest& /*request*/, const NSString& /*newFrameName*/, const Listener& listener)
    {
        listener->use();
    }
    // Whether `frame` may show an answer of this type (as the server spelled it, without parameters; absent when it gave none).
    // Ignored, its load fails with WebKitErrorFrameLoadInterruptedByPolicyChange.
    virtual void webViewDecidePolicyForMIMEType(WebView&, const NSString& /*type*/, const NSURLRequest& /*request*/,
        const std::shared_ptr<WebFrame>& /*frame*/, const Listener& listener)
    {
        listener->use();
    }
};
