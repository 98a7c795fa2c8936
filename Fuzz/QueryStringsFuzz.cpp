// Query strings: the entries that are read are read again from the query that is made of them.

#include "FuzzSupport.h"
#include "Platform/Foundation/Value.h"
#include "QVRStringPercentEscapes.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const NSString text = fuzz::textOf(bytes, size);
    const NSDictionary entries = qvrQueryStringDictionary(text);
    fuzz::require(!entries.isAbsent(), "a text has entries, if none");
    const NSString fromItems = qvrQueryStringFromQueryItems(entries);
    const NSString fromPairs = qvrQueryStringFromEscapedPairs(entries);
    // Half of a surrogate pair cannot be escaped and is replaced, and two names can become one by that.
    if (text.strictUTF8()) {
        fuzz::require(qvrQueryStringDictionary(fromItems) == entries, "a query of items is read back");
        fuzz::require(qvrQueryStringDictionary(fromPairs) == entries, "a query of escaped pairs is read back");
    }
    const NSDictionary again = qvrQueryStringDictionary(fromItems);
    fuzz::require(again.count() <= entries.count(), "no entries appear");
    fuzz::require(
        qvrQueryStringFromQueryItems(again) == fromItems || again.count() < entries.count(), "the order of names is kept");
    return 0;
}
