#pragma once

#include "Platform/Foundation/NSString.h"

#include <cstdint>

// Domains, codes and user-info keys that the platform defines. The texts of the keys are the platform's own.

inline const NSString NSCocoaErrorDomain = u"NSCocoaErrorDomain";
inline const NSString NSPOSIXErrorDomain = u"NSPOSIXErrorDomain";
inline const NSString NSURLErrorDomain = u"NSURLErrorDomain";
inline const NSString NSOSStatusErrorDomain = u"NSOSStatusErrorDomain";
inline const NSString WebKitErrorDomain = u"WebKitErrorDomain";

inline const NSString NSLocalizedDescriptionKey = u"NSLocalizedDescription";
inline const NSString NSLocalizedFailureReasonErrorKey = u"NSLocalizedFailureReason";
inline const NSString NSLocalizedRecoverySuggestionErrorKey = u"NSLocalizedRecoverySuggestion";
inline const NSString NSUnderlyingErrorKey = u"NSUnderlyingError";
inline const NSString NSFilePathErrorKey = u"NSFilePath";
inline const NSString NSURLErrorKey = u"NSURL";
// Which kind of thing a file error is about, when its sentence names another one than the file: "Folder".
inline const NSString NSUserStringVariantErrorKey = u"NSUserStringVariant";
// What went wrong, for developers.
inline const NSString NSDebugDescriptionErrorKey = u"NSDebugDescription";
inline const NSString NSHelpAnchorErrorKey = u"NSHelpAnchor";
inline const NSString NSURLErrorFailingURLErrorKey = u"NSErrorFailingURLKey";
inline const NSString NSURLErrorFailingURLStringErrorKey = u"NSErrorFailingURLStringKey";

// NSCocoaErrorDomain.
inline constexpr int64_t NSFileNoSuchFileError = 4;
inline constexpr int64_t NSFileReadUnknownError = 256;
inline constexpr int64_t NSFileReadNoPermissionError = 257;
inline constexpr int64_t NSFileReadInvalidFileNameError = 258;
inline constexpr int64_t NSFileReadCorruptFileError = 259;
inline constexpr int64_t NSFileReadNoSuchFileError = 260;
inline constexpr int64_t NSFileReadInapplicableStringEncodingError = 261;
inline constexpr int64_t NSFileReadUnsupportedSchemeError = 262;
inline constexpr int64_t NSFileReadTooLargeError = 263;
inline constexpr int64_t NSFileReadUnknownStringEncodingError = 264;
inline constexpr int64_t NSFileWriteUnknownError = 512;
inline constexpr int64_t NSFileWriteNoPermissionError = 513;
inline constexpr int64_t NSFileWriteInvalidFileNameError = 514;
inline constexpr int64_t NSFileWriteFileExistsError = 516;
inline constexpr int64_t NSFileWriteInapplicableStringEncodingError = 517;
inline constexpr int64_t NSFileWriteUnsupportedSchemeError = 518;
inline constexpr int64_t NSFileWriteOutOfSpaceError = 640;
inline constexpr int64_t NSFileWriteVolumeReadOnlyError = 642;
inline constexpr int64_t NSUserCancelledError = 3072;
inline constexpr int64_t NSPropertyListReadCorruptError = 3840;
inline constexpr int64_t NSPropertyListWriteStreamError = 3851;
inline constexpr int64_t NSPropertyListWriteInvalidError = 3852;
inline constexpr int64_t NSCoderReadCorruptError = 4864;

// NSURLErrorDomain.
inline constexpr int64_t NSURLErrorUnknown = -1;
inline constexpr int64_t NSURLErrorCancelled = -999;
inline constexpr int64_t NSURLErrorBadURL = -1000;
inline constexpr int64_t NSURLErrorTimedOut = -1001;
inline constexpr int64_t NSURLErrorUnsupportedURL = -1002;
inline constexpr int64_t NSURLErrorCannotFindHost = -1003;
inline constexpr int64_t NSURLErrorCannotConnectToHost = -1004;
inline constexpr int64_t NSURLErrorNetworkConnectionLost = -1005;
inline constexpr int64_t NSURLErrorDNSLookupFailed = -1006;
inline constexpr int64_t NSURLErrorHTTPTooManyRedirects = -1007;
inline constexpr int64_t NSURLErrorResourceUnavailable = -1008;
inline constexpr int64_t NSURLErrorNotConnectedToInternet = -1009;
inline constexpr int64_t NSURLErrorRedirectToNonExistentLocation = -1010;
inline constexpr int64_t NSURLErrorBadServerResponse = -1011;
inline constexpr int64_t NSURLErrorUserCancelledAuthentication = -1012;
inline constexpr int64_t NSURLErrorUserAuthenticationRequired = -1013;
inline constexpr int64_t NSURLErrorZeroByteResource = -1014;
inline constexpr int64_t NSURLErrorCannotDecodeRawData = -1015;
inline constexpr int64_t NSURLErrorCannotDecodeContentData = -1016;
inline constexpr int64_t NSURLErrorCannotParseResponse = -1017;
inline constexpr int64_t NSURLErrorFileDoesNotExist = -1100;
inline constexpr int64_t NSURLErrorFileIsDirectory = -1101;
inline constexpr int64_t NSURLErrorNoPermissionsToReadFile = -1102;
inline constexpr int64_t NSURLErrorSecureConnectionFailed = -1200;
inline constexpr int64_t NSURLErrorServerCertificateHasBadDate = -1201;
inline constexpr int64_t NSURLErrorServerCertificateUntrusted = -1202;
inline constexpr int64_t NSURLErrorServerCertificateHasUnknownRoot = -1203;
inline constexpr int64_t NSURLErrorServerCertificateNotYetValid = -1204;
inline constexpr int64_t NSURLErrorCannotCreateFile = -3000;
inline constexpr int64_t NSURLErrorCannotOpenFile = -3001;
inline constexpr int64_t NSURLErrorCannotWriteToFile = -3003;

// WebKitErrorDomain.
inline constexpr int64_t WebKitErrorCannotShowMIMEType = 100;
inline constexpr int64_t WebKitErrorCannotShowURL = 101;
inline constexpr int64_t WebKitErrorFrameLoadInterruptedByPolicyChange = 102;
inline constexpr int64_t WebKitErrorCannotUseRestrictedPort = 103;
inline constexpr int64_t WebKitErrorPlugInWillHandleLoad = 204;
