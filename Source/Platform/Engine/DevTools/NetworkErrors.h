#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"

#include <string_view>

// An error with the failing address under NSURLErrorFailingURLStringErrorKey, NSURLErrorFailingURLErrorKey and NSURLErrorKey, and, when given, a failure reason.
[[nodiscard]] NSError loadError(const NSString& domain, int64_t code, const NSURL& url, const NSString& failureReason = {});

// The platform's error for the engine's name of a network failure ("net::ERR_CONNECTION_REFUSED", with or without "net::"). A name without a counterpart
// gives NSURLErrorUnknown with the name as failure reason. The names are those of the engine's network error list.
[[nodiscard]] NSError errorFromEngineName(std::string_view name, const NSURL& url);
