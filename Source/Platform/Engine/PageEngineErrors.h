#pragma once

#include "Platform/Foundation/NSError.h"

// Failures of the engine itself, as opposed to failures of what it loads. Codes of EngineErrorDomain:
inline const NSString EngineErrorDomain = u"EngineErrorDomain";
inline constexpr int64_t EngineErrorNotFound = 1;       // no engine command; the recovery suggestion names the package to install
inline constexpr int64_t EngineErrorDoesNotStart = 2;   // it could not be started, or ended before it answered
inline constexpr int64_t EngineErrorDoesNotAnswer = 3;   // it runs but does not answer in time

// An error of that domain with a description, and a recovery suggestion when given.
[[nodiscard]] NSError engineError(int64_t code, const NSString& description, const NSString& recoverySuggestion = {});
