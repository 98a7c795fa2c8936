#include "Platform/Foundation/ComposedCharacterSequences.h"

#include "Platform/Foundation/ICUText.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <memory>

namespace {

// No unit below this one joins with its neighbours, when they are below it too; CR LF counts as two sequences.
constexpr char16_t firstUnitThatMayJoin = 0x300;

UGraphemeClusterBreak breakProperty(UChar32 character)
{
    return static_cast<UGraphemeClusterBreak>(u_getIntPropertyValue(character, UCHAR_GRAPHEME_CLUSTER_BREAK));
}

bool joinsWhatIsBefore(UGraphemeClusterBreak property)
{
    return property == U_GCB_EXTEND || property == U_GCB_ZWJ || property == U_GCB_SPACING_MARK;
}

// Whether a sequence surely ends between two neighbours, whatever stands around them. It spares the break iterator, which costs
// far more; where it is not sure the break iterator decides.
bool isSurelyBoundary(UChar32 before, UChar32 after)
{
    // Half of a pair is no character on which a mark could stand.
    if (U_IS_SURROGATE(before) || U_IS_SURROGATE(after))
        return true;
    const UGraphemeClusterBreak left = breakProperty(before);
    const UGraphemeClusterBreak right = breakProperty(after);
    if (left == U_GCB_CR || left == U_GCB_LF || left == U_GCB_CONTROL || right == U_GCB_CR || right == U_GCB_LF
        || right == U_GCB_CONTROL)
        return true;
    if (joinsWhatIsBefore(right))
        return false;
    switch (left) {
    case U_GCB_OTHER:
    case U_GCB_SPACING_MARK:
        return true;
    case U_GCB_EXTEND:
        // Newer versions of Unicode join Indic letters over the marks between them.
        return after < 0x900;
    case U_GCB_LV:
    case U_GCB_LVT:
    case U_GCB_V:
    case U_GCB_T:
        return right != U_GCB_V && right != U_GCB_T;
    case U_GCB_L:
    case U_GCB_REGIONAL_INDICATOR:
        return right == U_GCB_OTHER;
    default:
        return false;
    }
}

UChar32 characterBefore(std::u16string_view text, size_t position)
{
    UChar32 character = 0;
    U16_PREV(text.data(), size_t(0), position, character);
    return character;
}

UChar32 characterAt(std::u16string_view text, size_t position)
{
    UChar32 character = 0;
    U16_NEXT(text.data(), position, text.size(), character);
    return character;
}

size_t nextSureBoundary(std::u16string_view text, size_t position)
{
    UChar32 before = 0;
    U16_NEXT(text.data(), position, text.size(), before);
    while (position < text.size()) {
        const UChar32 after = characterAt(text, position);
        if (isSurelyBoundary(before, after))
            return position;
        position += static_cast<size_t>(U16_LENGTH(after));
        before = after;
    }
    return position;
}

size_t previousSureBoundary(std::u16string_view text, size_t position)
{
    UChar32 after = 0;
    U16_PREV(text.data(), size_t(0), position, after);
    while (position > 0) {
        const UChar32 before = characterBefore(text, position);
        if (isSurelyBoundary(before, after))
            return position;
        position -= static_cast<size_t>(U16_LENGTH(before));
        after = before;
    }
    return position;
}

// Whether [start, end), which no sure boundary divides, is one character with marks.
bool isCharacterWithMarks(std::u16string_view text, size_t start, size_t end)
{
    UChar32 character = 0;
    U16_NEXT(text.data(), start, end, character);
    while (start < end) {
        U16_NEXT(text.data(), start, end, character);
        if (!joinsWhatIsBefore(breakProperty(character)))
            return false;
    }
    return true;
}

struct BreakIteratorCloser {
    void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};

UBreakIterator* breakIteratorOfThread()
{
    static thread_local const std::unique_ptr<UBreakIterator, BreakIteratorCloser> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<UBreakIterator, BreakIteratorCloser> opened(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
        expectSuccess(status);
        return opened;
    }();
    return iterator.get();
}

}

ComposedCharacterSequences::ComposedCharacterSequences(std::u16string_view text, size_t position)
    : _text(text), _position(std::min(position, text.size()))
{
    if (_position == 0 || _position == text.size())
        return;
    if (text[_position - 1] < firstUnitThatMayJoin && text[_position] < firstUnitThatMayJoin)
        return;
    size_t characterStart = _position;
    U16_SET_CP_START(text.data(), size_t(0), characterStart);
    if (characterStart == _position && isSurelyBoundary(characterBefore(text, _position), characterAt(text, _position)))
        return;
    const size_t characterEnd = characterStart + static_cast<size_t>(U16_LENGTH(characterAt(text, characterStart)));
    loadStretch(previousSureBoundary(text, characterEnd), nextSureBoundary(text, characterStart));
    _place = static_cast<size_t>(std::upper_bound(_stretch.begin(), _stretch.end(), _position) - _stretch.begin()) - 1;
    _position = _stretch[_place];
}

std::optional<NSRange> ComposedCharacterSequences::next()
{
    if (_position == _text.size())
        return {};
    if (_stretch.empty() || _place + 1 == _stretch.size()) {
        const bool isLast = _position + 1 == _text.size();
        if (_text[_position] < firstUnitThatMayJoin && (isLast || _text[_position + 1] < firstUnitThatMayJoin)) {
            _stretch.clear();
            return NSRange{_position++, 1};
        }
        const size_t start = _position;
        const size_t end = nextSureBoundary(_text, start);
        if (end - start == 1) {
            _stretch.clear();
            _position = end;
            return NSRange{start, 1};
        }
        loadStretch(start, end);
        _place = 0;
    }
    const size_t start = _position;
    _position = _stretch[++_place];
    return NSRange{start, _position - start};
}

std::optional<NSRange> ComposedCharacterSequences::previous()
{
    if (_position == 0)
        return {};
    if (_stretch.empty() || _place == 0) {
        const bool isFirst = _position == 1;
        if (_text[_position - 1] < firstUnitThatMayJoin && (isFirst || _text[_position - 2] < firstUnitThatMayJoin)) {
            _stretch.clear();
            return NSRange{--_position, 1};
        }
        loadStretch(previousSureBoundary(_text, _position), _position);
        _place = _stretch.size() - 1;
    }
    const size_t end = _position;
    _position = _stretch[--_place];
    return NSRange{_position, end - _position};
}

NSRange ComposedCharacterSequences::sequenceAt(std::u16string_view text, size_t index)
{
    return *ComposedCharacterSequences(text, index).next();
}

void ComposedCharacterSequences::loadStretch(size_t start, size_t end)
{
    _stretch.assign(1, start);
    if (isCharacterWithMarks(_text, start, end)) {
        _stretch.push_back(end);
        return;
    }
    UBreakIterator* const iterator = breakIteratorOfThread();
    UErrorCode status = U_ZERO_ERROR;
    ubrk_setText(iterator, _text.data() + start, lengthForICU(end - start), &status);
    expectSuccess(status);
    for (int32_t boundary = ubrk_next(iterator); boundary != UBRK_DONE; boundary = ubrk_next(iterator))
        _stretch.push_back(start + static_cast<size_t>(boundary));
}
