#pragma once

#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <memory>

class WebFrame;
class WebView;

// Told what becomes of a view's frames. Every operation may be left as it is. All calls come inside runs of the run loop, on the
// main thread; they may run the loop again, start and stop loads, and throw (the exception leaves the run, and nothing else is
// lost).
//
// Each provisional load that started ends in one failure, or commits; each committed one ends in one finish or failure, unless
// another document takes its place first. A main frame that has finished fails all the same, once, when the engine that shows it
// is gone. A frame that is removed while it loads fails with NSURLErrorCancelled. `frame` is
// absent only when the engine speaks of a frame that the view has never seen.
class WebFrameLoadDelegate {
public:
    virtual ~WebFrameLoadDelegate() = default;

    virtual void webViewDidStartProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& /*frame*/) { }
    virtual void webViewDidReceiveServerRedirectForProvisionalLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& /*frame*/)
    {
    }
    virtual void webViewDidFailProvisionalLoadWithError(
        WebView&, const NSError& /*error*/, const std::shared_ptr<WebFrame>& /*frame*/)
    {
    }
    virtual void webViewDidCommitLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& /*frame*/) { }
    virtual void webViewDidReceiveTitle(WebView&, const NSString& /*title*/, const std::shared_ptr<WebFrame>& /*frame*/) { }
    virtual void webViewDidFinishLoadForFrame(WebView&, const std::shared_ptr<WebFrame>& /*frame*/) { }
    virtual void webViewDidFailLoadWithError(WebView&, const NSError& /*error*/, const std::shared_ptr<WebFrame>& /*frame*/) { }

    // The page will go to `url` by itself, `delay` seconds from now, at `fireDate`.
    virtual void webViewWillPerformClientRedirectToURL(
        WebView&, const NSURL& /*url*/, double /*delay*/, const NSDate& /*fireDate*/, const std::shared_ptr<WebFrame>& /*frame*/)
    {
    }
    // It went there, or will not after all.
    virtual void webViewDidCancelClientRedirectForFrame(WebView&, const std::shared_ptr<WebFrame>& /*frame*/) { }
};
