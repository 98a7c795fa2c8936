#include "QVRPath.h"

#include "Platform/Foundation/Value.h"
#include "QVRStringCharacters.h"
#include "QVRStringMunging.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

namespace {

using StatusCall = int(const char*, struct stat*);

std::optional<struct stat> status(const NSString& path, StatusCall* call)
{
    const std::string representation = path.fileSystemRepresentation();
    struct stat result = {};
    // A NUL would cut the path off and ask about another file.
    if (representation.find('\0') != std::string::npos || call(representation.c_str(), &result) != 0)
        return {};
    return result;
}

bool existsWithType(const NSString& path, StatusCall* call, mode_t type)
{
    const auto found = status(path, call);
    return found && (found->st_mode & S_IFMT) == type;
}

// The attribute's bytes; empty when they cannot be had. It can grow between the two calls, which are then made again.
std::string extendedAttribute(const std::string& path, const char* name)
{
    for (int attempt = 0; attempt < 8; ++attempt) {
        const ssize_t size = ::getxattr(path.c_str(), name, nullptr, 0);
        if (size <= 0)
            return {};
        std::string bytes(static_cast<size_t>(size), '\0');
        const ssize_t read = ::getxattr(path.c_str(), name, bytes.data(), bytes.size());
        if (read >= 0) {
            bytes.resize(static_cast<size_t>(read));
            return bytes;
        }
        if (errno != ERANGE)
            return {};
    }
    return {};
}

}

uint64_t qvrMaxFileNameCharacters()
{
    return 255;
}

uint64_t qvrMaxPathLength()
{
    return 1024;
}

NSString qvrMakeFileNameCharactersValid(const NSString& name)
{
    return qvrStringByReplacingString(qvrStringByReplacingString(name, u"/", u":"), u"\uFFFC", u"");
}

NSString qvrMakeFileNameValid(const NSString& name)
{
    return qvrMakeFileNameValidWithExtension(name.stringByDeletingPathExtension(), name.pathExtension());
}

NSString qvrMakeFileNameValidWithExtension(const NSString& name, const NSString& withExtension)
{
    return qvrMakeFileNameValidWithExtension(name, withExtension, qvrMaxFileNameCharacters());
}

NSString qvrMakeFileNameValidWithExtension(const NSString& name, const NSString& withExtension, uint64_t maxLength)
{
    const NSString suffix = withExtension.length() == 0 ? NSString(u"") : NSString::stringWithFormat(u".%@", withExtension);
    return qvrMakeFileNameCharactersValid(qvrStringByAddingSuffix(name, suffix, maxLength));
}

NSString qvrMakeFileNameValidForCarbon(const NSString& name)
{
    return qvrStringByReplacingString(name, u":", u"/");
}

NSString qvrParent(const NSString& path)
{
    return path.stringByDeletingLastPathComponent();
}

NSString qvrName(const NSString& path)
{
    return path.lastPathComponent();
}

NSString qvrBasename(const NSString& path)
{
    return path.lastPathComponent().stringByDeletingPathExtension();
}

NSString qvrPathExtension(const NSString& path)
{
    return path.pathExtension();
}

NSString qvrChild(const NSString& path, const NSString& name)
{
    return path.stringByAppendingPathComponent(name);
}

NSString qvrWithExtension(const NSString& path, const NSString& extension)
{
    return path.stringByAppendingPathExtension(extension);
}

bool qvrPathIsEqual(const NSString& path, const NSString& other)
{
    return path && path.stringByStandardizingPath() == other.stringByStandardizingPath();
}

bool qvrPathContainsPath(const NSString& path, const NSString& other)
{
    // 1. Absent paths contain nothing and lie nowhere.
    if (!path || !other)
        return false;
    // 2. A shorter path cannot lie inside.
    const NSString outer = path.stringByStandardizingPath();
    const NSString inner = other.stringByStandardizingPath();
    if (inner.length() < outer.length())
        return false;
    // 3. A path contains itself.
    if (inner == outer)
        return true;
    // 4. Whole components are compared, so that "/a/b" does not contain "/a/bc".
    const NSArray outerComponents = outer.pathComponents();
    const NSArray innerComponents = inner.pathComponents();
    return outerComponents.count() < innerComponents.count()
        && std::equal(outerComponents.begin(), outerComponents.end(), innerComponents.begin());
}

bool qvrPathExists(const NSString& path)
{
    return status(path, ::stat).has_value();
}

bool qvrFileExists(const NSString& path)
{
    return existsWithType(path, ::stat, S_IFREG);
}

bool qvrDirectoryExists(const NSString& path)
{
    return existsWithType(path, ::stat, S_IFDIR);
}

bool qvrSymbolicLinkExists(const NSString& path)
{
    return existsWithType(path, ::lstat, S_IFLNK);
}

double qvrFileModificationDateInterval(const NSString& path)
{
    const auto found = status(path, ::stat);
    return found ? static_cast<double>(found->st_mtim.tv_sec) - NSTimeIntervalSince1970 : 0.0;
}

NSDate qvrFileModificationDate(const NSString& path)
{
    return NSDate::dateWithTimeIntervalSinceReferenceDate(qvrFileModificationDateInterval(path));
}

NSComparisonResult qvrCompareFileModificationDate(const NSString& path, const NSString& other)
{
    const double own = qvrFileModificationDateInterval(path);
    const double others = qvrFileModificationDateInterval(other);
    return own < others ? NSOrderedAscending : own > others ? NSOrderedDescending : NSOrderedSame;
}

NSArray qvrSpotlightKeywords(const NSString& path)
{
    if (!path)
        return {};
    std::vector<Value> keywords;
    if (qvrPathExists(path)) {
        const std::string tags = extendedAttribute(path.fileSystemRepresentation(), "user.xdg.tags");
        for (const Value& tag : NSString::stringWithRepairedUTF8(tags).componentsSeparatedByString(u",")) {
            if (const NSString keyword = qvrStringByStripping(tag.string()); keyword.length() > 0)
                keywords.emplace_back(keyword);
        }
    }
    return NSArray(std::move(keywords));
}
