#include "Platform/Network/DownloadFile.h"

#include "Platform/Foundation/SuggestedFilename.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr int namesToTry = 1000;

bool isUnsafe(const NSString& name)
{
    const std::u16string_view units = name.units();
    return units.empty() || units == u"." || units == u".." || name.UTF8().size() > longestFilename
        || std::any_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x20 || unit == 0x7f; });
}

NSString plainName(const NSString& name, const NSString& fallbackName)
{
    if (!isUnsafe(name))
        return name;
    const NSString cleaned = cleanedFilename(name);
    return cleaned ? cleaned : fallbackName;
}

// Where the extension with its dot begins; the length of the name when it has none. That of a packed archive
// is "tar.gz" or the like.
size_t beginOfExtension(const std::string& name)
{
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || name.size() - dot > longestPathExtension)
        return name.size();
    constexpr std::string_view packed = ".tar";
    if (dot > packed.size() && name.compare(dot - packed.size(), packed.size(), packed) == 0)
        return dot - packed.size();
    return dot;
}

bool areSame(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}

std::string numberedFilename(const std::string& name, int number)
{
    const size_t dot = beginOfExtension(name);
    const std::string ending = '-' + std::to_string(number) + name.substr(dot);
    size_t length = std::min(dot, std::max(longestFilename, ending.size()) - ending.size());
    // Not in the middle of a character.
    while (length > 0 && length < dot && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    return name.substr(0, length) + ending;
}

std::unique_ptr<DownloadFile> DownloadFile::create(
    const NSString& path, const NSString& fallbackName, ExistingFile existing, NSError* error)
{
    std::unique_ptr<DownloadFile> file(new DownloadFile);
    const size_t slash = path.units().rfind(u'/');
    const size_t begin = slash == std::u16string_view::npos ? 0 : slash + 1;
    const NSString folder(path.units().substr(0, begin));   // with its "/"
    const NSString name = plainName(NSString(path.units().substr(begin)), fallbackName);
    file->_path = folder.stringByAppendingString(name);

    if (existing == ExistingFile::Replace) {
        file->_replacement = AtomicFile::open(file->_path, error);
        return file->_replacement ? std::move(file) : nullptr;
    }
    const std::string folderBytes = folder.fileSystemRepresentation();
    const int failure = folderBytes.empty() && folder.length() > 0
        ? EILSEQ
        : file->createExclusively(folderBytes.empty() ? "./" : folderBytes, name.UTF8());
    if (failure != 0) {
        file->fail(failure, error);
        return nullptr;
    }
    file->_pathBytes = folderBytes + file->_name;
    file->_path = folder.stringByAppendingString(NSString::stringWithRepairedUTF8(file->_name));
    return file;
}

int DownloadFile::createExclusively(const std::string& folder, const std::string& name)
{
    // The folder is kept open, so that one that is renamed meanwhile does not hide the file that is to be removed. O_PATH asks
    // for no right to list it.
    _folder.reset(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!_folder)
        return errno;
    for (int number = 0; number < namesToTry; ++number) {
        const std::string candidate = number == 0 ? name : numberedFilename(name, number);
        _file.reset(openat(_folder.get(), candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (_file) {
            _name = candidate;
            return 0;
        }
        if (errno != EEXIST)
            return errno;
    }
    return EEXIST;
}

DownloadFile::~DownloadFile()
{
    // Only what was made here is removed: somebody may have put another file in its place.
    struct stat own;
    struct stat named;
    if (!_name.empty() && fstat(_file.get(), &own) == 0 && fstatat(_folder.get(), _name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0
        && areSame(own, named))
        unlinkat(_folder.get(), _name.c_str(), 0);
}

bool DownloadFile::fail(int errnoValue, NSError* error) const
{
    *error = NSFileErrorFromErrno(errnoValue, _path, true);
    return false;
}

bool DownloadFile::write(std::span<const std::byte> bytes, NSError* error)
{
    if (_replacement)
        return _replacement->write(bytes, error);
    const int failure = writeAll(_file.get(), bytes);
    return failure == 0 || fail(failure, error);
}

bool DownloadFile::isAtItsPath() const
{
    struct stat own;
    struct stat found;
    return fstat(_file.get(), &own) == 0 && lstat(_pathBytes.c_str(), &found) == 0 && areSame(own, found);
}

bool DownloadFile::keep(NSError* error)
{
    if (_replacement)
        return _replacement->commit(error);
    // The folder may have been removed or moved away, and the file with it.
    if (!isAtItsPath())
        return fail(ENOENT, error);
    // Network file systems tell some write failures only when the file is closed; the duplicate still names it for its removal.
    FileDescriptor duplicate(fcntl(_file.get(), F_DUPFD_CLOEXEC, 0));
    if (!duplicate)
        return fail(errno, error);
    if (::close(duplicate.release()) != 0 && errno != EINTR)
        return fail(errno, error);
    _name.clear();
    return true;
}
