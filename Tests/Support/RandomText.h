#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>

namespace support {

// The seed of a run of random tests: TW_SEED from the environment, or a new one.
inline uint64_t randomSeed()
{
    if (const char* text = std::getenv("TW_SEED"))
        return std::strtoull(text, nullptr, 0);
    return std::random_device()();
}

// Makes texts that are hard on string operations: unpaired surrogates, stacked and leading combining marks, emoji and
// flag sequences, jamo, line ends, nulls, percent escapes whole and broken, and characters of all planes. The same
// seed makes the same texts.
class RandomText {
public:
    explicit RandomText(uint64_t seed) : _engine(seed) { }

    // Below `bound`, which must not be 0.
    uint64_t below(uint64_t bound) { return _engine() % bound; }
    bool chance(uint64_t oneIn) { return below(oneIn) == 0; }

    // A text of up to about `pieces` characters or sequences. `withoutHalfPairs` leaves out unpaired surrogates.
    NSString text(size_t pieces = 12, bool withoutHalfPairs = false)
    {
        std::u16string units;
        for (size_t count = below(pieces + 1); count > 0; --count)
            appendPiece(units, withoutHalfPairs);
        return units;
    }
    // A short text of few different letters, so that searches find something.
    NSString shortText(std::u16string_view letters = u"ab", size_t longest = 3)
    {
        std::u16string units;
        for (size_t count = below(longest + 1); count > 0; --count)
            units += letters[below(letters.size())];
        return units;
    }
    // Any code point but surrogates.
    char32_t scalar()
    {
        const char32_t character = static_cast<char32_t>(chance(2) ? below(0xf800) : 0x10000 * below(17) + below(0x10000));
        return character >= 0xd800 && character < 0xe000 ? character - 0xd800 : character;
    }
    std::string bytes(size_t longest)
    {
        std::string result(below(longest + 1), '\0');
        for (char& byte : result)
            byte = static_cast<char>(below(256));
        return result;
    }

private:
    static void append(std::u16string& units, char32_t character)
    {
        if (character < 0x10000) {
            units += static_cast<char16_t>(character);
        } else {
            units += static_cast<char16_t>(0xd7c0 + (character >> 10));
            units += static_cast<char16_t>(0xdc00 + (character & 0x3ff));
        }
    }

    void appendPiece(std::u16string& units, bool withoutHalfPairs)
    {
        static constexpr std::u16string_view sequences[] = {u"e\u0301", u"a\u0323\u0302", u"\u00e9", u"\u1e69", u"\u0301",
            u"\u0e33", u"\U0001f468\u200d\U0001f469\u200d\U0001f467\u200d\U0001f466", u"\U0001f44d\U0001f3fd",
            u"\U0001f1e9\U0001f1ea", u"\U0001f1e9", u"1\ufe0f\u20e3", u"\u2764\ufe0f", u"\u200d", u"\u1100\u1161\u11a8",
            u"\uac01", u"\uac00\u11a8", u"\u1161", u"\u0928\u093f", u"\u0915\u094d\u0937", u"\r\n", u"\r", u"\n", u"\u0085",
            u"\u2028", u"\u2029", u"\ufeff", u"\ufffc", u"\ufffd", u"\uff21", u"\u0130", u"\u00df", u"\ufb01", u"\u03c3",
            u"\u03c2", u"\u0345", u"\u212b", u"%41", u"%c3%A9", u"%F0%9F%98%80", u"%FF", u"%", u"%4", u"%zz", u"&", u"=", u"+",
            u";", u"/", u".", u"..", u"//", u":", u"~", u" ", u"\t", u"\u00a0", u"\u3000"};
        static constexpr std::u16string_view plain = u"abcxyzABCXYZ0189 .,-_/%&=e";
        switch (below(8)) {
        case 0:
        case 1:
        case 2:
            units += plain[below(plain.size())];
            break;
        case 3:
        case 4:
            units += sequences[below(std::size(sequences))];
            break;
        case 5:
            append(units, scalar());
            break;
        case 6:
            append(units, static_cast<char32_t>(0x300 + below(0x70)));
            break;
        default:
            if (withoutHalfPairs)
                append(units, scalar());
            else if (chance(3))
                units += u'\0';
            else
                units += static_cast<char16_t>(0xd800 + below(0x800));
        }
    }

    std::mt19937_64 _engine;
};

}
