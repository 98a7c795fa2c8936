#include "Platform/Foundation/StringFolding.h"

#include "Platform/Foundation/ICUText.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>

namespace {

const UNormalizer2* canonicalDecomposition()
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getNFDInstance(&status);
    expectSuccess(status);
    return normalizer;
}

const UNormalizer2* compatibilityMapping()
{
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getNFKCInstance(&status);
    expectSuccess(status);
    return normalizer;
}

char16_t lowerCaseASCII(char16_t unit)
{
    return unit >= u'A' && unit <= u'Z' ? char16_t(unit + (u'a' - u'A')) : unit;
}

void append(std::u16string& text, UChar32 character)
{
    if (U_IS_BMP(character))
        text.push_back(static_cast<char16_t>(character));
    else
        text.append({U16_LEAD(character), U16_TRAIL(character)});
}

// Each of these sets `result`, which is another string, to `text` changed.

void decompose(std::u16string& result, std::u16string_view text)
{
    writeWithICU(result, text.size() + 8, [&](char16_t* buffer, int32_t capacity, UErrorCode* status) {
        return unorm2_normalize(canonicalDecomposition(), text.data(), lengthForICU(text.size()), buffer, capacity, status);
    });
}

void foldCase(std::u16string& result, std::u16string_view text)
{
    writeWithICU(result, text.size() + 8, [&](char16_t* buffer, int32_t capacity, UErrorCode* status) {
        return u_strFoldCase(buffer, capacity, text.data(), lengthForICU(text.size()), U_FOLD_CASE_DEFAULT, status);
    });
}

// Full-width and half-width forms replaced by the ordinary ones.
void makeWidthOrdinary(std::u16string& result, std::u16string_view text)
{
    result.clear();
    for (size_t index = 0; index < text.size();) {
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        const int32_t type = u_getIntPropertyValue(character, UCHAR_DECOMPOSITION_TYPE);
        if (type != U_DT_WIDE && type != U_DT_NARROW) {
            append(result, character);
            continue;
        }
        char16_t buffer[8];
        UErrorCode status = U_ZERO_ERROR;
        const int32_t length = unorm2_getRawDecomposition(compatibilityMapping(), character, buffer, 8, &status);
        expectSuccess(status);
        result.append(buffer, static_cast<size_t>(length));
    }
}

// Marks on nothing stay: they are then the character itself.
void removeMarks(std::u16string& result, std::u16string_view text)
{
    result.clear();
    for (size_t index = 0; index < text.size();) {
        UChar32 character = 0;
        U16_NEXT(text.data(), index, text.size(), character);
        if (u_charType(character) != U_NON_SPACING_MARK)
            append(result, character);
    }
    if (result.empty())
        result = text;
}

// Between two such units a sequence ends. True of most letters.
bool standsApart(char16_t unit)
{
    if (unit < 0x300)
        return true;
    // Half of a character says nothing of the whole, which may be a mark.
    if (U16_IS_SURROGATE(unit))
        return false;
    const int32_t role = u_getIntPropertyValue(unit, UCHAR_GRAPHEME_CLUSTER_BREAK);
    return role == U_GCB_OTHER || role == U_GCB_LV || role == U_GCB_LVT;
}

// Whether the keys of two units that stand apart are the same, as far as simple folding tells: then full folding gives the same,
// too.
bool isSameLetter(char16_t unit, char16_t other)
{
    if (unit < 0x80 && other < 0x80)
        return lowerCaseASCII(unit) == lowerCaseASCII(other);
    return u_foldCase(unit, U_FOLD_CASE_DEFAULT) == u_foldCase(other, U_FOLD_CASE_DEFAULT);
}

// How many units at the front of both texts have the same keys. Ends between two sequences of either text.
size_t commonFront(std::u16string_view first, std::u16string_view second, bool ignoresCase)
{
    // A longer stretch without a certain end is left to who takes it sequence by sequence, so that nothing is read too often.
    constexpr size_t longestStretch = 16;
    const auto isCertain = [](std::u16string_view text, size_t index) {
        return index == text.size() || standsApart(text[index]);
    };
    const size_t limit = std::min(first.size(), second.size());
    size_t common = 0;
    bool wasCertain = true;   // that the unit before stands apart
    for (size_t index = 0; index - common <= longestStretch; ++index) {
        const bool isEqual = index < limit && first[index] == second[index];
        const bool isApart = isCertain(first, index) && (isEqual || isCertain(second, index));
        if (isApart && wasCertain)
            common = index;
        if (!isEqual && (index == limit || !ignoresCase || !isApart || !isSameLetter(first[index], second[index])))
            break;
        wasCertain = isApart;
    }
    return common;
}

}

FoldedPieces::FoldedPieces(std::u16string_view text, size_t position, uint64_t options)
    : _text(text),
      _options(options)
      // A mark can be ignored only together with what it stands on.
      ,
      _isByCharacters((options & NSLiteralSearch) && !(options & NSDiacriticInsensitiveSearch)),
      _sequences(text, _isByCharacters ? 0 : position),
      _position(position)
{
    if (_isByCharacters && position < text.size())
        U16_SET_CP_START(text.data(), size_t(0), _position);
}

bool FoldedPieces::next()
{
    return arriveAt(_isByCharacters ? nextCharacter() : _sequences.next());
}

bool FoldedPieces::previous()
{
    return arriveAt(_isByCharacters ? previousCharacter() : _sequences.previous());
}

bool FoldedPieces::isPassable(char16_t unit, char16_t wanted) const
{
    return unit < 0x80 && ((_options & NSCaseInsensitiveSearch) ? lowerCaseASCII(unit) : unit) != wanted;
}

void FoldedPieces::skipForwardTo(char16_t wanted, size_t limit)
{
    if (_isByCharacters) {
        while (_position < limit && isPassable(_text[_position], wanted))
            ++_position;
        return;
    }
    const size_t start = _sequences.position();
    size_t position = start;
    // A character passes only when the next one is ASCII too, so that no mark stands on it.
    while (position + 1 < limit && isPassable(_text[position], wanted) && _text[position + 1] < 0x80)
        ++position;
    if (position > start)
        _sequences = ComposedCharacterSequences(_text, position);
}

void FoldedPieces::skipBackwardTo(char16_t wanted, size_t limit)
{
    if (_isByCharacters) {
        while (_position > limit && isPassable(_text[_position - 1], wanted))
            --_position;
        return;
    }
    const size_t start = _sequences.position();
    size_t position = start;
    while (position > limit + 1 && isPassable(_text[position - 1], wanted) && _text[position - 2] < 0x80)
        --position;
    if (position < start)
        _sequences = ComposedCharacterSequences(_text, position);
}

void FoldedPieces::moveTo(size_t position)
{
    if (_isByCharacters)
        _position = position;
    else
        _sequences = ComposedCharacterSequences(_text, position);
}

void FoldedPieces::skipCommonFront(FoldedPieces& a, FoldedPieces& b)
{
    const std::u16string_view first = a._text.substr(a.position());
    const std::u16string_view second = b._text.substr(b.position());
    size_t common = commonFront(first, second, a._options & NSCaseInsensitiveSearch);
    if (a._options & NSNumericSearch) {
        while (common > 0 && u_isdigit(first[common - 1]))
            --common;
    }
    if (common == 0)
        return;
    a.moveTo(a.position() + common);
    b.moveTo(b.position() + common);
}

bool FoldedPieces::arriveAt(std::optional<NSRange> range)
{
    if (!range)
        return false;
    _range = *range;
    findKey(_text.substr(range->location, range->length));
    return true;
}

std::optional<NSRange> FoldedPieces::nextCharacter()
{
    if (_position >= _text.size())
        return {};
    const size_t start = _position;
    U16_FWD_1(_text.data(), _position, _text.size());
    return NSRange{start, _position - start};
}

std::optional<NSRange> FoldedPieces::previousCharacter()
{
    if (_position == 0)
        return {};
    const size_t end = _position;
    U16_BACK_1(_text.data(), size_t(0), _position);
    return NSRange{_position, end - _position};
}

void FoldedPieces::findKey(std::u16string_view piece)
{
    constexpr uint64_t foldings = NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;
    if (piece.size() == 1 && piece[0] < 0x80) {
        _unit = (_options & NSCaseInsensitiveSearch) ? lowerCaseASCII(piece[0]) : piece[0];
        _key = std::u16string_view(&_unit, 1);
        return;
    }
    if ((_options & NSLiteralSearch) && !(_options & foldings)) {
        _key = piece;
        return;
    }
    const bool isPair = piece.size() == 2 && U16_IS_LEAD(piece[0]) && U16_IS_TRAIL(piece[1]);
    if (piece.size() > 1 && !isPair) {
        fold(piece);
        _key = _folded;
        return;
    }
    const auto character = static_cast<char32_t>(isPair ? U16_GET_SUPPLEMENTARY(piece[0], piece[1]) : piece[0]);
    if (!_knownKeys)
        _knownKeys = std::make_unique<std::array<KnownKey, knownKeyCount>>();
    KnownKey& known = (*_knownKeys)[character % knownKeyCount];
    if (known.character != character || known.length == 0) {
        fold(piece);
        if (_folded.size() > known.key.size()) {
            _key = _folded;
            return;
        }
        known.character = character;
        known.length = static_cast<uint8_t>(_folded.size());
        std::copy(_folded.begin(), _folded.end(), known.key.begin());
    }
    _key = std::u16string_view(known.key.data(), known.length);
}

// Sets `_folded` to the key of a piece that is not ASCII.
void FoldedPieces::fold(std::u16string_view piece)
{
    const bool isLiteral = _options & NSLiteralSearch;
    constexpr uint64_t foldings = NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;
    _folded = piece;
    const auto apply = [&](auto change) {
        change(_changed, _folded);
        _folded.swap(_changed);
    };
    // 1. Decompose.
    if (!isLiteral || (_options & NSDiacriticInsensitiveSearch))
        apply(decompose);
    // 2. Ordinary width, then case: a full-width capital has both. Either may give something that decomposes. The iota subscript
    // is
    //    a mark, and a letter once its case is folded: it goes before.
    if (_options & NSWidthInsensitiveSearch)
        apply(makeWidthOrdinary);
    if ((_options & NSCaseInsensitiveSearch) && (_options & NSDiacriticInsensitiveSearch))
        apply(removeMarks);
    if (_options & NSCaseInsensitiveSearch)
        apply(foldCase);
    if (!isLiteral && (_options & foldings))
        apply(decompose);
    // 3. Marks go last, when all that carry some are apart from them.
    if (_options & NSDiacriticInsensitiveSearch)
        apply(removeMarks);
}

std::u16string foldedText(std::u16string_view text, uint64_t options)
{
    std::u16string folded;
    folded.reserve(text.size());
    FoldedPieces pieces(text, 0, options);
    while (pieces.next())
        folded.append(pieces.key());
    return folded;
}
