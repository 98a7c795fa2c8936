#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <string_view>
#include <vector>

// Which log areas are switched on. It never changes, so any thread may ask it; one question costs one look-up in a table made for
// short names, since every log call in a program asks it.
class QVRAreaSwitches {
public:
    // Nothing is on.
    QVRAreaSwitches() = default;
    // On is every key of `dictionary` whose value reads as true, and everything when one of them is QVRLoggerAllAreas.
    explicit QVRAreaSwitches(const NSDictionary& dictionary);

    // True for an absent area.
    [[nodiscard]] bool isOn(const NSString& area) const;

private:
    [[nodiscard]] size_t firstSlotFor(std::u16string_view area) const;
    [[nodiscard]] size_t slotAfter(size_t slot) const { return (slot + 1) & (_slots.size() - 1); }

    // Open addressing: an area stands in its first slot or behind it. A power of two of slots, at least half of them absent.
    std::vector<NSString> _slots = std::vector<NSString>(1);
    bool _areAllOn = false;
};
