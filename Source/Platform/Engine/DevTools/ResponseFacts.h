#pragma once

#include "Platform/Engine/DevTools/Message.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

// Requests and responses as the protocol's messages describe them.

// From a "request" object: address, method, header fields, and the body as far as the engine tells it.
[[nodiscard]] NSURLRequest requestFromEngine(const JSONView& request);
// From a "response" object of the Network domain. The MIME type is as the server spelled it, or what the engine took the bytes
// for when the server said nothing.
[[nodiscard]] NSURLResponse responseFromEngine(const JSONView& response);
// From a response that is held: its status and its list of header fields.
[[nodiscard]] NSURLResponse heldResponseFromEngine(const NSURL& url, const JSONView& content);

// Whether the engine shows documents of this type itself, rather than saving them as a file.
[[nodiscard]] bool engineShowsType(const NSString& MIMEType);
