#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Foundation/NSString.h"

#include <cstdint>

// Strings that hold POSIX paths, and the files behind them. Nothing here reports an error: a question about a file that cannot be
// asked is answered with false, the reference date or an empty array. An absent string is accepted everywhere: asked for a string
// or array it gives an absent one, otherwise false or 0. Safe from any thread.

// Fixed limits, not what a certain file system allows: of a file name in UTF-16 units of its canonical decomposition
// (255), and of a path (1024).
[[nodiscard]] uint64_t qvrMaxFileNameCharacters();
[[nodiscard]] uint64_t qvrMaxPathLength();

// File names. "/" becomes ":", and U+FFFC (which stands for an object in a text) is left out.
[[nodiscard]] NSString qvrMakeFileNameCharactersValid(const NSString& name);
// The same, and shortened to `maxLength` units (of the decomposition) by whole characters at the end of the stem, the extension
// kept. Without `withExtension` the name's own extension is kept; else `name` is the stem and the extension is added, with a dot
// unless it is empty. A dot and extension longer than `maxLength` fail the assertion of qvrStringByAddingSuffix.
[[nodiscard]] NSString qvrMakeFileNameValid(const NSString& name);
[[nodiscard]] NSString qvrMakeFileNameValidWithExtension(const NSString& name, const NSString& withExtension);
[[nodiscard]] NSString qvrMakeFileNameValidWithExtension(const NSString& name, const NSString& withExtension, uint64_t maxLength);
// The name as old programs show it: every ":" as "/".
[[nodiscard]] NSString qvrMakeFileNameValidForCarbon(const NSString& name);

// Parts of a path, by the rules of NSString's path operations.
[[nodiscard]] NSString qvrParent(const NSString& path);          // without the last component
[[nodiscard]] NSString qvrName(const NSString& path);            // the last component
[[nodiscard]] NSString qvrBasename(const NSString& path);        // the last component without its extension
[[nodiscard]] NSString qvrPathExtension(const NSString& path);   // of the last component, empty when it has none
[[nodiscard]] NSString qvrChild(const NSString& path, const NSString& name);
[[nodiscard]] NSString qvrWithExtension(const NSString& path, const NSString& extension);   // "." and the extension appended

// Whether both are the same text once they are standardised (NSString::stringByStandardizingPath). Letter
// case and composition count.
[[nodiscard]] bool qvrPathIsEqual(const NSString& path, const NSString& other);
// Whether `other` is `path` or, component by component, lies inside it; both are standardised first. False for an absent `other`.
[[nodiscard]] bool qvrPathContainsPath(const NSString& path, const NSString& other);

// Tests that ask the file system. Symbolic links are followed but by the test for them.
[[nodiscard]] bool qvrPathExists(const NSString& path);
[[nodiscard]] bool qvrFileExists(const NSString& path);   // and is a regular file
[[nodiscard]] bool qvrDirectoryExists(const NSString& path);
[[nodiscard]] bool qvrSymbolicLinkExists(const NSString& path);

// When the file's contents were last changed, in whole seconds (the fraction is cut off) since 2001-01-01 00:00:00 UTC.
// Deliberate: a missing file gives 0.0, so its date is that date itself and not an absent one.
[[nodiscard]] double qvrFileModificationDateInterval(const NSString& path);
[[nodiscard]] NSDate qvrFileModificationDate(const NSString& path);
// Ascending when `path` is the older one.
[[nodiscard]] NSComparisonResult qvrCompareFileModificationDate(const NSString& path, const NSString& other);

// The file's keywords: the tags that desktop programs keep in the extended attribute "user.xdg.tags" (UTF-8, separated by commas,
// blanks around them not counted). Empty when there is no such file, attribute or support for it.
[[nodiscard]] NSArray qvrSpotlightKeywords(const NSString& path);
