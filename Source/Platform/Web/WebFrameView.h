#pragma once

#include "Platform/Web/WebDocumentView.h"

#include <memory>

class WebFrame;
class WebPage;

// What shows a frame. Made by its frame.
class WebFrameView {
public:
    WebFrameView(std::weak_ptr<const WebFrame> frame, std::weak_ptr<WebPage> page)
        : _frame(std::move(frame)), _documentView(std::move(page))
    {
    }

    // What shows the frame's document, always the same one. Null while the frame shows none, and for frames inside others, which
    // are part of what the main frame shows.
    [[nodiscard]] WebDocumentView* documentView();

private:
    std::weak_ptr<const WebFrame> _frame;
    WebDocumentView _documentView;
};
