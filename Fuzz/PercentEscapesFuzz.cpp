// Percent escapes: what is escaped comes back, and what is kept escaped can be decoded later.

#include "FuzzSupport.h"
#include "Platform/Foundation/NSURL.h"
#include "QVRStringPercentEscapes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSString text = fuzz::textOf(bytes, size);
    const bool isWhole = text.strictUTF8().has_value();

    const NSString decoded = qvrDecodePercentEscapes(text);
    const NSString partly = qvrDecodePercentEscapesKeepingEscaped(text, u"%/\u00e9");
    fuzz::require(
        decoded.isAbsent() == partly.isAbsent(), "keeping characters escaped changes nothing about what can be decoded");
    if (decoded)
        fuzz::require(qvrDecodePercentEscapes(partly) == decoded, "what was kept escaped is decoded by a second pass");

    const NSString escaped = qvrEncodeForQueryString(text);
    fuzz::require(escaped.isAbsent() != isWhole, "a text is escaped exactly when it has a UTF-8 form");
    if (escaped) {
        fuzz::require(qvrDecodePercentEscapes(escaped) == text, "an escaped text comes back");
        fuzz::require(!NSURL::URLWithString(escaped).isAbsent(), "an escaped text may stand in an address");
    }
    const NSString keeping = qvrEncodeURLKeepingUnescaped(text, u"# \u00e9");
    if (keeping)
        fuzz::require(qvrDecodePercentEscapes(keeping) == text, "a text that is escaped in part comes back");
    return 0;
}
