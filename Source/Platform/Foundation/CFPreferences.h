#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

#include <cstdint>

// Reads of one application's settings from the shared PreferencesStore: `key` in the domain `application`, else in the global
// domain. Safe to use from any thread.

// The value, of whatever kind it is; absent when there is none.
[[nodiscard]] Value CFPreferencesCopyAppValue(const NSString& key, const NSString& application);

// The value as a boolean: a boolean as it is, a number whether it is not 0, and of strings "true", "yes" and "1" as true and
// "false", "no" and "0" as false, in any case of letters. Anything else, and no value, gives false; then
// `*keyExistsAndHasValidFormat`, if given, is set to false, otherwise to true.
[[nodiscard]] bool CFPreferencesGetAppBooleanValue(
    const NSString& key, const NSString& application, bool* keyExistsAndHasValidFormat = nullptr);

// The value as an integer: a boolean as 0 or 1, an integer as it is, a real without its fraction, a string that consists of a
// number in decimal digits with or without a sign. Anything else, a number that 64 bits cannot hold, and no value give 0; then
// `*keyExistsAndHasValidFormat`, if given, is set to false, otherwise to true.
[[nodiscard]] int64_t CFPreferencesGetAppIntegerValue(
    const NSString& key, const NSString& application, bool* keyExistsAndHasValidFormat = nullptr);
