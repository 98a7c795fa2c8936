#include "QVRAreaSwitches.h"

#include "Platform/Foundation/Value.h"
#include "QVRLogger.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

QVRAreaSwitches::QVRAreaSwitches(const NSDictionary& dictionary)
    : _areAllOn(dictionary.objectForKey(QVRLoggerAllAreas).boolValue())
{
    _slots.resize(std::bit_ceil(2 * dictionary.count() + 1));
    for (const auto& [area, value] : dictionary) {
        if (!value.boolValue())
            continue;
        size_t slot = firstSlotFor(area.units());
        while (_slots[slot])
            slot = slotAfter(slot);
        _slots[slot] = area;
    }
}

bool QVRAreaSwitches::isOn(const NSString& area) const
{
    if (_areAllOn || !area)
        return true;
    const std::u16string_view units = area.units();
    for (size_t slot = firstSlotFor(units); _slots[slot]; slot = slotAfter(slot)) {
        const std::u16string_view other = _slots[slot].units();
        if (other.size() == units.size() && std::memcmp(other.data(), units.data(), units.size() * sizeof(char16_t)) == 0)
            return true;
    }
    return false;
}

// Areas of one program mostly begin alike ("Log…"), so the last four units and the length are what tells them apart.
size_t QVRAreaSwitches::firstSlotFor(std::u16string_view area) const
{
    uint64_t lastUnits = 0;
    if (area.size() >= 4)
        std::memcpy(&lastUnits, area.data() + area.size() - 4, sizeof lastUnits);
    else
        std::memcpy(&lastUnits, area.data(), area.size() * sizeof(char16_t));
    constexpr uint64_t goldenRatio = 0x9e3779b97f4a7c15;   // spreads over the upper bits
    return ((lastUnits ^ area.size()) * goldenRatio >> 32) & (_slots.size() - 1);
}
