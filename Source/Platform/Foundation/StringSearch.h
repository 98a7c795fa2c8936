#pragma once

#include "Platform/Foundation/StringFolding.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Finds one occurrence of a pattern after the other, none overlapping the one before, in time linear in the lengths of text and
// pattern. Borrows both.
class StringSearch {
public:
    // Searches `range` of `text` with NSStringCompareOptions. Going forward it starts at the range's start, backwards at its end.
    StringSearch(std::u16string_view text, std::u16string_view pattern, uint64_t options, NSRange range);

    // The next occurrence; nothing when there is none.
    std::optional<NSRange> next();

private:
    [[nodiscard]] bool isBackwards() const { return _options & NSBackwardsSearch; }
    [[nodiscard]] bool isAnchored() const { return _options & NSAnchoredSearch; }
    std::optional<NSRange> nextAmongUnits();
    template <typename Iterator>
    Iterator findAmongUnits(Iterator first, Iterator last);
    std::optional<NSRange> nextAmongPieces();
    bool moveToPiece();
    void forgetMatch();
    void forgetCandidatesBefore(size_t read);
    void advance(char16_t unit);

    std::u16string_view _text;
    uint64_t _options;
    size_t _start;   // what is left to search
    size_t _end;
    bool _comparesUnits;
    // The pattern as it is compared, in the order in which the text is read, and for each of its fronts the length of the longest
    // shorter front that is also its back; filled in when it is needed.
    std::u16string _pattern;
    std::vector<uint32_t> _fallbacks;
    // How much of the pattern the units read last agree with, how many units of keys were read, and the pieces that may begin a
    // match: units read before them, and their near edges in the text.
    size_t _matched = 0;
    size_t _read = 0;
    struct Candidate {
        size_t read;
        size_t edge;
    };
    std::vector<Candidate> _candidates;
    size_t _firstCandidate = 0;   // those before it are given up
    std::optional<FoldedPieces> _pieces;
    bool _isDone = false;
};
