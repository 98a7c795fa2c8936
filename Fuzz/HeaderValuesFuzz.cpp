// Values of header fields: whatever a server sends, a download's name is one plain name.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSURLResponse.h"
#include "Platform/Foundation/SuggestedFilename.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSString value = fuzz::textOf(bytes, size);
    const NSURL url = NSURL::URLWithString(u"http://host/folder/file.bin");
    for (const NSString& name : {suggestedFilename(value, url, u"text/html"), suggestedFilename({}, url, value),
             suggestedFilename({}, NSURL::URLWithUncheckedString(value), {}), cleanedFilename(value)}) {
        const std::string plain = name.UTF8();
        fuzz::require(plain.size() <= 255, "a name is short enough");
        fuzz::require(plain.find('/') == std::string::npos && plain.find('\0') == std::string::npos, "a name is in one folder");
        fuzz::require(plain != "." && plain != "..", "a name is no folder's");
    }
    (void)filenameFromContentDisposition(value).length();
    (void)pathExtensionForMIMEType(value).length();
    return 0;
}
