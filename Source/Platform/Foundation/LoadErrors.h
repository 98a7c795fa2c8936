#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"

// An error about a load of `url`: with the address as text under NSURLErrorFailingURLStringErrorKey, and as an address under
// NSURLErrorKey and NSURLErrorFailingURLErrorKey, and with the failure reason if there is one. An absent address adds nothing.
[[nodiscard]] NSError loadError(const NSString& domain, int64_t code, const NSURL& url, const NSString& failureReason = {});
// The same error, with those of the three entries that it lacks.
[[nodiscard]] NSError errorWithFailingURL(const NSError& error, const NSURL& url);
