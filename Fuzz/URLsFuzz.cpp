// Addresses: the text is kept as it is written, its parts joined again give it back, and every part may be asked for.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/NSURLComponents.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSString text = fuzz::textOf(bytes, size);
    const NSURL url = NSURL::URLWithString(text);
    if (!url)
        return 0;
    fuzz::require(url.absoluteString() == text, "the text is kept as it is written");
    for (const char16_t unit : text.units())
        fuzz::require(unit > 0x20 && unit < 0x7f, "no character may stand in an address but printable ASCII");
    const auto port = url.port();
    fuzz::require(!port || *port >= 0, "a port is not negative");
    const NSString path = url.path();
    const NSString parts[] = {
        url.scheme(), url.user(), url.password(), url.host(), url.query(), url.fragment(), url.lastPathComponent()};
    for (const NSString& part : parts)
        fuzz::require(part.length() <= text.length(), "no part is longer than the whole");
    fuzz::require(path.length() <= text.length(), "the path is not longer than the whole");
    fuzz::require(
        url.isFileURL() == (url.scheme().lowercaseString() == NSString(u"file")), "a file's address has the scheme file");

    const NSURLComponents components = NSURLComponents::componentsWithURL(url, false);
    if (!components)
        return 0;
    fuzz::require(components.string() == text, "the parts joined again are the text");
    NSURLComponents changed = components;
    changed.setQueryItems(components.queryItems());
    const NSURLComponents again = NSURLComponents::componentsWithString(changed.string());
    fuzz::require(!again.isAbsent() && again.queryItems() == components.queryItems(), "query items that are set are read again");
    return 0;
}
