#pragma once

#include "Platform/Web/WebArchive.h"

#include <memory>

class WebFrame;

// The document that a frame shows, as it stands. Copies are the same document. A default-constructed one is absent. Main thread
// only.
class DOMDocument {
public:
    DOMDocument() = default;

    [[nodiscard]] bool isAbsent() const { return _frame == nullptr; }
    explicit operator bool() const { return _frame != nullptr; }

    // The frame's archive with those of all frames below it, made of the documents as they stand: their markup in UTF-8. Frames
    // that show no markup (a picture, a PDF) are kept as their servers sent them. Absent for a frame that shows nothing. Throws
    // NSException when the engine cannot answer.
    [[nodiscard]] WebArchive webArchive() const;

private:
    friend class WebFrame;
    explicit DOMDocument(std::shared_ptr<const WebFrame> frame) : _frame(std::move(frame)) { }
    std::shared_ptr<const WebFrame> _frame;
};
