#include "Platform/Web/WebView.h"

#include "Platform/Web/WebPage.h"

WebView::WebView(NSRect frame, const NSString& frameName, NSString groupName, std::unique_ptr<PageEngine> engine)
    : NSView(frame),
      _groupName(groupName ? std::move(groupName) : NSString(u"")),
      _page(WebPage::create(*this, frameName, std::move(engine)))
{
}

WebView::~WebView()
{
    _page->close();
}

void WebView::setFrame(NSRect frame)
{
    NSView::setFrame(frame);
    _page->setViewSize(frame.size);
}

void WebView::setMediaStyle(const NSString& mediaStyle)
{
    _mediaStyle = mediaStyle;
    _page->setMediaType(mediaStyle);
}

std::shared_ptr<WebFrame> WebView::mainFrame() const
{
    return _page->frames().mainFrame().frame;
}

double WebView::estimatedProgress() const
{
    return _page->progress().value();
}

bool WebView::isLoading() const
{
    return _page->progress().isLoading();
}

WebVisitorIdentity WebView::identityForURL(const NSURL& url) const
{
    return _page->identityForURL(url);
}

NSData WebView::picture() const
{
    return _page->picture();
}

void WebView::stopLoading()
{
    _page->stop();
}
