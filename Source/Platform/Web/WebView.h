#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Print/NSView.h"
#include "Platform/Web/WebFrame.h"
#include "Platform/Web/WebFrameLoadDelegate.h"
#include "Platform/Web/WebPolicyDelegate.h"
#include "Platform/Web/WebPreferences.h"
#include "Platform/Web/WebResourceLoadDelegate.h"

#include <memory>

class WebPage;

// Posted on the default notification centre with the view as their object: something started to load although nothing was
// loading; and nothing is loading any more. A sub-frame that loads later starts another round.
inline const NSString WebViewProgressStartedNotification = u"WebProgressStartedNotification";
inline const NSString WebViewProgressFinishedNotification = u"WebProgressFinishedNotification";

// Shows one page, without a window. Main thread only; not to be destroyed inside a callback of its own.
class WebView final : public NSView {
public:
    // `frame` in points; the engine that is given shows a page of that size already. Absent names are "".
    WebView(NSRect frame, const NSString& frameName, NSString groupName, std::unique_ptr<PageEngine> engine);
    // Ends the engine. Nothing is told any more.
    ~WebView() override;

    // The page is laid out for the new size, in whole points.
    void setFrame(NSRect frame) override;
    [[nodiscard]] NSString groupName() const { return _groupName; }

    // Borrowed: each must outlive the view or be reset to null, which is what it is at first.
    void setFrameLoadDelegate(WebFrameLoadDelegate* delegate) { _frameLoadDelegate = delegate; }
    void setPolicyDelegate(WebPolicyDelegate* delegate) { _policyDelegate = delegate; }
    void setResourceLoadDelegate(WebResourceLoadDelegate* delegate) { _resourceLoadDelegate = delegate; }
    [[nodiscard]] WebFrameLoadDelegate* frameLoadDelegate() const { return _frameLoadDelegate; }
    [[nodiscard]] WebPolicyDelegate* policyDelegate() const { return _policyDelegate; }
    [[nodiscard]] WebResourceLoadDelegate* resourceLoadDelegate() const { return _resourceLoadDelegate; }

    // Always the same one.
    [[nodiscard]] std::shared_ptr<WebFrame> mainFrame() const;
    // How far the present load has come: 0 before it starts, then at least 0.1 and never backwards, 1 when it is complete, and 1
    // until the next one.
    [[nodiscard]] double estimatedProgress() const;
    [[nodiscard]] bool isLoading() const;
    void stopLoading();

    // How the view's loads show themselves to the server of `url`; empty when the engine is gone or does not tell.
    [[nodiscard]] WebVisitorIdentity identityForURL(const NSURL& url) const;

    // A PNG of the whole page as it stands, one pixel for each point. Throws NSException when the engine cannot answer.
    [[nodiscard]] NSData picture() const;

    [[nodiscard]] WebPreferences& preferences() { return _preferences; }
    [[nodiscard]] const WebPreferences& preferences() const { return _preferences; }
    // The CSS media type for which pages are laid out and printed; absent for the engine's own choice.
    void setMediaStyle(const NSString& mediaStyle);
    [[nodiscard]] NSString mediaStyle() const { return _mediaStyle; }

private:
    NSString _groupName;
    WebFrameLoadDelegate* _frameLoadDelegate = nullptr;
    WebPolicyDelegate* _policyDelegate = nullptr;
    WebResourceLoadDelegate* _resourceLoadDelegate = nullptr;
    WebPreferences _preferences;
    NSString _mediaStyle;
    std::shared_ptr<WebPage> _page;
};
