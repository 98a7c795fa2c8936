#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Platform/Foundation/Value.h"

#include <cstdint>

// Reads of settings with a default, which is returned when the setting is missing or has the wrong form; that is never an error.
// An absent key is a programming error: the assertion "Precondition Failed: key". Nothing is ever written. Safe from any thread.

// Settings of another application: its `domain`, such as "com.brackenlow.Tarnwick", is read from the preferences store whatever
// `defaults` holds. What counts as a boolean or an integer is the store's rule (see CFPreferences.h).
[[nodiscard]] bool qvrBoolForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& domain, bool defaultValue);
[[nodiscard]] int64_t qvrIntegerForKey(
    const NSUserDefaults& defaults, const NSString& key, const NSString& domain, int64_t defaultValue);
// The value whatever its kind: whoever needs an array checks that it is one.
[[nodiscard]] Value qvrObjectForKey(
    const NSUserDefaults& defaults, const NSString& key, const NSString& domain, const Value& defaultValue);

// The same for the standard user defaults.
[[nodiscard]] bool qvrBoolForKey(const NSString& key, const NSString& domain, bool defaultValue);
[[nodiscard]] int64_t qvrIntegerForKey(const NSString& key, const NSString& domain, int64_t defaultValue);
[[nodiscard]] Value qvrObjectForKey(const NSString& key, const NSString& domain, const Value& defaultValue);

// The program's own settings, as `defaults` finds them.
[[nodiscard]] Value qvrObjectForKey(const NSUserDefaults& defaults, const NSString& key, const Value& defaultValue);
// Only a string counts; a number gives the default.
[[nodiscard]] NSString qvrStringForKey(const NSUserDefaults& defaults, const NSString& key, const NSString& defaultValue);
// Numbers and strings convert, also a string without a number in it (to false, 0 or 0.0); anything else gives the default.
[[nodiscard]] bool qvrBoolForKey(const NSUserDefaults& defaults, const NSString& key, bool defaultValue);
[[nodiscard]] int64_t qvrIntegerForKey(const NSUserDefaults& defaults, const NSString& key, int64_t defaultValue);
[[nodiscard]] double qvrDoubleForKey(const NSUserDefaults& defaults, const NSString& key, double defaultValue);
// A size is stored as a string, "{100, 50}". A string without numbers is 0 by 0; a value that is no string gives the default.
[[nodiscard]] NSSize qvrSizeForKey(const NSUserDefaults& defaults, const NSString& key, NSSize defaultValue);
