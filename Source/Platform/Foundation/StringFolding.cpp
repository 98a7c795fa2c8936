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
    const bool ignoresCase = a._options & NSCaseInsensitiveSearch;
    // Among these units each is a sequence of its own, whatever follows it, as long as one of them does.
    const auto isSingle = [](std::u16string_view text, size_t index) { return index >= text.size() || text[index] < 0x300; };
    const auto isSame = [&](char16_t unit, char16_t other) {
        return unit == other || (ignoresCase && unit < 0x80 && lowerCaseASCII(unit) == lowerCaseASCII(other));
    };
    const size_t limit = std::min(first.size(), second.size());
    size_t common = 0;
    while (common < limit && first[common] < 0x300 && isSame(first[common], second[common]))
        ++common;
    if (common > 0 && !(isSingle(first, common) && isSingle(second, common)))
        --common;
    if (a._options & NSNumericSearch) {
        while (common > 0 && first[common - 1] >= u'0' && first[common - 1] <= u'9')
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
    // 2. Ordinary width, then case: a full-width capital has both. Either may give something that decomposes.
    if (_options & NSWidthInsensitiveSearch)
        apply(makeWidthOrdinary);
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
