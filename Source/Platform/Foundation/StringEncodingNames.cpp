#include "Platform/Foundation/StringEncodingNames.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <string>
#include <unordered_map>

namespace {

struct NamedEncoding {
    NSStringEncoding encoding;
    const char* name;
};

// The platform's numbers: small ones of its own, the others made of the high bit and its low-level encoding numbers. Where ICU
// has one converter for two of these names, the first one counts.
constexpr NamedEncoding namedEncodings[] = {
    {NSASCIIStringEncoding, "US-ASCII"},
    {3, "EUC-JP"},
    {NSUTF8StringEncoding, "UTF-8"},
    {NSISOLatin1StringEncoding, "ISO-8859-1"},
    {8, "Shift_JIS"},
    {9, "ISO-8859-2"},
    {NSUTF16StringEncoding, "UTF-16"},
    {11, "windows-1251"},
    {NSWindowsCP1252StringEncoding, "windows-1252"},
    {13, "windows-1253"},
    {14, "windows-1254"},
    {15, "windows-1250"},
    {21, "ISO-2022-JP"},
    {NSMacOSRomanStringEncoding, "macintosh"},
    {NSUTF16BigEndianStringEncoding, "UTF-16BE"},
    {NSUTF16LittleEndianStringEncoding, "UTF-16LE"},
    {NSUTF32StringEncoding, "UTF-32"},
    {NSUTF32BigEndianStringEncoding, "UTF-32BE"},
    {NSUTF32LittleEndianStringEncoding, "UTF-32LE"},
    {0x84000100, "UTF-7"},
    {0x80000203, "ISO-8859-3"},
    {0x80000204, "ISO-8859-4"},
    {0x80000205, "ISO-8859-5"},
    {0x80000206, "ISO-8859-6"},
    {0x80000207, "ISO-8859-7"},
    {0x80000208, "ISO-8859-8"},
    {0x80000209, "ISO-8859-9"},
    {0x8000020a, "ISO-8859-10"},
    {0x8000020d, "ISO-8859-13"},
    {0x8000020e, "ISO-8859-14"},
    {0x8000020f, "ISO-8859-15"},
    {0x80000400, "IBM437"},
    {0x80000405, "cp737"},
    {0x80000406, "IBM775"},
    {0x80000410, "IBM850"},
    {0x80000412, "IBM852"},
    {0x80000413, "IBM855"},
    {0x80000414, "IBM857"},
    {0x80000415, "IBM860"},
    {0x80000416, "IBM861"},
    {0x80000417, "IBM862"},
    {0x80000418, "IBM863"},
    {0x80000419, "IBM864"},
    {0x8000041a, "IBM865"},
    {0x8000041b, "IBM866"},
    {0x8000041c, "IBM869"},
    {0x8000041d, "TIS-620"},
    {0x80000505, "windows-1255"},
    {0x80000506, "windows-1256"},
    {0x80000507, "windows-1257"},
    {0x80000508, "windows-1258"},
    {0x80000631, "GBK"},
    {0x80000632, "GB18030"},
    {0x80000821, "ISO-2022-JP-2"},
    {0x80000830, "ISO-2022-CN"},
    {0x80000840, "ISO-2022-KR"},
    {0x80000930, "GB2312"},
    {0x80000931, "EUC-TW"},
    {0x80000940, "EUC-KR"},
    {0x80000a02, "KOI8-R"},
    {0x80000a03, "Big5"},
    {0x80000a05, "HZ-GB-2312"},
    {0x80000a06, "Big5-HKSCS"},
    {0x80000a08, "KOI8-U"},
};

// A converter of ICU that has none of the platform's numbers gets this one plus its place in ICU's list.
constexpr NSStringEncoding firstUnnumbered = 0xc0000000;

const char* canonicalConverterName(const char* name)
{
    UErrorCode status = U_ZERO_ERROR;
    return ucnv_getAlias(name, 0, &status);
}

using EncodingsByConverter = std::unordered_map<std::string, NSStringEncoding>;

const EncodingsByConverter& encodingsByConverter()
{
    static const EncodingsByConverter encodings = [] {
        EncodingsByConverter made;
        for (const auto& [encoding, name] : namedEncodings) {
            if (const char* const converter = canonicalConverterName(name))
                made.emplace(converter, encoding);
        }
        for (int32_t index = 0; index < ucnv_countAvailable(); ++index) {
            if (const char* const converter = canonicalConverterName(ucnv_getAvailableName(index)))
                made.emplace(converter, firstUnnumbered + static_cast<NSStringEncoding>(index));
        }
        return made;
    }();
    return encodings;
}

}

const char* converterNameOfEncoding(NSStringEncoding encoding)
{
    if (encoding >= firstUnnumbered && encoding - firstUnnumbered < static_cast<NSStringEncoding>(ucnv_countAvailable()))
        return ucnv_getAvailableName(static_cast<int32_t>(encoding - firstUnnumbered));
    const auto found = std::find_if(std::begin(namedEncodings), std::end(namedEncodings),
        [&](const NamedEncoding& named) { return named.encoding == encoding; });
    return found == std::end(namedEncodings) ? nullptr : found->name;
}

std::optional<NSStringEncoding> NSStringEncodingFromIANAName(const NSString& name)
{
    // ICU passes over what is neither a letter nor a digit, so that "utf-8é" would be UTF-8.
    const std::u16string_view units = name.units();
    if (units.empty() || std::any_of(units.begin(), units.end(), [](char16_t unit) { return unit <= 0x20 || unit >= 0x7f; }))
        return {};
    const char* const converter = canonicalConverterName(std::string(units.begin(), units.end()).c_str());
    if (!converter)
        return {};
    const auto found = encodingsByConverter().find(converter);
    return found == encodingsByConverter().end() ? std::nullopt : std::optional(found->second);
}
