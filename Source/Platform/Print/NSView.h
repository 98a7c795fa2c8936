#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSGeometry.h"

#include <vector>

class NSPrintInfo;
class NSWindow;

// Something with a place in a window that can be put on paper. Views do not own each other: one that goes leaves its superview,
// and its subviews stand alone from then on. Main thread only.
class NSView {
public:
    // `frame` in points, in the superview's coordinates.
    explicit NSView(NSRect frame) : _frame(frame) { }
    NSView(const NSView&) = delete;
    NSView& operator=(const NSView&) = delete;
    virtual ~NSView();

    [[nodiscard]] NSRect frame() const { return _frame; }
    virtual void setFrame(NSRect frame) { _frame = frame; }
    void setFrameSize(NSSize size) { setFrame({_frame.origin, size}); }
    // The view in its own coordinates.
    [[nodiscard]] virtual NSRect bounds() { return {{0, 0}, _frame.size}; }
    virtual void layout() { }

    // Takes `view` out of where it is. It must not be this view or one that this view is in.
    void addSubview(NSView& view);
    void removeFromSuperview();
    [[nodiscard]] NSView* superview() const { return _superview; }
    [[nodiscard]] const std::vector<NSView*>& subviews() const { return _subviews; }
    // The one that it is in, however deep; null when there is none.
    [[nodiscard]] NSWindow* window() const;

    // A PDF of one page that shows what is inside `rect`, in points of the view. Absent when the view cannot be printed.
    [[nodiscard]] virtual NSData dataWithPDFInsideRect(NSRect rect);
    // A PDF of the whole view on the pages that `info` describes. Absent when the view cannot be printed.
    [[nodiscard]] virtual NSData dataWithPDFForPrintInfo(const NSPrintInfo& info);

private:
    friend class NSWindow;

    NSRect _frame;
    NSView* _superview = nullptr;
    std::vector<NSView*> _subviews;
    NSWindow* _window = nullptr;   // of a window's content view only
};
