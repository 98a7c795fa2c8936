#pragma once

#include "Platform/Foundation/ComposedCharacterSequences.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// Walks a text by the pieces that searches and comparisons treat as one: composed character sequences, or code points with
// NSLiteralSearch. For each it gives a key, which two pieces share exactly when they are the same under the options: canonically
// decomposed (unless literal), case-folded, without marks, of ordinary width. A key is never empty. Borrows the text.
class FoldedPieces {
public:
    // Starts as ComposedCharacterSequences does.
    FoldedPieces(std::u16string_view text, size_t position, uint64_t options);
    FoldedPieces(const FoldedPieces&) = delete;
    FoldedPieces& operator=(const FoldedPieces&) = delete;

    // Where the walk stands.
    [[nodiscard]] size_t position() const { return _isByCharacters ? _position : _sequences.position(); }
    // Moves to the piece behind, or before, the place where the walk stands; false at the end, or the start, of the text.
    bool next();
    bool previous();
    // Passes single ASCII characters other than the one whose key is `wanted`. Saves time, and changes no result of a search for
    // something that begins, or ends, with `wanted`. Nothing at or behind `limit` (forward), or before it (backwards), is looked
    // at.
    void skipForwardTo(char16_t wanted, size_t limit);
    void skipBackwardTo(char16_t wanted, size_t limit);

    // Passes what both texts have in common where they stand, with the same options, as far as that is plain to see. No number is
    // cut.
    static void skipCommonFront(FoldedPieces& a, FoldedPieces& b);

    // The piece that was reached last, and its key, which is valid until the next move.
    [[nodiscard]] NSRange range() const { return _range; }
    [[nodiscard]] std::u16string_view key() const { return _key; }

private:
    void moveTo(size_t position);
    [[nodiscard]] bool isPassable(char16_t unit, char16_t wanted) const;
    bool arriveAt(std::optional<NSRange> range);
    std::optional<NSRange> nextCharacter();
    std::optional<NSRange> previousCharacter();
    void findKey(std::u16string_view piece);
    void fold(std::u16string_view piece);

    std::u16string_view _text;
    uint64_t _options;
    bool _isByCharacters;
    ComposedCharacterSequences _sequences;
    size_t _position;   // of a walk by code points
    NSRange _range;
    std::u16string_view _key;
    char16_t _unit = 0;
    std::u16string _folded;
    std::u16string _changed;   // scratch
    // Keys of single characters that took work. A text uses few letters and each of them often.
    struct KnownKey {
        char32_t character = 0;
        uint8_t length = 0;   // 0 in an unused one
        std::array<char16_t, 4> key;
    };
    static constexpr size_t knownKeyCount = 128;
    std::unique_ptr<std::array<KnownKey, knownKeyCount>> _knownKeys;
};

// The keys of all pieces of `text`, in their order.
[[nodiscard]] std::u16string foldedText(std::u16string_view text, uint64_t options);
