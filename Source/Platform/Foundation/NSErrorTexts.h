#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// The texts that the platform derives from an error's domain, code and file name. Codes and sentences are the platform's English
// ones.

// The whole sentence for `code` of `domain`; absent when the platform has none for it. File errors of the Cocoa domain name the
// file under NSFilePathErrorKey (else NSURLErrorKey) and its folder when `userInfo` has one.
[[nodiscard]] NSString derivedErrorDescription(const NSString& domain, int64_t code, const NSDictionary& userInfo);

// The cause alone, as a sentence; absent when the platform has none for `code`.
[[nodiscard]] NSString derivedErrorFailureReason(const NSString& domain, int64_t code);

// What stands between the parentheses of "The operation couldn’t be completed. (…)" when nothing better is known:
// "DOMAIN error CODE.", with the short names "Cocoa" and "OSStatus" for those two domains and, for the few OS-status codes that
// have one, their meaning.
[[nodiscard]] NSString genericErrorText(const NSString& domain, int64_t code);
