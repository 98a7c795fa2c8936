#pragma once

#include "Platform/Print/NSView.h"

#include <memory>

class WebPage;

// Shows a view's main document. 1 point is 1 CSS pixel. What the engine cannot answer any more is empty or absent here.
class WebDocumentView final : public NSView {
public:
    explicit WebDocumentView(std::weak_ptr<WebPage> page) : NSView({}), _page(std::move(page)) { }

    // As large as the document is laid out, with all that overflows, and at least as large as the view.
    [[nodiscard]] NSRect bounds() override;
    // A frame that is higher than the view makes the next layout lay the document out for a view that shows it whole.
    void layout() override;

    // The document as it is laid out, without page breaks; what is outside the document is empty.
    [[nodiscard]] NSData dataWithPDFInsideRect(NSRect rect) override;
    // Fitting horizontally, a document that is wider than the paper between its margins is made smaller; none is made larger.
    // Pages break where the document allows it. Nothing is centred, whatever `info` says.
    [[nodiscard]] NSData dataWithPDFForPrintInfo(const NSPrintInfo& info) override;

private:
    std::weak_ptr<WebPage> _page;
};
