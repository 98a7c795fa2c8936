#pragma once

#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSString.h"

#include <memory>

// An element of a document, as far as the view's users need to know: what kind it is.
class DOMElement : public NSObject {
public:
    // The element for that local name: a DOMHTMLFrameElement for "frame", a DOMHTMLIFrameElement for "iframe", else a plain one.
    // Null for an absent name.
    [[nodiscard]] static std::shared_ptr<DOMElement> elementNamed(const NSString& localName);

    // In small letters: "iframe".
    [[nodiscard]] NSString localName() const { return _localName; }
    [[nodiscard]] Class classObject() const override { return Class("DOMElement"); }

protected:
    explicit DOMElement(NSString localName) : _localName(std::move(localName)) { }

private:
    NSString _localName;
};

// A frame of a frameset. Inline frames are not.
class DOMHTMLFrameElement : public DOMElement {
public:
    DOMHTMLFrameElement() : DOMElement(u"frame") { }
    [[nodiscard]] Class classObject() const override { return Class("DOMHTMLFrameElement"); }
};

class DOMHTMLIFrameElement : public DOMElement {
public:
    DOMHTMLIFrameElement() : DOMElement(u"iframe") { }
    [[nodiscard]] Class classObject() const override { return Class("DOMHTMLIFrameElement"); }
};
