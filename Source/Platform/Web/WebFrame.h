#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Web/DOMDocument.h"
#include "Platform/Web/DOMElement.h"
#include "Platform/Web/WebDataSource.h"

#include <memory>
#include <vector>

class WebFrameView;
class WebPage;

// A frame of a view: the main one, or one inside it at any depth. It keeps its identity through all its documents. Made by its
// view only; one that was removed, or whose view is gone, has no parent, no children and no document, and does nothing. Main
// thread only, but for description.
class WebFrame final : public NSObject, public std::enable_shared_from_this<WebFrame> {
public:
    // The name that the page gave it; a frame without one has a generated name, "<!--frame0-->" for the first of the view. The
    // main frame's is the one that the view was made with, else "".
    [[nodiscard]] NSString name() const;
    // The document that it shows, and the one that is about to take its place; either may be absent.
    [[nodiscard]] WebDataSource dataSource() const;
    [[nodiscard]] WebDataSource provisionalDataSource() const;
    // In the order in which they were added.
    [[nodiscard]] const std::vector<std::shared_ptr<WebFrame>>& childFrames() const { return _childFrames; }
    // Null for a main frame.
    [[nodiscard]] std::shared_ptr<WebFrame> parentFrame() const { return _parentFrame.lock(); }

    // Loads a request into the main frame, with the view's preferences; news comes while the run loop runs. What is loading there
    // is stopped. Any other frame loads only what its page says: for it NSInvalidArgumentException is thrown.
    void loadRequest(const NSURLRequest& request);
    // Shows an archive in the main frame, as loadRequest shows a page, under the address that the archive gives it: its
    // frames get their own archived pages, and each frame what its own archive holds. What the archive does not hold is
    // requested as for any page. An archive without an address that can be loaded is shown under one that stands for it. Does
    // nothing for an absent archive.
    void loadArchive(const WebArchive& archive);
    // Stops every load of the view.
    void stopLoading();

    // Absent until the frame shows a document.
    [[nodiscard]] ::DOMDocument DOMDocument() const;
    // The element that holds the frame. Null for the main frame and when the engine does not tell. Throws NSException when the
    // engine cannot answer.
    [[nodiscard]] std::shared_ptr<DOMElement> frameElement() const;
    // What shows the frame's document. Null for a frame that is removed or whose view is gone.
    [[nodiscard]] std::shared_ptr<WebFrameView> frameView() const;
    // The engine's name of this frame.
    [[nodiscard]] const FrameID& frameID() const { return _frameID; }

    [[nodiscard]] Class classObject() const override { return Class("WebFrame"); }
    // "<WebFrame: 0xaddress>".

private:
    friend class DOMDocument;
    friend class FrameTree;
    WebFrame(FrameID frameID, std::weak_ptr<WebPage> page) : _frameID(std::move(frameID)), _page(std::move(page)) { }

    FrameID _frameID;
    std::weak_ptr<WebPage> _page;
    std::weak_ptr<WebFrame> _parentFrame;
    std::vector<std::shared_ptr<WebFrame>> _childFrames;
    mutable std::shared_ptr<WebFrameView> _frameView;   // made when it is first asked for
};
