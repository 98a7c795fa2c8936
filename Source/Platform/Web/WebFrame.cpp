#include "Platform/Web/WebFrame.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Web/WebFrameView.h"
#include "Platform/Web/WebPage.h"

namespace {

// What the page knows of the frame; null when the frame was removed or the page is gone.
FrameTree::Entry* entryOf(const WebFrame& frame, const std::shared_ptr<WebPage>& page)
{
    FrameTree::Entry* entry = page ? page->frames().find(frame.frameID()) : nullptr;
    return entry && entry->frame.get() == &frame && page->view() ? entry : nullptr;
}

}

NSString WebFrame::name() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    return entryOf(*this, page) ? page->frames().nameOf(_frameID) : NSString();
}

WebDataSource WebFrame::dataSource() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    const FrameTree::Entry* entry = entryOf(*this, page);
    return entry && entry->committed ? entry->committed->dataSource() : WebDataSource();
}

WebDataSource WebFrame::provisionalDataSource() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    const FrameTree::Entry* entry = entryOf(*this, page);
    return entry && entry->provisional ? entry->provisional->dataSource() : WebDataSource();
}

void WebFrame::loadRequest(const NSURLRequest& request)
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!entryOf(*this, page))
        return;
    if (!page->frames().isMainFrame(_frameID))
        throw NSException(NSInvalidArgumentException, u"Only the main frame can be given a request to load.");
    page->load(request);
}

void WebFrame::loadArchive(const WebArchive& archive)
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!entryOf(*this, page) || !archive)
        return;
    if (!page->frames().isMainFrame(_frameID))
        throw NSException(NSInvalidArgumentException, u"Only the main frame can be given an archive to show.");
    page->loadArchive(archive);
}

void WebFrame::stopLoading()
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (entryOf(*this, page))
        page->stop();
}

::DOMDocument WebFrame::DOMDocument() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    const FrameTree::Entry* entry = entryOf(*this, page);
    // A frame that nothing was loaded into shows an empty document, which scripts may have filled.
    const bool showsDocument = entry && (entry->committed || (!entry->hasBeenAsked && !page->frames().isMainFrame(_frameID)));
    return showsDocument ? ::DOMDocument(shared_from_this()) : ::DOMDocument();
}

std::shared_ptr<DOMElement> WebFrame::frameElement() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!entryOf(*this, page) || page->frames().isMainFrame(_frameID))
        return nullptr;
    return DOMElement::elementNamed(page->frameElement(_frameID));
}

std::shared_ptr<WebFrameView> WebFrame::frameView() const
{
    const std::shared_ptr<WebPage> page = _page.lock();
    if (!entryOf(*this, page))
        return nullptr;
    if (!_frameView)
        _frameView = std::make_shared<WebFrameView>(weak_from_this(), _page);
    return _frameView;
}
