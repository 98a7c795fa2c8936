#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <cstddef>

// Bytes of UTF-8.
inline constexpr size_t longestFilename = 255;       // of the usual file systems
inline constexpr size_t longestPathExtension = 32;   // with its dot; what follows the dot of a longer one is rather text

// The file name of a Content-Disposition field (RFC 6266): "filename*" (RFC 8187, UTF-8 or ISO-8859-1) before "filename" (a token
// or a quoted string). As the server wrote it, not cleaned; absent when the field has none.
[[nodiscard]] NSString filenameFromContentDisposition(const NSString& field);

// The extension that files of this MIME type usually have, without the dot; absent for unknown types. Letter case and
// parameters do not count.
[[nodiscard]] NSString pathExtensionForMIMEType(const NSString& MIMEType);

// `name` as one plain file name of at most 255 bytes of UTF-8: its part behind the last "/" or "\", without control and
// direction characters and without blanks at the ends; a long one is cut before its extension. Absent when nothing is
// left, or only "." or "..".
[[nodiscard]] NSString cleanedFilename(const NSString& name);

// What NSURLResponse::suggestedFilename promises; `contentDisposition` and `MIMEType` may be absent.
[[nodiscard]] NSString suggestedFilename(const NSString& contentDisposition, const NSURL& url, const NSString& MIMEType);
