#include "Platform/Foundation/StringSearch.h"

#include <algorithm>

namespace {

constexpr uint64_t foldings = NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;

std::vector<uint32_t> fallbacksOf(std::u16string_view pattern)
{
    std::vector<uint32_t> fallbacks(pattern.size() + 1, 0);
    uint32_t length = 0;
    for (size_t index = 1; index < pattern.size(); ++index) {
        while (length > 0 && pattern[index] != pattern[length])
            length = fallbacks[length];
        if (pattern[index] == pattern[length])
            ++length;
        fallbacks[index + 1] = length;
    }
    return fallbacks;
}

}

StringSearch::StringSearch(std::u16string_view text, std::u16string_view pattern, uint64_t options, NSRange range)
    : _text(text),
      _options(options),
      _start(range.location),
      _end(range.location + range.length),
      _comparesUnits((options & NSLiteralSearch) && !(options & foldings)),
      _pattern(_comparesUnits ? std::u16string(pattern) : foldedText(pattern, options))
{
    _isDone = _pattern.empty();
    if (isBackwards())
        std::reverse(_pattern.begin(), _pattern.end());
    if (!_comparesUnits) {
        _fallbacks = fallbacksOf(_pattern);
        _pieces.emplace(text, isBackwards() ? _end : _start, options);
        // A range that begins inside a piece begins behind it. Backwards the walk already stands before a
        // piece that the end cuts.
        while (!isBackwards() && _pieces->position() < _start && _pieces->next()) { }
    }
}

std::optional<NSRange> StringSearch::next()
{
    if (_isDone)
        return {};
    const auto found = _comparesUnits ? nextAmongUnits() : nextAmongPieces();
    _isDone = !found || isAnchored();
    if (found && isBackwards())
        _end = found->location;
    else if (found)
        _start = found->location + found->length;
    return found;
}

std::optional<NSRange> StringSearch::nextAmongUnits()
{
    const std::u16string_view rest = _text.substr(_start, _end - _start);
    const size_t length = _pattern.size();
    if (isBackwards()) {
        const auto found = findAmongUnits(rest.rbegin(), rest.rend());
        if (found == rest.rend())
            return {};
        return NSRange{_end - static_cast<size_t>(found - rest.rbegin()) - length, length};
    }
    const auto found = findAmongUnits(rest.begin(), rest.end());
    if (found == rest.end())
        return {};
    return NSRange{_start + static_cast<size_t>(found - rest.begin()), length};
}

template <typename Iterator>
Iterator StringSearch::findAmongUnits(Iterator first, Iterator last)
{
    const auto length = static_cast<std::ptrdiff_t>(_pattern.size());
    if (last - first < length)
        return last;
    if (isAnchored())
        return std::equal(_pattern.begin(), _pattern.end(), first) ? first : last;

    // 1. Look for the first unit and compare what follows. That is the fastest way, as long as little is compared in vain.
    std::ptrdiff_t comparedInVain = 0;
    Iterator position = first;
    while (comparedInVain <= 2 * (position - first) + 256) {
        const Iterator lastStart = last - length + 1;
        position = std::find(position, lastStart, _pattern.front());
        if (position == lastStart)
            return last;
        const auto mismatch = std::mismatch(_pattern.begin(), _pattern.end(), position).first;
        if (mismatch == _pattern.end())
            return position;
        comparedInVain += mismatch - _pattern.begin();
        if (++position == lastStart)
            return last;
    }
    // 2. Else read each unit once, and remember how much of the pattern it ends.
    if (_fallbacks.empty())
        _fallbacks = fallbacksOf(_pattern);
    forgetMatch();
    for (; position != last; ++position) {
        advance(*position);
        if (_matched == _pattern.size())
            return position - length + 1;
    }
    return last;
}

std::optional<NSRange> StringSearch::nextAmongPieces()
{
    forgetMatch();
    while (moveToPiece()) {
        const NSRange piece = _pieces->range();
        const size_t pieceEnd = piece.location + piece.length;
        if (piece.location < _start || pieceEnd > _end)
            return {};
        const size_t nearEdge = isBackwards() ? pieceEnd : piece.location;
        const size_t farEdge = isBackwards() ? piece.location : pieceEnd;
        // An anchored match begins at the very edge of the range.
        if (isAnchored() && _read == 0 && nearEdge != (isBackwards() ? _end : _start))
            return {};
        _candidates.push_back({_read, nearEdge});
        const std::u16string_view key = _pieces->key();
        for (size_t index = 0; index < key.size(); ++index)
            advance(isBackwards() ? key[key.size() - 1 - index] : key[index]);
        _read += key.size();
        if (isAnchored() && _matched != _read)
            return {};
        // What was matched began `_matched` units ago; older pieces cannot begin a match any more.
        forgetCandidatesBefore(_read - _matched);
        const bool isMatch = _matched == _pattern.size() && _firstCandidate < _candidates.size();
        if (isMatch && _candidates[_firstCandidate].read == _read - _matched) {
            const size_t edge = _candidates[_firstCandidate].edge;
            return NSRange{std::min(edge, farEdge), std::max(edge, farEdge) - std::min(edge, farEdge)};
        }
    }
    return {};
}

bool StringSearch::moveToPiece()
{
    const bool isFresh = _matched == 0 && !isAnchored();
    if (isBackwards()) {
        if (isFresh)
            _pieces->skipBackwardTo(_pattern.front(), _start);
        return _pieces->previous();
    }
    if (isFresh)
        _pieces->skipForwardTo(_pattern.front(), _end);
    return _pieces->next();
}

void StringSearch::forgetMatch()
{
    _matched = 0;
    _read = 0;
    _candidates.clear();
    _firstCandidate = 0;
}

void StringSearch::forgetCandidatesBefore(size_t read)
{
    while (_firstCandidate < _candidates.size() && _candidates[_firstCandidate].read < read)
        ++_firstCandidate;
    if (_firstCandidate < 64 && _firstCandidate < _candidates.size())
        return;
    // Each candidate is moved no more often than one is given up.
    if (2 * _firstCandidate >= _candidates.size()) {
        _candidates.erase(_candidates.begin(), _candidates.begin() + static_cast<std::ptrdiff_t>(_firstCandidate));
        _firstCandidate = 0;
    }
}

void StringSearch::advance(char16_t unit)
{
    if (_matched == _pattern.size())
        _matched = _fallbacks[_matched];
    while (_matched > 0 && _pattern[_matched] != unit)
        _matched = _fallbacks[_matched];
    if (_pattern[_matched] == unit)
        ++_matched;
}
