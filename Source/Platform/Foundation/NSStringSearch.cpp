#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/StringSearch.h"
#include "Platform/Foundation/Value.h"

namespace {

constexpr NSRange notFound = {NSNotFound, 0};

void checkRange(const char16_t* operation, NSRange range, size_t length)
{
    if (range.location > length || range.length > length - range.location) {
        throw NSException(NSRangeException,
            NSString::stringWithFormat(u"-[NSString %S]: Range %@ out of bounds; string length %llu", operation,
                NSStringFromRange(range), static_cast<uint64_t>(length)));
    }
}

bool isLineEnd(char16_t unit)
{
    return unit == u'\n' || unit == u'\r' || unit == 0x85 || unit == 0x2028 || unit == 0x2029;
}

}

NSRange NSString::rangeOfString(const NSString& string, uint64_t options) const
{
    return rangeOfString(string, options, {0, length()});
}

NSRange NSString::rangeOfString(const NSString& string, uint64_t options, NSRange range) const
{
    if (!_text)
        return notFound;
    checkRange(u"rangeOfString:options:range:", range, length());
    if (string.length() == 0)
        return notFound;
    return StringSearch(units(), string.units(), options, range).next().value_or(notFound);
}

bool NSString::hasPrefix(const NSString& prefix) const
{
    return rangeOfString(prefix, NSAnchoredSearch).location != NSNotFound;
}

bool NSString::hasSuffix(const NSString& suffix) const
{
    return rangeOfString(suffix, NSAnchoredSearch | NSBackwardsSearch).location != NSNotFound;
}

NSString NSString::stringByReplacingOccurrencesOfString(
    const NSString& target, const NSString& replacement, uint64_t options) const
{
    if (length() == 0 || target.length() == 0)
        return *this;
    const uint64_t forwards = options & ~uint64_t(NSBackwardsSearch | NSAnchoredSearch);
    StringSearch search(units(), target.units(), forwards, {0, length()});
    auto found = search.next();
    if (!found)
        return *this;
    std::u16string replaced;
    replaced.reserve(length());
    size_t start = 0;
    for (; found; found = search.next()) {
        replaced.append(units().substr(start, found->location - start)).append(replacement.units());
        start = found->location + found->length;
    }
    replaced.append(units().substr(start));
    return replaced;
}

NSArray NSString::componentsSeparatedByString(const NSString& separator) const
{
    if (!_text)
        return {};
    if (separator.length() == 0)
        return {*this};
    std::vector<Value> components;
    StringSearch search(units(), separator.units(), NSLiteralSearch, {0, length()});
    size_t start = 0;
    while (const auto found = search.next()) {
        components.emplace_back(NSString(units().substr(start, found->location - start)));
        start = found->location + found->length;
    }
    components.emplace_back(substringFromIndex(start));
    return NSArray(std::move(components));
}

NSRange NSString::rangeOfComposedCharacterSequenceAtIndex(size_t index) const
{
    if (!_text)
        return {};
    if (index >= length()) {
        throw NSException(NSRangeException,
            stringWithFormat(
                u"-[NSString rangeOfComposedCharacterSequenceAtIndex:]: Index %llu out of bounds; string length %llu",
                static_cast<uint64_t>(index), static_cast<uint64_t>(length())));
    }
    return ComposedCharacterSequences::sequenceAt(units(), index);
}

NSLineRange NSString::lineRangeForRange(NSRange range) const
{
    if (!_text)
        return {};
    checkRange(u"lineRangeForRange:", range, length());
    const std::u16string_view text = units();
    const auto isInsideCRLF = [&](size_t position) {
        return position > 0 && position < text.size() && text[position - 1] == u'\r' && text[position] == u'\n';
    };
    NSLineRange line;
    // 1. Back to the end of the line before. A place between CR and LF belongs to the line that both end.
    size_t start = range.location - (isInsideCRLF(range.location) ? 1 : 0);
    while (start > 0 && !isLineEnd(text[start - 1]))
        --start;
    line.start = start;
    // 2. On to the first line end at or behind the last unit of the range.
    size_t end = range.length > 0 ? range.location + range.length - 1 : range.location;
    end -= isInsideCRLF(end) ? 1 : 0;
    while (end < text.size() && !isLineEnd(text[end]))
        ++end;
    line.contentsEnd = end;
    // 3. Behind that line end.
    if (end < text.size())
        end += isInsideCRLF(end + 1) ? 2 : 1;
    line.end = end;
    return line;
}
