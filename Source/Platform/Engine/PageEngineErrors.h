#pragma once

#include "Platform/Foundation/NSError.h"

// Failures of the engine itself, as opposed to failures of what it loads. Codes of EngineErrorDomain:
inline const NSString EngineErrorDomain = u"EngineErrorDomain";
inline constexpr int64_t EngineErrorNotFound = 1;       // no engine command; the recovery suggestion names the package to install
inline constexpr int64_t EngineErrorDoesNotStart = 2;   // it could not be started, or ended before it answered
inline constexpr int64_t EngineErrorDoesNotAnswer = 3;   // it runs but does not answer in time
// It ended while it was in use, or the part of it that showed the page did: the underlying error of what loads fail with then.
inline constexpr int64_t EngineErrorEnded = 4;

// An error of that domain with a description, and a recovery suggestion when given.
[[nodiscard]] NSError engineError(int64_t code, const NSString& description, const NSString& recoverySuggestion = {});
