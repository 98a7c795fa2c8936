#include "QVRStringMunging.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/Value.h"
#include "QVRFunctions.h"
#include "QVRStringPunctuation.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <string>

namespace {

const icu::Normalizer2& decomposition()
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* const instance = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status))
        throw NSException(NSInternalInconsistencyException, u"The Unicode library has no canonical decomposition.");
    return *instance;
}

// The units that one character has when decomposed. Putting marks into canonical order changes no length, so the decomposed
// length of a text is the sum over its characters.
size_t decomposedLength(const icu::Normalizer2& normalizer, UChar32 character)
{
    if (character < 0x80)
        return 1;
    icu::UnicodeString decomposed;
    return normalizer.getDecomposition(character, decomposed) ? static_cast<size_t>(decomposed.length()) : U16_LENGTH(character);
}

// The units at the front of `text` that decompose into no more than `limit`.
size_t unitsWithinDecomposedLength(std::u16string_view text, uint64_t limit)
{
    const icu::Normalizer2& normalizer = decomposition();
    uint64_t decomposed = 0;
    for (size_t index = 0; index < text.size();) {
        const size_t start = index;
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        decomposed += decomposedLength(normalizer, character);
        if (decomposed > limit)
            return start;
    }
    return text.size();
}

NSString emptyUnlessAbsent(const NSString& string)
{
    return string ? NSString(u"") : NSString();
}

}

NSString qvrSubstringToString(const NSString& string, const NSString& other)
{
    const NSRange found = string.rangeOfString(other);
    return found.location == NSNotFound ? emptyUnlessAbsent(string) : string.substringToIndex(found.location);
}

NSString qvrSubstringFromString(const NSString& string, const NSString& other)
{
    const NSRange found = string.rangeOfString(other);
    return found.location == NSNotFound ? emptyUnlessAbsent(string) : string.substringFromIndex(found.location + found.length);
}

NSString qvrSubstringToIndex(const NSString& string, uint64_t index)
{
    return index < string.length() ? string.substringToIndex(index) : string;
}

NSString qvrSubstringFromIndex(const NSString& string, uint64_t index)
{
    return index < string.length() ? string.substringFromIndex(index) : emptyUnlessAbsent(string);
}

NSString qvrSubstringToComposedIndex(const NSString& string, uint64_t index)
{
    if (index >= string.length())
        return string;
    return string.substringToIndex(string.rangeOfComposedCharacterSequenceAtIndex(index).location);
}

NSString qvrStringByChopping(const NSString& string)
{
    return string.length() == 0 ? string : string.substringToIndex(string.length() - 1);
}

NSString qvrStringByChoppingComposedCharacter(const NSString& string)
{
    return string.length() < 2 ? emptyUnlessAbsent(string) : qvrSubstringToComposedIndex(string, string.length() - 1);
}

NSString qvrFirstSpaceComponent(const NSString& string)
{
    return qvrSubstringToIndex(string, string.units().find(u' '));
}

NSString qvrLastSpaceComponent(const NSString& string)
{
    const size_t space = string.units().rfind(u' ');
    return space == std::u16string_view::npos ? string : string.substringFromIndex(space + 1);
}

NSRange qvrRangeOfComposedCharacterSequencesInRange(const NSString& string, NSRange range)
{
    if (!string)
        return {};
    if (range.location >= string.length() || range.length > string.length() - range.location)
        throw NSException(NSRangeException, NSString::stringWithFormat(u"Invalid range %@.", NSStringFromRange(range)));
    const NSRange first = string.rangeOfComposedCharacterSequenceAtIndex(range.location);
    if (range.location + range.length == 0)
        return {0, 0};
    const NSRange last = string.rangeOfComposedCharacterSequenceAtIndex(range.location + range.length - 1);
    return {first.location, last.location + last.length - first.location};
}

NSString qvrStringByTruncatingMiddleAfterComposedLength(const NSString& string, uint64_t length)
{
    if (length >= string.length() || 2 * length >= string.length())
        return string;
    const NSRange middle = qvrRangeOfComposedCharacterSequencesInRange(string, {length, string.length() - 2 * length});
    const std::u16string_view units = string.units();
    std::u16string truncated(units.substr(0, middle.location));
    truncated.append(qvrEllipsis().units()).append(units.substr(middle.location + middle.length));
    return truncated;
}

NSString qvrJoin(const NSString& separator, const NSArray& array)
{
    return separator ? array.componentsJoinedByString(separator) : NSString();
}

NSString qvrStringByEnsuringSuffix(const NSString& string, const NSString& suffix)
{
    return !string || !suffix || string.hasSuffix(suffix) ? string : string.stringByAppendingString(suffix);
}

NSString qvrStringByAddingSuffix(const NSString& stem, const NSString& suffix, uint64_t total)
{
    if (!stem)
        return {};
    if (suffix.length() > total) {
        // The place is part of the failure's text, which readers of logs know.
        static constexpr const char* operation = "-[NSString(QVRMunging) qvrStringByAddingSuffix:trimmingStemToTotal:]";
        static constexpr const char* file = "Source/NSString+QVRBasics";
        QVRFunctions::assertionFailedForFile(
            file, 150, stem, QVRFunctions::selectorOfOperation(operation), u"suffix: '%@' length: %llu", suffix, total);
        QVRFunctions::abortAfterAssertion(operation, file, 150, "(false)");
    }

    const uint64_t suffixLength = suffix.decomposedStringWithCanonicalMapping().length();
    NSString trimmed = u"";
    if (suffixLength <= total) {
        // The first unit that no longer fits takes its whole sequence with it; what stands before it fits.
        trimmed = qvrSubstringToComposedIndex(stem, unitsWithinDecomposedLength(stem.units(), total - suffixLength));
    }
    return suffix ? trimmed.stringByAppendingString(suffix) : trimmed;
}

NSString qvrStringByReplacingString(const NSString& string, const NSString& target, const NSString& withString)
{
    return string.stringByReplacingOccurrencesOfString(target, withString, NSLiteralSearch);
}

NSString qvrStringByReplacingFirstOccurrenceOfString(const NSString& string, const NSString& target, const NSString& withString)
{
    const NSRange found = string.rangeOfString(target);
    if (found.location == NSNotFound)
        return string;
    std::u16string replaced(string.units());
    replaced.replace(found.location, found.length, withString.units());
    return replaced;
}

NSString qvrStringByExpandingKeysInDictionary(const NSString& string, const NSDictionary& dictionary)
{
    NSString expanded = string;
    for (const auto& [key, value] : dictionary)
        expanded = qvrStringByReplacingString(expanded, key, value.description());
    return expanded;
}

NSString qvrStringByChunking(const NSString& string, uint64_t length, const NSString& separator)
{
    const std::u16string_view units = string.units();
    if (units.size() < 2)
        return string;
    QVRFunctions::checkPrecondition(length != 0, "n != 0", string, "-[NSString(QVRMunging) qvrStringByChunking:with:]");
    std::u16string chunked;
    chunked.reserve(units.size() + (units.size() - 1) / length * separator.length());
    for (size_t start = 0; start < units.size();) {
        const size_t count = std::min<uint64_t>(length, units.size() - start);
        chunked.append(units.substr(start, count));
        start += count;
        if (start < units.size())
            chunked.append(separator.units());
    }
    return chunked;
}
