#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

// The key of `fields` that is `name` but for the case of ASCII letters, as spelled there; absent when there is none.
[[nodiscard]] NSString spelledHeaderFieldName(const NSDictionary& fields, const NSString& name);
// The text under that key; absent when there is none or when it is no string.
[[nodiscard]] NSString headerFieldValue(const NSDictionary& fields, const NSString& name);
