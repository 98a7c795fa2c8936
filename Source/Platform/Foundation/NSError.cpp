#include "Platform/Foundation/NSError.h"

#include "Platform/Foundation/NSErrorTexts.h"
#include "Platform/Foundation/Value.h"

#include <cerrno>

struct NSError::Contents {
    NSString domain;
    int64_t code;
    NSDictionary userInfo;
};

NSError::NSError(NSString domain, int64_t code, NSDictionary userInfo)
    : _contents(std::make_shared<const Contents>(Contents{std::move(domain), code, std::move(userInfo)}))
{
}

NSString NSError::domain() const
{
    return _contents ? _contents->domain : NSString();
}

int64_t NSError::code() const
{
    return _contents ? _contents->code : 0;
}

NSDictionary NSError::userInfo() const
{
    return _contents ? _contents->userInfo : NSDictionary();
}

NSString NSError::localizedDescription() const
{
    if (!_contents)
        return {};
    if (NSString own = _contents->userInfo.objectForKey(NSLocalizedDescriptionKey).string())
        return own;
    if (NSString derived = derivedErrorDescription(_contents->domain, _contents->code, _contents->userInfo))
        return derived;
    if (const NSString reason = localizedFailureReason())
        return NSString::stringWithFormat(u"The operation couldn’t be completed. %@", reason);
    return NSString::stringWithFormat(
        u"The operation couldn’t be completed. (%@)", genericErrorText(_contents->domain, _contents->code));
}

NSString NSError::localizedFailureReason() const
{
    if (!_contents)
        return {};
    if (NSString own = _contents->userInfo.objectForKey(NSLocalizedFailureReasonErrorKey).string())
        return own;
    return derivedErrorFailureReason(_contents->domain, _contents->code);
}

NSString NSError::localizedRecoverySuggestion() const
{
    return _contents ? _contents->userInfo.objectForKey(NSLocalizedRecoverySuggestionErrorKey).string() : NSString();
}

NSString NSError::description() const
{
    if (!_contents)
        return {};
    const NSString head =
        NSString::stringWithFormat(u"Error Domain=%@ Code=%lld \"%@\"", domain(), code(), localizedDescription());
    if (_contents->userInfo.count() == 0)
        return head;
    std::u16string entries;
    for (const auto& [key, value] : _contents->userInfo) {
        if (!entries.empty())
            entries += u", ";
        entries += key.units();
        entries += u'=';
        entries += value.description().units();
    }
    return NSString::stringWithFormat(u"%@ UserInfo={%@}", head, NSString(std::move(entries)));
}

bool operator==(const NSError& a, const NSError& b)
{
    if (a._contents == b._contents)
        return true;
    if (!a._contents || !b._contents)
        return false;
    // An absent user info says as much as an empty one.
    const bool sameUserInfo =
        a._contents->userInfo.count() == 0 ? b._contents->userInfo.count() == 0 : a._contents->userInfo == b._contents->userInfo;
    return a._contents->code == b._contents->code && a._contents->domain == b._contents->domain && sameUserInfo;
}

static int64_t cocoaCodeForReading(int errnoValue)
{
    switch (errnoValue) {
    case ENOENT:
        return NSFileReadNoSuchFileError;
    case EACCES:
    case EPERM:
        return NSFileReadNoPermissionError;
    case ENAMETOOLONG:
    case EILSEQ:   // not text that the file system can hold
        return NSFileReadInvalidFileNameError;
    case EFBIG:
        return NSFileReadTooLargeError;
    default:
        return NSFileReadUnknownError;
    }
}

static int64_t cocoaCodeForWriting(int errnoValue)
{
    switch (errnoValue) {
    case ENOENT:
        return NSFileNoSuchFileError;
    case EACCES:
    case EPERM:
        return NSFileWriteNoPermissionError;
    case ENAMETOOLONG:
    case EILSEQ:   // not text that the file system can hold
        return NSFileWriteInvalidFileNameError;
    case EEXIST:
        return NSFileWriteFileExistsError;
    case ENOSPC:
    case EDQUOT:
        return NSFileWriteOutOfSpaceError;
    case EROFS:
        return NSFileWriteVolumeReadOnlyError;
    default:
        return NSFileWriteUnknownError;
    }
}

NSError NSFileErrorFromErrno(int errnoValue, const NSString& path, bool forWriting)
{
    NSDictionary userInfo;
    if (path)
        userInfo.setObject(path, NSFilePathErrorKey);
    if (forWriting && errnoValue == ENOENT)
        userInfo.setObject(NSString(u"Folder"), NSUserStringVariantErrorKey);
    userInfo.setObject(NSError(NSPOSIXErrorDomain, errnoValue), NSUnderlyingErrorKey);
    return NSError(NSCocoaErrorDomain, forWriting ? cocoaCodeForWriting(errnoValue) : cocoaCodeForReading(errnoValue), userInfo);
}
