#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

// Walks a text by composed character sequences (see NSString::rangeOfComposedCharacterSequenceAtIndex), in either direction. A
// walk over all of the text takes time linear in its length, which asking for one sequence after the other does not: a run of
// flags must be read from its start each time. Borrows the text. Not to be shared by threads.
class ComposedCharacterSequences {
public:
    // Stands before the unit at `position`, at most the text's length; inside a sequence it stands before that sequence.
    explicit ComposedCharacterSequences(std::u16string_view text, size_t position = 0);

    // Where the walk stands: always between two sequences or at an end of the text.
    [[nodiscard]] size_t position() const { return _position; }
    // The sequence behind, or before, that place, which the walk passes; nothing at the end, or the start, of the text.
    std::optional<NSRange> next();
    std::optional<NSRange> previous();

    // The sequence of `text` that holds the unit at `index`, which must be below the length.
    [[nodiscard]] static NSRange sequenceAt(std::u16string_view text, size_t index);

private:
    void loadStretch(size_t start, size_t end);

    std::u16string_view _text;
    size_t _position;
    // A stretch of text and all places between its sequences, its two ends included. Empty, or `_position` is one of them, namely
    // the one at `_place`. Without a stretch `_position` is a place that two neighbours alone make certain.
    std::vector<size_t> _stretch;
    size_t _place = 0;
};
