#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"

#include <string>
#include <string_view>

// The parameters of the command that gives a held request its answer.

// A header value with what would end it early percent-escaped.
[[nodiscard]] NSString sendableHeaderValue(const NSString& value);

// The header fields that stand for `response` as the answer to `request`. An HTTP response has its own, but for those that tell
// how bytes travelled. Any other says its type and encoding, `type` in place of its own when given, and that whoever asked may
// read it: an answer from outside the network has no site whose secrets it could give away.
[[nodiscard]] NSDictionary fieldsOfAnswer(const NSURLRequest& request, const NSURLResponse& response, const NSString& type = {});

[[nodiscard]] std::string base64Text(std::string_view bytes);

// "Fetch.fulfillRequest" for the interception of that name.
[[nodiscard]] std::string fulfilCommand(
    std::string_view interception, int status, const NSDictionary& fields, std::string_view body);
