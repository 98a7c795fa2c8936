#include "QVRStringComparison.h"

namespace {

bool finds(const NSString& string, const NSString& other, uint64_t options)
{
    return string.rangeOfString(other, options).location != NSNotFound;
}

}

bool qvrContainsString(const NSString& string, const NSString& other)
{
    return finds(string, other, NSLiteralSearch);
}

bool qvrCaseInsensitiveContainsString(const NSString& string, const NSString& other)
{
    return finds(string, other, NSCaseInsensitiveSearch);
}

bool qvrHasCaseInsensitivePrefix(const NSString& string, const NSString& prefix)
{
    return finds(string, prefix, NSAnchoredSearch | NSCaseInsensitiveSearch);
}

bool qvrCaseInsensitiveIsEqual(const NSString& string, const Value& object)
{
    return string && object.is(Value::Kind::String) && string.caseInsensitiveCompare(object.string()) == NSOrderedSame;
}

bool qvrHasDiacriticPrefix(const NSString& string, const NSString& prefix)
{
    return finds(string, prefix, NSAnchoredSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch);
}

bool qvrHasDiacriticInsensitivePrefix(const NSString& string, const NSString& prefix)
{
    return finds(
        string, prefix, NSAnchoredSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch | NSCaseInsensitiveSearch);
}

NSComparisonResult qvrCompareForDisplay(const NSString& string, const NSString& other)
{
    return string ? string.localizedCompare(other, NSCaseInsensitiveSearch | NSNumericSearch) : NSOrderedSame;
}

NSComparisonResult qvrCompareLength(const NSString& string, const NSString& other)
{
    if (!string || string.length() == other.length())
        return NSOrderedSame;
    return string.length() < other.length() ? NSOrderedAscending : NSOrderedDescending;
}
