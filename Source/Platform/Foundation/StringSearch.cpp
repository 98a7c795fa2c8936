#include "Platform/Foundation/StringSearch.h"

#include <algorithm>

namespace {

// Up to this length the library's search is as good as linear, and faster.
constexpr size_t longestSimplePattern = 16;

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
    if (_comparesUnits && (_pattern.size() <= longestSimplePattern || isAnchored()))
        return;
    if (isBackwards())
        std::reverse(_pattern.begin(), _pattern.end());
    _fallbacks = fallbacksOf(_pattern);
    if (!_comparesUnits) {
        _pieces.emplace(text, isBackwards() ? _end : _start, options);
        // A range that begins inside a piece begins behind it. Backwards the walk already stands before a piece that the end cuts.
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
    if (isAnchored()) {
        if (isBackwards() ? rest.ends_with(_pattern) : rest.starts_with(_pattern))
            return NSRange{isBackwards() ? _end - length : _start, length};
        return {};
    }
    if (length <= longestSimplePattern) {
        const size_t found = isBackwards() ? rest.rfind(_pattern) : rest.find(_pattern);
        return found == rest.npos ? std::nullopt : std::optional(NSRange{_start + found, length});
    }
    forgetMatch();
    for (size_t count = 1; count <= rest.size(); ++count) {
        advance(isBackwards() ? rest[rest.size() - count] : rest[count - 1]);
        if (_matched == length)
            return NSRange{isBackwards() ? _end - count : _start + count - length, length};
    }
    return {};
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
        while (!_candidates.empty() && _candidates.front().read < _read - _matched)
            _candidates.pop_front();
        if (_matched == _pattern.size() && !_candidates.empty() && _candidates.front().read == _read - _matched) {
            const size_t edge = _candidates.front().edge;
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
