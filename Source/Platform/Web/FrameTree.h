#pragma once

#include "Platform/Web/DocumentLoad.h"
#include "Platform/Web/WebFrame.h"

#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

// The frames of a page, and the documents in them.
class FrameTree {
public:
    struct Entry {
        std::shared_ptr<WebFrame> frame;
        NSString name;   // given by the page; absent when it gave none
        std::optional<size_t> generatedNumber;
        std::shared_ptr<DocumentLoad> provisional;
        std::shared_ptr<DocumentLoad> committed;
        std::shared_ptr<DocumentLoad> cancelled;   // the load that was cancelled here last, when no other has begun since
        DocumentID abandoned;        // the document whose load failed here last: what the engine still says of it does not count
        bool hasBeenAsked = false;   // some load has started here
    };

    FrameTree(const FrameID& mainFrame, NSString mainFrameName, const std::weak_ptr<WebPage>& page);

    // Valid until the frame is detached; null for an unknown one.
    [[nodiscard]] Entry* find(const FrameID& frame);
    [[nodiscard]] Entry& mainFrame() { return *find(_mainFrame); }
    [[nodiscard]] bool isMainFrame(const FrameID& frame) const { return frame == _mainFrame; }
    [[nodiscard]] std::vector<FrameID> allFrames() const { return _order; }

    // The last child of `parent` from now on. Does nothing when the frame is there already or `parent` is not.
    void attach(const FrameID& frame, const FrameID& parent);
    // Takes the frame out with all below it, and gives what is out now, the deepest first. The main frame stays.
    [[nodiscard]] std::vector<Entry> detach(const FrameID& frame);
    // The same for all below `frame`.
    [[nodiscard]] std::vector<Entry> detachChildren(const FrameID& frame);

    // The page's name for the frame, else the generated one, which it then keeps: "<!--frameN-->", N counting from 0 over the
    // unnamed sub-frames in the order in which they came. Frames that show nothing yet, whose names may still come, are not
    // counted meanwhile. Absent for an unknown frame.
    [[nodiscard]] NSString nameOf(const FrameID& frame);
    // Generates the names that are missing, for all frames. For when the page is complete.
    void nameAllFrames();

private:
    void nameFramesThrough(const FrameID& frame);
    void number(Entry& entry);

    std::weak_ptr<WebPage> _page;
    FrameID _mainFrame;
    std::unordered_map<FrameID, Entry> _entries;
    std::vector<FrameID> _order;   // as they came, the main frame first
    size_t _generatedNumbers = 0;
};
