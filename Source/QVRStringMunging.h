#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// Taking strings apart and putting them together. "First occurrence" is that of NSString::rangeOfString: canonically equivalent
// texts match, and no match cuts a composed character sequence. A literal search compares units.

// Parts. None of them fails: an index beyond the end gives all of the text or nothing.
// The text before, or after, the first occurrence of `other`; the empty string when there is none.
[[nodiscard]] NSString qvrSubstringToString(const NSString& string, const NSString& other);
[[nodiscard]] NSString qvrSubstringFromString(const NSString& string, const NSString& other);
// The first `index` units; all when there are not more.
[[nodiscard]] NSString qvrSubstringToIndex(const NSString& string, uint64_t index);
// The units from `index` on; the empty string when there are none.
[[nodiscard]] NSString qvrSubstringFromIndex(const NSString& string, uint64_t index);
// The text before the composed character sequence that holds the unit at `index`; all when the text is not longer than `index`.
[[nodiscard]] NSString qvrSubstringToComposedIndex(const NSString& string, uint64_t index);
// Less the last unit; less the last composed character sequence. The empty string stays empty.
[[nodiscard]] NSString qvrStringByChopping(const NSString& string);
[[nodiscard]] NSString qvrStringByChoppingComposedCharacter(const NSString& string);
// The first, or last, piece between single spaces; the whole text when it has none, the empty string after a space at the end.
[[nodiscard]] NSString qvrFirstSpaceComponent(const NSString& string);
[[nodiscard]] NSString qvrLastSpaceComponent(const NSString& string);

// The range, widened to whole composed character sequences. Throws NSRangeException, "Invalid range {5, 10}.", when it
// does not begin inside the text or ends beyond it. An empty range is not meant to be passed; it stays empty unless it
// stands inside a sequence.
[[nodiscard]] NSRange qvrRangeOfComposedCharacterSequencesInRange(const NSString& string, NSRange range);
// About `length` units at each end with an ellipsis for what stands between them, which is widened to whole composed character
// sequences. All of the text when it is not longer than twice `length`.
[[nodiscard]] NSString qvrStringByTruncatingMiddleAfterComposedLength(const NSString& string, uint64_t length);

// Additions and replacements.
// The elements joined with `separator` between them.
[[nodiscard]] NSString qvrJoin(const NSString& separator, const NSArray& array);
// With `suffix` at the end, which is added only when it is not there.
[[nodiscard]] NSString qvrStringByEnsuringSuffix(const NSString& string, const NSString& suffix);
// With `suffix` added after as many composed character sequences were taken off the end of `stem` as it needs for both to fit
// into `total` units. Deliberate: the units are those of the canonical decompositions, as file systems may count them; the result
// keeps its own composition. The suffix stands alone when nothing of the stem can stay. A suffix longer than `total` is a
// programming error: the assertion "suffix: 'SUFFIX' length: TOTAL".
[[nodiscard]] NSString qvrStringByAddingSuffix(const NSString& stem, const NSString& suffix, uint64_t total);
// Every occurrence of `target` replaced, by a literal search.
[[nodiscard]] NSString qvrStringByReplacingString(const NSString& string, const NSString& target, const NSString& withString);
[[nodiscard]] NSString qvrStringByReplacingFirstOccurrenceOfString(
    const NSString& string, const NSString& target, const NSString& withString);
// Every occurrence of each key replaced by the key's value (strings; anything else counts by its description), by a literal
// search. The keys are taken in the dictionary's order, each on the result of the one before, so a value that holds a later
// key is expanded in turn.
[[nodiscard]] NSString qvrStringByExpandingKeysInDictionary(const NSString& string, const NSDictionary& dictionary);
// With `separator` after every `length` units that are followed by more. 0 is a programming error unless the text has fewer than
// two units: the assertion "Precondition Failed: n != 0".
[[nodiscard]] NSString qvrStringByChunking(const NSString& string, uint64_t length, const NSString& separator);
