#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"

// The domain of the tool's own errors, and its codes.
inline const NSString WebToolErrorDomain = u"com.brackenlow.tarnwick.webtool";
inline constexpr int64_t WebToolErrorBadArguments = 1;   // wrong number of arguments
inline constexpr int64_t WebToolErrorPrintFailed = 2;    // the page could not be printed
inline constexpr int64_t WebToolErrorEngine = 3;         // no page engine, or one that does not start or answer

// Thrown when the run has given its answer: whoever started it ends the process with status 0. It is no
// failure, and no NSException.
struct RunEnded { };

// While one lives, only the first answer of all threads is given.
class SingleAnswer {
public:
    SingleAnswer();
    SingleAnswer(const SingleAnswer&) = delete;
    SingleAnswer& operator=(const SingleAnswer&) = delete;
    ~SingleAnswer();
};

// The only way the host learns the outcome. Each operation writes one result record and throws RunEnded.
//
// The record's entries, in this order: "succeeded" (boolean, whether `error` is absent), "errorData" (data: archiveError) and
// "errorString" (the error's localised description) when there is an error, "title", "url" and "path" when they are given.
[[noreturn]] void finishWithErrorAndTitleAndURL(
    const NSError& error, const NSString& title, const NSString& url, const NSString& path);
// The same without the end of the run, from any thread. False when another thread gives, or gave, the answer.
[[nodiscard]] bool giveAnswer(const NSError& error, const NSString& title, const NSString& url, const NSString& path);
// WebToolErrorBadArguments, with the whole argument vector in its user info.
[[noreturn]] void finishWithBadArguments(const NSArray& arguments);
// NSURLErrorBadURL for an address that makes no usable URL, which is the record's "url" too.
[[noreturn]] void finishWithBadURL(const NSString& address);

// The non-keyed archive of the error reduced to what the host can always read back: domain, code, and of its user info the
// failing address, description, file path, URL, failure reason and recovery suggestion.
[[nodiscard]] NSData archiveError(const NSError& error);
// The XML property list of the record; empty when it cannot be made.
[[nodiscard]] NSData dataFromPropertyList(const NSDictionary& record);
// Writes the record to the file that the environment variable "OutPath" names, atomically, or else to standard output, which is
// closed then. A file that cannot be written is logged only; standard output that fails, or has no room for 30 s, loses the rest.
void finishWithData(const NSData& data);
