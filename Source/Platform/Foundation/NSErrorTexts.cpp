#include "Platform/Foundation/NSErrorTexts.h"

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSErrorCodes.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>
#include <span>

namespace {

struct Sentence {
    int64_t code;
    const char16_t* text;
};

constexpr Sentence urlSentences[] = {
    {-1, u"unknown error"},
    {-998, u"unknown error"},
    {-999, u"cancelled"},
    {-1000, u"bad URL"},
    {-1001, u"The request timed out."},
    {-1002, u"unsupported URL"},
    {-1003, u"A server with the specified hostname could not be found."},
    {-1004, u"Could not connect to the server."},
    {-1005, u"The network connection was lost."},
    {-1006, u"DNS lookup error"},
    {-1007, u"too many HTTP redirects"},
    {-1008, u"resource unavailable"},
    {-1009, u"The Internet connection appears to be offline."},
    {-1010, u"redirected to nowhere"},
    {-1011, u"There was a bad response from the server."},
    {-1014, u"zero byte resource"},
    {-1015, u"cannot decode raw data"},
    {-1016, u"cannot decode raw data"},
    {-1017, u"cannot parse response"},
    {-1018, u"International roaming is currently off."},
    {-1019, u"A data connection cannot be established since a call is currently active."},
    {-1020, u"A data connection is not currently allowed."},
    {-1021, u"request body stream exhausted"},
    {-1100, u"The requested URL was not found on this server."},
    {-1101, u"file is directory"},
    {-1102, u"You do not have permission to access the requested resource."},
    {-1103, u"resource exceeds maximum size"},
    {-1200, u"An SSL error has occurred and a secure connection to the server cannot be made."},
    {-1201, u"The certificate for this server has expired."},
    {-1202, u"The certificate for this server is invalid."},
    {-1203, u"The certificate for this server was signed by an unknown certifying authority."},
    {-1204, u"The certificate for this server is not yet valid."},
    {-1205, u"The server did not accept the certificate."},
    {-1206, u"The server requires a client certificate."},
    {-2000, u"can’t load from network"},
    {-3000, u"cannot create file"},
    {-3001, u"cannot open file"},
    {-3002, u"cannot close file"},
    {-3003, u"cannot write to file"},
    {-3004, u"cannot remove file"},
    {-3005, u"cannot move file"},
    {-3006, u"download decoding failed mid-stream"},
    {-3007, u"download decoding failed to complete"},
};

constexpr Sentence webKitSentences[] = {
    {100, u"Content with specified MIME type can’t be shown"},
    {101, u"The URL can’t be shown"},
    {102, u"Frame load interrupted"},
    {103, u"Not allowed to use restricted network port"},
    {200, u"The plug-in can’t be found"},
    {201, u"The plug-in can’t be loaded"},
    {202, u"Java is unavailable"},
    {203, u"The plug-in connection was cancelled"},
    {204, u"Plug-in handled load"},
};

constexpr Sentence osStatusMeanings[] = {
    {-36, u"I/O error (bummers)"},
    {-39, u"End of file"},
    {-43, u"File not found"},
    {-50, u"error in user parameter list"},
    {-54, u"permissions error (on file open)"},
    {-108, u"Not enough room in heap zone"},
};

// The sentences of a file error: without a file name ("%1$@" none), with one, and with the folder's name too ("%2$@"). Where
// the last is missing the folder is not told.
struct FileSentence {
    int64_t code;
    const char16_t* bare;
    const char16_t* named;
    const char16_t* namedInFolder = nullptr;
};

constexpr FileSentence fileSentences[] = {
    {NSFileNoSuchFileError, u"The file doesn’t exist.", u"The file “%1$@” doesn’t exist."},
    {NSFileReadUnknownError, u"The file couldn’t be opened.", u"The file “%1$@” couldn’t be opened."},
    {NSFileReadNoPermissionError, u"The file couldn’t be opened because you don’t have permission to view it.",
        u"The file “%1$@” couldn’t be opened because you don’t have permission to view it."},
    {NSFileReadInvalidFileNameError, u"The file couldn’t be opened because its name is invalid.",
        u"The file “%1$@” couldn’t be opened because its name is invalid."},
    {NSFileReadCorruptFileError, u"The file couldn’t be opened because it isn’t in the correct format.",
        u"The file “%1$@” couldn’t be opened because it isn’t in the correct format."},
    {NSFileReadNoSuchFileError, u"The file couldn’t be opened because there is no such file.",
        u"The file “%1$@” couldn’t be opened because there is no such file."},
    {NSFileReadInapplicableStringEncodingError, u"The file couldn’t be opened because its text encoding is not applicable.",
        u"The file “%1$@” couldn’t be opened because its text encoding is not applicable."},
    {NSFileReadUnsupportedSchemeError, u"The file couldn’t be opened because the specified URL type isn’t supported.",
        u"The file “%1$@” couldn’t be opened because the specified URL type isn’t supported."},
    {NSFileReadTooLargeError, u"The file couldn’t be opened because it is too large.",
        u"The file “%1$@” couldn’t be opened because it is too large."},
    {NSFileReadUnknownStringEncodingError,
        u"The file couldn’t be opened because the text encoding of its contents can’t be determined.",
        u"The file “%1$@” couldn’t be opened because the text encoding of its contents can’t be determined."},
    {NSFileWriteUnknownError, u"The file couldn’t be saved.", u"The file “%1$@” couldn’t be saved.",
        u"The file “%1$@” couldn’t be saved in the folder “%2$@”."},
    {NSFileWriteNoPermissionError, u"You don’t have permission to save the file.",
        u"You don’t have permission to save the file “%1$@”.",
        u"You don’t have permission to save the file “%1$@” in the folder “%2$@”."},
    {NSFileWriteInvalidFileNameError, u"The file couldn’t be saved because the file name is invalid.",
        u"The file “%1$@” couldn’t be saved because the file name is invalid."},
    {NSFileWriteFileExistsError, u"The file couldn’t be saved because a file with the same name already exists.",
        u"The file “%1$@” couldn’t be saved because a file with the same name already exists.",
        u"The file “%1$@” couldn’t be saved in the folder “%2$@” because a file with the same name already exists."},
    {NSFileWriteInapplicableStringEncodingError, u"The file couldn’t be saved because its text encoding is not applicable.",
        u"The file “%1$@” couldn’t be saved because its text encoding is not applicable."},
    {NSFileWriteUnsupportedSchemeError, u"The file couldn’t be saved because the specified URL type isn’t supported.",
        u"The file “%1$@” couldn’t be saved because the specified URL type isn’t supported."},
    {NSFileWriteOutOfSpaceError, u"The file couldn’t be saved because there isn’t enough space.",
        u"You can’t save the file “%1$@” because the volume is out of space."},
    {NSFileWriteVolumeReadOnlyError, u"The file couldn’t be saved because the volume is read only.",
        u"You can’t save the file “%1$@” because the volume is read only."},
};

constexpr Sentence otherCocoaSentences[] = {
    {NSUserCancelledError, u"The operation was cancelled."},
    {NSPropertyListReadCorruptError, u"The data couldn’t be read because it isn’t in the correct format."},
    {3841, u"The data couldn’t be read because it is of an unknown version."},
    {3842, u"The data couldn’t be read."},
    {NSPropertyListWriteStreamError, u"The data couldn’t be written."},
    {NSPropertyListWriteInvalidError, u"The data couldn’t be written because it isn’t in the correct format."},
    {NSCoderReadCorruptError, u"The data couldn’t be read because it isn’t in the correct format."},
};

constexpr Sentence cocoaReasons[] = {
    {NSFileNoSuchFileError, u"The file doesn’t exist."},
    {NSFileReadNoPermissionError, u"You don’t have permission."},
    {NSFileReadInvalidFileNameError, u"The file name is invalid."},
    {NSFileReadCorruptFileError, u"The file isn’t in the correct format."},
    {NSFileReadNoSuchFileError, u"The file doesn’t exist."},
    {NSFileReadTooLargeError, u"The file is too large."},
    {NSFileWriteNoPermissionError, u"You don’t have permission."},
    {NSFileWriteInvalidFileNameError, u"The file name is invalid."},
    {NSFileWriteFileExistsError, u"A file with the same name already exists."},
    {NSFileWriteOutOfSpaceError, u"There isn’t enough space."},
    {NSFileWriteVolumeReadOnlyError, u"The volume is read only."},
    {NSPropertyListReadCorruptError, u"The data isn’t in the correct format."},
    {NSCoderReadCorruptError, u"The data isn’t in the correct format."},
};

NSString textForCode(std::span<const Sentence> sentences, int64_t code)
{
    const auto found = std::find_if(sentences.begin(), sentences.end(), [code](const Sentence& row) { return row.code == code; });
    return found == sentences.end() ? NSString() : NSString(found->text);
}

// The untranslated meaning of an errno value; absent for numbers that are none.
NSString errnoMeaning(int64_t code)
{
    if (code <= 0 || code > std::numeric_limits<int>::max())
        return {};
    const char* meaning = strerrordesc_np(static_cast<int>(code));
    return meaning ? NSString::stringWithUTF8String(meaning) : NSString();
}

NSString filePath(const NSDictionary& userInfo)
{
    NSString path = userInfo.objectForKey(NSFilePathErrorKey).string();
    if (!path)
        path = userInfo.objectForKey(NSURLErrorKey).url().path();
    return path;
}

NSString fileErrorDescription(int64_t code, const NSDictionary& userInfo)
{
    const auto row = std::find_if(std::begin(fileSentences), std::end(fileSentences),
        [code](const FileSentence& sentence) { return sentence.code == code; });
    if (row == std::end(fileSentences))
        return {};
    const NSString path = filePath(userInfo);
    const NSString name = path.lastPathComponent();
    if (name.length() == 0)
        return row->bare;
    const NSString folder = path.stringByDeletingLastPathComponent().lastPathComponent();
    if (code == NSFileNoSuchFileError && userInfo.objectForKey(NSUserStringVariantErrorKey).string() == NSString(u"Folder")
        && folder.length() > 0)
        return NSString::stringWithFormat(u"The folder “%@” doesn’t exist.", folder);
    if (row->namedInFolder && folder.length() > 0)
        return NSString::stringWithFormat(row->namedInFolder, name, folder);
    return NSString::stringWithFormat(row->named, name);
}

// A certificate that names another host gets a warning that names the host asked for.
NSString invalidCertificateDescription(const NSDictionary& userInfo)
{
    NSURL url = userInfo.objectForKey(NSURLErrorFailingURLErrorKey).url();
    if (!url)
        url = userInfo.objectForKey(NSURLErrorKey).url();
    if (!url)
        url = NSURL::URLWithString(userInfo.objectForKey(NSURLErrorFailingURLStringErrorKey).string());
    const NSString host = url.host();
    if (!host)
        return {};
    return NSString::stringWithFormat(u"The certificate for this server is invalid. You might be connecting to a server that is "
                                      u"pretending to be “%@” which could put your confidential information at risk.",
        host);
}

}

NSString derivedErrorDescription(const NSString& domain, int64_t code, const NSDictionary& userInfo)
{
    if (domain == NSURLErrorDomain) {
        if (code == NSURLErrorServerCertificateUntrusted) {
            if (NSString warning = invalidCertificateDescription(userInfo))
                return warning;
        }
        return textForCode(urlSentences, code);
    }
    if (domain == WebKitErrorDomain)
        return textForCode(webKitSentences, code);
    if (domain == NSCocoaErrorDomain) {
        if (NSString sentence = fileErrorDescription(code, userInfo))
            return sentence;
        return textForCode(otherCocoaSentences, code);
    }
    return {};
}

NSString derivedErrorFailureReason(const NSString& domain, int64_t code)
{
    if (domain == NSPOSIXErrorDomain)
        return errnoMeaning(code);
    if (domain == NSCocoaErrorDomain)
        return textForCode(cocoaReasons, code);
    return {};
}

NSString genericErrorText(const NSString& domain, int64_t code)
{
    if (domain == NSCocoaErrorDomain)
        return NSString::stringWithFormat(u"Cocoa error %lld.", code);
    if (domain == NSOSStatusErrorDomain) {
        if (const NSString meaning = textForCode(osStatusMeanings, code))
            return NSString::stringWithFormat(u"OSStatus error %lld - %@", code, meaning);
        return NSString::stringWithFormat(u"OSStatus error %lld.", code);
    }
    return NSString::stringWithFormat(u"%@ error %lld.", domain, code);
}
