#pragma once

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"

#include <gio/gio.h>

// An error of NSURLErrorDomain with the failing address as loadError adds it. `reason`, if given, becomes the failure reason.
[[nodiscard]] NSError transferError(int64_t code, const NSURL& url, const NSString& reason = {});

// The same for what the network libraries report. `certificateErrors` are those of the server's certificate, 0 when there are
// none or when it had none.
[[nodiscard]] NSError transferErrorFromNetwork(const GError& error, GTlsCertificateFlags certificateErrors, const NSURL& url);

// The same for what reading a file reports.
[[nodiscard]] NSError transferErrorFromFile(const GError& error, const NSURL& url);
