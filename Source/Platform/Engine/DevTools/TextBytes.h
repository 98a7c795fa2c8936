#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"

#include <functional>
#include <string_view>

// The bytes that a text was decoded from: `text` in UTF-8 as the engine gave it, `length` the number of bytes that came from the
// server, `declaredEncoding` the name that came with them (may be absent), `readEncoding` answers the name of the encoding that the page was read in (may
// answer absent; asked only when the text is not simply UTF-8). A byte-order mark, which decoding drops, is put back.
//
// An encoding is believed when the text encoded in it has the right length. When none has, the result is the text in UTF-8.
[[nodiscard]] NSData bytesOfDecodedText(
    std::string_view text, int64_t length, const NSString& declaredEncoding, const std::function<NSString()>& readEncoding);
