#include "Platform/Foundation/ICUText.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/StringFolding.h"

#include <unicode/ucol.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <utility>

namespace {

NSComparisonResult resultOf(auto a, auto b)
{
    return a == b ? NSOrderedSame : a < b ? NSOrderedAscending : NSOrderedDescending;
}

// The units of a text's keys, one after the other.
class FoldedUnits {
public:
    FoldedUnits(std::u16string_view text, uint64_t options) : _pieces(text, 0, options) { }

    // Whether the next unit begins a piece that has not been looked at.
    [[nodiscard]] bool isBetweenPieces() const { return _index == _length; }
    [[nodiscard]] FoldedPieces& pieces() { return _pieces; }
    // False at the end of the text. To be asked before the unit.
    [[nodiscard]] bool hasUnit()
    {
        if (isBetweenPieces()) {
            _length = _pieces.next() ? _pieces.key().size() : 0;
            _index = 0;
        }
        return _length > 0;
    }
    [[nodiscard]] char16_t unit() const { return _pieces.key()[_index]; }
    [[nodiscard]] bool isAtDigit() { return hasUnit() && unit() >= u'0' && unit() <= u'9'; }
    void advance() { ++_index; }

private:
    FoldedPieces _pieces;
    size_t _index = 0;
    size_t _length = 0;
};

// The place of a unit in the order of code points: surrogates come last.
uint32_t orderOf(char16_t unit)
{
    return U16_IS_SURROGATE(unit) ? unit + 0x10000u : unit;
}

// Compares the numbers at which both stand, of any length, and moves behind them.
NSComparisonResult compareDigits(FoldedUnits& a, FoldedUnits& b)
{
    const auto skipZeros = [](FoldedUnits& units) {
        while (units.isAtDigit() && units.unit() == u'0')
            units.advance();
    };
    skipZeros(a);
    skipZeros(b);
    NSComparisonResult firstDifference = NSOrderedSame;
    for (; a.isAtDigit() && b.isAtDigit(); a.advance(), b.advance()) {
        if (firstDifference == NSOrderedSame)
            firstDifference = resultOf(a.unit(), b.unit());
    }
    if (a.isAtDigit() != b.isAtDigit())
        return a.isAtDigit() ? NSOrderedDescending : NSOrderedAscending;
    return firstDifference;
}

NSComparisonResult compareFolded(std::u16string_view first, std::u16string_view second, uint64_t options)
{
    FoldedUnits a(first, options);
    FoldedUnits b(second, options);
    while (true) {
        if (a.isBetweenPieces() && b.isBetweenPieces())
            FoldedPieces::skipCommonFront(a.pieces(), b.pieces());
        if (!a.hasUnit() || !b.hasUnit())
            return resultOf(a.hasUnit(), b.hasUnit());
        if ((options & NSNumericSearch) && a.isAtDigit() && b.isAtDigit()) {
            if (const NSComparisonResult result = compareDigits(a, b))
                return result;
            continue;
        }
        if (a.unit() != b.unit())
            return resultOf(orderOf(a.unit()), orderOf(b.unit()));
        a.advance();
        b.advance();
    }
}

// The order of two texts whose first difference is one of printable ASCII characters without marks, which no folding is asked to
// touch. Most comparisons are settled so, and it takes a fraction of the time. Nothing when only the texts' keys can tell.
std::optional<NSComparisonResult> compareAtFirstDifference(std::u16string_view first, std::u16string_view second)
{
    const auto [a, b] = std::mismatch(first.begin(), first.end(), second.begin(), second.end());
    const auto standsAlone = [](auto unit, auto end) {
        return unit == end || (*unit >= u' ' && *unit <= u'~' && (unit + 1 == end || *(unit + 1) < u'\u0300'));
    };
    if (!standsAlone(a, first.end()) || !standsAlone(b, second.end()))
        return std::nullopt;
    if (a == first.end() || b == second.end())
        return resultOf(a != first.end(), b != second.end());
    return resultOf(*a, *b);
}

struct CollatorCloser {
    void operator()(UCollator* collator) const { ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, CollatorCloser>;

// The locale by whose rules the user sorts. The neutral locales have no rules for people, so the root's are taken.
std::string localeOfCollation()
{
    for (const char* const variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (!value || !*value)
            continue;
        const std::string name = std::string(value).substr(0, std::string_view(value).find_first_of(".@"));
        return name == "C" || name == "POSIX" ? std::string() : name;
    }
    return {};
}

Collator openCollator(const std::string& locale, uint64_t options)
{
    UErrorCode status = U_ZERO_ERROR;
    Collator collator(ucol_open(locale.c_str(), &status));
    expectSuccess(status);
    const auto set = [&](UColAttribute attribute, UColAttributeValue value) {
        ucol_setAttribute(collator.get(), attribute, value, &status);
        expectSuccess(status);
    };
    set(UCOL_NORMALIZATION_MODE, UCOL_ON);
    const bool ignoresCase = options & NSCaseInsensitiveSearch;
    if (options & NSDiacriticInsensitiveSearch) {
        set(UCOL_STRENGTH, UCOL_PRIMARY);
        set(UCOL_CASE_LEVEL, ignoresCase ? UCOL_OFF : UCOL_ON);
    } else {
        set(UCOL_STRENGTH, ignoresCase ? UCOL_SECONDARY : UCOL_TERTIARY);
    }
    if (options & NSNumericSearch)
        set(UCOL_NUMERIC_COLLATION, UCOL_ON);
    return collator;
}

// Opening a collator costs far more than using it, so each thread keeps those that it has used: few, since there are few options.
UCollator* collatorOfThread(uint64_t options)
{
    static thread_local std::map<std::pair<std::string, uint64_t>, Collator> collators;
    constexpr uint64_t known = NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSNumericSearch;
    Collator& collator = collators[{localeOfCollation(), options & known}];
    if (!collator)
        collator = openCollator(localeOfCollation(), options & known);
    return collator.get();
}

}

NSComparisonResult NSString::compare(const NSString& other, uint64_t options) const
{
    if (!_text)
        return NSOrderedSame;
    if (!other._text)
        return NSOrderedDescending;
    if (_text == other._text || *_text == *other._text)
        return NSOrderedSame;
    constexpr uint64_t foldings =
        NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch | NSNumericSearch;
    if ((options & NSLiteralSearch) && !(options & foldings))
        return resultOf(_text->compare(*other._text), 0);
    if (!(options & foldings)) {
        if (const auto result = compareAtFirstDifference(units(), other.units()))
            return *result;
    }
    return compareFolded(units(), other.units(), options);
}

NSComparisonResult NSString::caseInsensitiveCompare(const NSString& other) const
{
    return compare(other, NSCaseInsensitiveSearch);
}

NSComparisonResult NSString::localizedCompare(const NSString& other, uint64_t options) const
{
    if (!_text)
        return NSOrderedSame;
    if (!other._text)
        return NSOrderedDescending;
    if (_text == other._text)
        return NSOrderedSame;
    // Collation tells widths apart wherever it tells cases apart.
    if ((options & NSWidthInsensitiveSearch) && !(options & NSCaseInsensitiveSearch)) {
        const NSString a(foldedText(units(), NSWidthInsensitiveSearch));
        const NSString b(foldedText(other.units(), NSWidthInsensitiveSearch));
        return a.localizedCompare(b, options & ~uint64_t(NSWidthInsensitiveSearch));
    }
    const UCollationResult result = ucol_strcoll(
        collatorOfThread(options), _text->data(), lengthForICU(length()), other._text->data(), lengthForICU(other.length()));
    return resultOf(static_cast<int>(result), static_cast<int>(UCOL_EQUAL));
}
