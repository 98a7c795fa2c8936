#include "Platform/Web/DOMElement.h"

std::shared_ptr<DOMElement> DOMElement::elementNamed(const NSString& localName)
{
    if (!localName)
        return nullptr;
    if (localName == NSString(u"frame"))
        return std::make_shared<DOMHTMLFrameElement>();
    if (localName == NSString(u"iframe"))
        return std::make_shared<DOMHTMLIFrameElement>();
    return std::shared_ptr<DOMElement>(new DOMElement(localName));
}
