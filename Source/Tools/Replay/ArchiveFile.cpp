#include "Tools/Replay/ArchiveFile.h"

#include "Platform/Foundation/Value.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

namespace {

WebArchive fail(NSError* error, int64_t code, const NSString& path, const NSString& reason)
{
    *error = NSError(NSCocoaErrorDomain, code, {{NSFilePathErrorKey, path}, {NSLocalizedFailureReasonErrorKey, reason}});
    return {};
}

}

WebArchive webArchiveWithContentsOfFile(const NSString& path, NSError* error)
{
    struct stat status;
    if (::stat(path.fileSystemRepresentation().c_str(), &status) != 0) {
        const int code = errno;
        return fail(error, code == ENOENT ? NSFileReadNoSuchFileError : NSFileReadUnknownError, path,
            NSString::stringWithRepairedUTF8(std::strerror(code)));
    }
    // Anything else may have no end.
    if (!S_ISREG(status.st_mode))
        return fail(error, NSFileReadUnknownError, path, u"It is not an ordinary file.");
    if (status.st_size > largestArchive)
        return fail(error, NSFileReadTooLargeError, path, u"It is too large: an archive may have 512 MB.");
    NSError failure;
    const NSData data = NSData::dataWithContentsOfFile(path, &failure);
    if (!data)
        return fail(error, failure.code(), path, failure.localizedDescription());
    WebArchive archive = WebArchive::initWithData(data, &failure);
    if (!archive)
        return fail(error, failure.code(), path, failure.userInfo()[NSDebugDescriptionErrorKey].string());
    return archive;
}
