// Each string operation on texts of 1 KiB to 1 MiB (in UTF-16 units), beside the bare ICU call that it rests on, where there is
// one. The time of an operation grows with the length of its text; "BigO" at the end of each group says how.

#include "Platform/Foundation/Value.h"
#include "QVRPath.h"
#include "QVRString.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <unicode/normlzr.h>
#include <unicode/ubrk.h>
#include <unicode/ucnv.h>
#include <unicode/ucol.h>
#include <unicode/uniset.h>
#include <unicode/unorm2.h>
#include <unicode/usearch.h>
#include <unicode/ustring.h>
#include <utility>
#include <vector>

namespace {

// Words of a page's text: mostly ASCII, some accents, now and then an emoji.
NSString pageText(int64_t length)
{
    static constexpr std::u16string_view words[] = {u"the ", u"page ", u"caf\u00e9 ", u"title, ", u"na\u00efve ", u"loads ",
        u"in ", u"7 ", u"seconds.\n", u"\U0001f600 ", u"Stra\u00dfe ", u"a=b&c "};
    std::u16string text;
    for (size_t index = 0; text.size() < static_cast<size_t>(length); ++index)
        text += words[index * 7 % std::size(words)];
    text.resize(static_cast<size_t>(length));
    return text;
}

NSString repeatedText(std::u16string_view part, int64_t length)
{
    std::u16string text;
    while (text.size() + part.size() <= static_cast<size_t>(length))
        text += part;
    return text;
}

int32_t lengthOf(std::u16string_view text)
{
    return static_cast<int32_t>(text.size());
}

// Measures `operation` on a text made by `make`.
template <typename Make, typename Operation>
void measure(benchmark::State& state, Make make, Operation operation)
{
    const NSString text = make(state.range(0));
    for (auto iteration : state)
        benchmark::DoNotOptimize(operation(text));
    state.SetComplexityN(state.range(0));
    state.SetBytesProcessed(state.iterations() * state.range(0) * static_cast<int64_t>(sizeof(char16_t)));
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->RangeMultiplier(32)->Range(1 << 10, 1 << 20)->Complexity();
}

// An operation on a page's text.
#define ON_PAGE_TEXT(name, expression)                                                                                           \
    void name(benchmark::State& state)                                                                                           \
    {                                                                                                                            \
        measure(state, pageText, [](const NSString& text) { return expression; });                                               \
    }                                                                                                                            \
    BENCHMARK(name)->Apply(sizes)

// Conversions.
ON_PAGE_TEXT(qvrDataUsingEncodingUTF8, qvrDataUsingEncoding(text, NSUTF8StringEncoding));

void icuToUTF8(benchmark::State& state)
{
    measure(state, pageText, [](const NSString& text) {
        std::string bytes(text.length() * 3, '\0');
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strToUTF8(
            bytes.data(), static_cast<int32_t>(bytes.size()), &length, text.units().data(), lengthOf(text.units()), &status);
        bytes.resize(static_cast<size_t>(length));
        return bytes;
    });
}
BENCHMARK(icuToUTF8)->Apply(sizes);

void qvrStringWithUTF8Data(benchmark::State& state)
{
    const NSData data = pageText(state.range(0)).dataUsingEncoding(NSUTF8StringEncoding, true);
    for (auto iteration : state)
        benchmark::DoNotOptimize(::qvrStringWithUTF8Data(data));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(qvrStringWithUTF8Data)->Apply(sizes);

void icuFromUTF8(benchmark::State& state)
{
    const std::string bytes = pageText(state.range(0)).UTF8();
    for (auto iteration : state) {
        std::u16string units(bytes.size(), u'\0');
        int32_t length = 0;
        UErrorCode status = U_ZERO_ERROR;
        u_strFromUTF8(units.data(), lengthOf(units), &length, bytes.data(), static_cast<int32_t>(bytes.size()), &status);
        units.resize(static_cast<size_t>(length));
        benchmark::DoNotOptimize(units);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(icuFromUTF8)->Apply(sizes);

void qvrStringWithDataMacOSRoman(benchmark::State& state)
{
    const NSData data = NSData::dataWithBytes(std::string(static_cast<size_t>(state.range(0)), '\x8e'));
    for (auto iteration : state)
        benchmark::DoNotOptimize(qvrStringWithData(data, NSMacOSRomanStringEncoding));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(qvrStringWithDataMacOSRoman)->Apply(sizes);

void icuFromMacOSRoman(benchmark::State& state)
{
    const std::string bytes(static_cast<size_t>(state.range(0)), '\x8e');
    for (auto iteration : state) {
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(ucnv_open("macintosh", &status), ucnv_close);
        std::u16string units(bytes.size(), u'\0');
        ucnv_toUChars(converter.get(), units.data(), lengthOf(units), bytes.data(), static_cast<int32_t>(bytes.size()), &status);
        benchmark::DoNotOptimize(units);
    }
    state.SetComplexityN(state.range(0));
}
BENCHMARK(icuFromMacOSRoman)->Apply(sizes);

// Comparisons.
void qvrCaseInsensitiveIsEqual(benchmark::State& state)
{
    const NSString other = pageText(state.range(0)).uppercaseString().lowercaseString();
    measure(state, pageText, [&](const NSString& text) { return ::qvrCaseInsensitiveIsEqual(text, other); });
}
BENCHMARK(qvrCaseInsensitiveIsEqual)->Apply(sizes);

// Both texts decomposed and folded, as canonically equivalent texts are to count as the same.
void icuCaseInsensitiveCompare(benchmark::State& state)
{
    const NSString other = pageText(state.range(0)).uppercaseString().lowercaseString();
    measure(state, pageText, [&](const NSString& text) {
        UErrorCode status = U_ZERO_ERROR;
        return unorm_compare(text.units().data(), lengthOf(text.units()), other.units().data(), lengthOf(other.units()),
            U_COMPARE_IGNORE_CASE, &status);
    });
}
BENCHMARK(icuCaseInsensitiveCompare)->Apply(sizes);

// Texts of other scripts that differ in the case of every letter, or only at the end where a script has no case.
template <const char16_t* part>
std::pair<NSString, NSString> alikeTexts(int64_t length)
{
    const NSString text = repeatedText(part, length);
    return {text.uppercaseString(), text.stringByAppendingString(u"!")};
}

template <const char16_t* part>
void compareWithoutCase(benchmark::State& state)
{
    const auto [text, other] = alikeTexts<part>(state.range(0));
    for (auto iteration : state)
        benchmark::DoNotOptimize(text.caseInsensitiveCompare(other));
    state.SetComplexityN(state.range(0));
}

template <const char16_t* part>
void icuCompareWithoutCase(benchmark::State& state)
{
    const auto [text, other] = alikeTexts<part>(state.range(0));
    for (auto iteration : state) {
        UErrorCode status = U_ZERO_ERROR;
        benchmark::DoNotOptimize(unorm_compare(text.units().data(), lengthOf(text.units()), other.units().data(),
            lengthOf(other.units()), U_COMPARE_IGNORE_CASE, &status));
    }
    state.SetComplexityN(state.range(0));
}

#define ON_SCRIPT(name, text)                                                                                                    \
    constexpr char16_t name[] = text;                                                                                            \
    BENCHMARK(compareWithoutCase<name>)->Apply(sizes);                                                                           \
    BENCHMARK(icuCompareWithoutCase<name>)->Apply(sizes)

ON_SCRIPT(cyrillic, u"съешь ещё этих мягких французских булок, ");
ON_SCRIPT(greek, u"ξεσκεπάζω την ψυχοφθόρα βδελυγμία, ");
ON_SCRIPT(devanagari, u"ऋषियों को सताने वाले दुष्ट राक्षसों, ");
ON_SCRIPT(korean, u"다람쥐 헌 쳇바퀴에 타고파, ");
ON_SCRIPT(chinese, u"視野無限廣，窗外有藍天。");

void qvrCompareForDisplay(benchmark::State& state)
{
    const NSString other = pageText(state.range(0)).stringByAppendingString(u"!");
    measure(state, pageText, [&](const NSString& text) { return ::qvrCompareForDisplay(text, other); });
}
BENCHMARK(qvrCompareForDisplay)->Apply(sizes);

void icuCollate(benchmark::State& state)
{
    const NSString other = pageText(state.range(0)).stringByAppendingString(u"!");
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UCollator, decltype(&ucol_close)> collator(ucol_open("", &status), ucol_close);
    ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
    ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    measure(state, pageText, [&](const NSString& text) {
        return ucol_strcoll(
            collator.get(), text.units().data(), lengthOf(text.units()), other.units().data(), lengthOf(other.units()));
    });
}
BENCHMARK(icuCollate)->Apply(sizes);

// Searches that find nothing, so that they read all of the text.
ON_PAGE_TEXT(qvrContainsString, ::qvrContainsString(text, u"zebra"));

void icuFind(benchmark::State& state)
{
    measure(state, pageText,
        [](const NSString& text) { return u_strFindFirst(text.units().data(), lengthOf(text.units()), u"zebra", 5); });
}
BENCHMARK(icuFind)->Apply(sizes);

ON_PAGE_TEXT(qvrCaseInsensitiveContainsString, ::qvrCaseInsensitiveContainsString(text, u"ZEBRA"));
ON_PAGE_TEXT(qvrSubstringFromString, ::qvrSubstringFromString(text, u"zebra"));

template <UCollationStrength strength>
void icuSearch(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UCollator, decltype(&ucol_close)> collator(ucol_open("", &status), ucol_close);
    ucol_setStrength(collator.get(), strength);
    measure(state, pageText, [&](const NSString& text) {
        const std::unique_ptr<UStringSearch, decltype(&usearch_close)> search(
            usearch_openFromCollator(u"zebra", 5, text.units().data(), lengthOf(text.units()), collator.get(), nullptr, &status),
            usearch_close);
        return usearch_first(search.get(), &status);
    });
}
BENCHMARK(icuSearch<UCOL_SECONDARY>)->Apply(sizes);
BENCHMARK(icuSearch<UCOL_TERTIARY>)->Apply(sizes);

ON_PAGE_TEXT(qvrHasCaseInsensitivePrefix, ::qvrHasCaseInsensitivePrefix(text, u"THE P"));
ON_PAGE_TEXT(qvrHasDiacriticPrefix, ::qvrHasDiacriticPrefix(text, u"the p"));
ON_PAGE_TEXT(qvrHasDiacriticInsensitivePrefix, ::qvrHasDiacriticInsensitivePrefix(text, u"THE P"));
ON_PAGE_TEXT(qvrCompareLength, ::qvrCompareLength(text, u""));

// Composed character sequences. One question costs the same in a text of any length.
ON_PAGE_TEXT(qvrStringByChoppingComposedCharacter, ::qvrStringByChoppingComposedCharacter(text));
ON_PAGE_TEXT(qvrSubstringToComposedIndex, ::qvrSubstringToComposedIndex(text, text.length() / 2));
ON_PAGE_TEXT(qvrStringByTruncatingMiddle, qvrStringByTruncatingMiddleAfterComposedLength(text, text.length() / 4));
ON_PAGE_TEXT(qvrRangeOfComposedCharacterSequencesInRange,
    ::qvrRangeOfComposedCharacterSequencesInRange(text, {text.length() / 4, text.length() / 2}));

void icuBoundary(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UBreakIterator, decltype(&ubrk_close)> iterator(
        ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status), ubrk_close);
    measure(state, pageText, [&](const NSString& text) {
        ubrk_setText(iterator.get(), text.units().data(), lengthOf(text.units()), &status);
        return ubrk_preceding(iterator.get(), lengthOf(text.units()) / 2);
    });
}
BENCHMARK(icuBoundary)->Apply(sizes);

// Half of the text stays.
ON_PAGE_TEXT(qvrStringByAddingSuffix, ::qvrStringByAddingSuffix(text, u".html", text.length() / 2));

void icuDecompose(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getNFDInstance(&status);
    measure(state, pageText, [&](const NSString& text) {
        std::u16string decomposed(text.length() * 2, u'\0');
        unorm2_normalize(
            normalizer, text.units().data(), lengthOf(text.units()) / 2, decomposed.data(), lengthOf(decomposed), &status);
        return decomposed;
    });
}
BENCHMARK(icuDecompose)->Apply(sizes);

// Units.
const NSCharacterSet& letters()
{
    static const NSCharacterSet set = NSCharacterSet::letterCharacterSet();
    return set;
}

ON_PAGE_TEXT(qvrStringByKeepingCharactersInSet, ::qvrStringByKeepingCharactersInSet(text, letters()));
void qvrMatchesCharacterSet(benchmark::State& state)
{
    measure(
        state, [](int64_t length) { return repeatedText(u"caf\u00e9", length); },
        [](const NSString& text) { return ::qvrMatchesCharacterSet(text, letters()); });
}
BENCHMARK(qvrMatchesCharacterSet)->Apply(sizes);

void icuSetContains(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet set(u"[[:L:][:M:]]", status);
    set.freeze();
    measure(
        state, [](int64_t length) { return repeatedText(u"caf\u00e9", length); },
        [&](const NSString& text) {
            size_t members = 0;
            for (const char16_t unit : text.units())
                members += set.contains(unit);
            return members;
        });
}
BENCHMARK(icuSetContains)->Apply(sizes);

ON_PAGE_TEXT(qvrStringByTrimmingNulls, ::qvrStringByTrimmingNulls(text));
ON_PAGE_TEXT(qvrCountOccurrencesOfCharacter, ::qvrCountOccurrencesOfCharacter(text, u'e'));
ON_PAGE_TEXT(qvrContainsCharacter, ::qvrContainsCharacter(text, u'\u4e2d'));
void qvrStringByStripping(benchmark::State& state)
{
    measure(
        state, [](int64_t length) { return repeatedText(u" \n", length); },
        [](const NSString& text) { return ::qvrStringByStripping(text); });
}
BENCHMARK(qvrStringByStripping)->Apply(sizes);

// Parts, replacements, lines.
ON_PAGE_TEXT(qvrSubstringToIndex, ::qvrSubstringToIndex(text, text.length() / 2));
ON_PAGE_TEXT(qvrSubstringFromIndex, ::qvrSubstringFromIndex(text, text.length() / 2));
ON_PAGE_TEXT(qvrStringByChopping, ::qvrStringByChopping(text));
ON_PAGE_TEXT(qvrStringByEnsuringSuffix, ::qvrStringByEnsuringSuffix(text, u".html"));
ON_PAGE_TEXT(qvrFirstSpaceComponent, ::qvrFirstSpaceComponent(text));
ON_PAGE_TEXT(qvrLastSpaceComponent, ::qvrLastSpaceComponent(text));
ON_PAGE_TEXT(qvrStringByReplacingString, ::qvrStringByReplacingString(text, u"page", u"document"));
ON_PAGE_TEXT(qvrStringByReplacingFirstOccurrence, qvrStringByReplacingFirstOccurrenceOfString(text, u"seconds", u"minutes"));
ON_PAGE_TEXT(qvrStringByExpandingKeys, qvrStringByExpandingKeysInDictionary(text, {{u"page", u"document"}, {u"title", u"name"}}));
ON_PAGE_TEXT(qvrStringByChunking, ::qvrStringByChunking(text, 4, u" "));
ON_PAGE_TEXT(qvrJoin, ::qvrJoin(u", ", {text, text}));
ON_PAGE_TEXT(qvrDoubleQuotedString, ::qvrDoubleQuotedString(text));
ON_PAGE_TEXT(qvrComponentsSeparatedByLineSeparators, ::qvrComponentsSeparatedByLineSeparators(text));
void qvrStringByNormalizingLineBreaks(benchmark::State& state)
{
    measure(
        state, [](int64_t length) { return repeatedText(u"a line of text\r\n", length); },
        [](const NSString& text) { return ::qvrStringByNormalizingLineBreaks(text); });
}
BENCHMARK(qvrStringByNormalizingLineBreaks)->Apply(sizes);
ON_PAGE_TEXT(qvrMakeFileNameValid, ::qvrMakeFileNameValid(text));

// Percent escapes. They rest on looking each character up in the set of legal ones and on the conversion to and from UTF-8.
void icuLookUpAndToUTF8(benchmark::State& state)
{
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet set(u"[A-Za-z0-9;/?:@+$,\\-_.!~*'()]", status);
    set.freeze();
    measure(state, pageText, [&](const NSString& text) {
        size_t members = 0;
        for (const char16_t unit : text.units())
            members += set.contains(unit);
        benchmark::DoNotOptimize(members);
        std::string bytes(text.length() * 3, '\0');
        int32_t length = 0;
        u_strToUTF8(
            bytes.data(), static_cast<int32_t>(bytes.size()), &length, text.units().data(), lengthOf(text.units()), &status);
        return bytes;
    });
}
BENCHMARK(icuLookUpAndToUTF8)->Apply(sizes);

ON_PAGE_TEXT(qvrEncodeForQueryString, ::qvrEncodeForQueryString(text));
ON_PAGE_TEXT(qvrEncodeURLKeepingUnescaped, ::qvrEncodeURLKeepingUnescaped(text, u" "));
void qvrDecodePercentEscapes(benchmark::State& state)
{
    measure(
        state, [](int64_t length) { return repeatedText(u"caf%C3%A9%20", length); },
        [](const NSString& text) { return ::qvrDecodePercentEscapes(text); });
}
BENCHMARK(qvrDecodePercentEscapes)->Apply(sizes);
void qvrQueryStringDictionary(benchmark::State& state)
{
    measure(
        state,
        [](int64_t length) {
            std::u16string query;
            for (int64_t count = 0; query.size() + 24 < static_cast<size_t>(length); ++count)
                query += NSString::stringWithFormat(u"name%ld=caf%%C3%%A9&", count).units();
            return NSString(query);
        },
        [](const NSString& text) { return ::qvrQueryStringDictionary(text); });
}
BENCHMARK(qvrQueryStringDictionary)->Apply(sizes);
void qvrQueryStringWithDictionary(benchmark::State& state)
{
    NSDictionary entries = NSDictionary::dictionary();
    for (int64_t count = 0; count < state.range(0) / 24; ++count)
        entries.setObject(u"caf\u00e9 cr\u00e8me", NSString::stringWithFormat(u"name%ld", count));
    for (auto iteration : state)
        benchmark::DoNotOptimize(::qvrQueryStringWithDictionary(entries));
    state.SetComplexityN(state.range(0));
}
BENCHMARK(qvrQueryStringWithDictionary)->Apply(sizes);

// Operations whose texts have one length.
void qvrUniqueString(benchmark::State& state)
{
    for (auto iteration : state)
        benchmark::DoNotOptimize(::qvrUniqueString());
}
BENCHMARK(qvrUniqueString);
void qvrFourCharCodes(benchmark::State& state)
{
    for (auto iteration : state)
        benchmark::DoNotOptimize(qvrFourCharCodeValue(qvrStringWithFourCharCode(0x54455854)));
}
BENCHMARK(qvrFourCharCodes);

}
