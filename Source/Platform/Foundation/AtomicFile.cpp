#include "Platform/Foundation/AtomicFile.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>

namespace {

constexpr size_t bufferSize = 64 * 1024;   // bytes
constexpr mode_t permissionBits = 0777;

// A hidden name with 128 random bits; nothing when the system has none to give.
std::optional<std::string> unguessableName()
{
    unsigned char random[16];
    if (getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        return {};
    std::string name = ".";
    for (const unsigned char byte : random) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        name += digits;
    }
    return name + ".tmp";
}

std::string descriptorPath(const FileDescriptor& file)
{
    return "/proc/self/fd/" + std::to_string(file.get());
}

struct FolderAndName {
    std::string folder;
    std::string name;
};

FolderAndName splitPath(std::string path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos)
        return {".", std::move(path)};
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

}

std::unique_ptr<AtomicFile> AtomicFile::open(const NSString& path, NSError* error)
{
    std::unique_ptr<AtomicFile> file(new AtomicFile);
    file->_path = path;
    const auto failed = [&](int errnoValue) {
        if (error)
            *error = NSFileErrorFromErrno(errnoValue, path, true);
        return nullptr;
    };

    // 1. A path that cannot name a file.
    const std::string bytes = path.fileSystemRepresentation();
    if (bytes.empty() || bytes.find('\0') != std::string::npos)
        return failed(bytes.empty() && path.length() == 0 ? ENOENT : EILSEQ);
    const auto [folder, name] = splitPath(bytes);
    if (name.empty() || name == "." || name == "..")
        return failed(EISDIR);
    file->_name = name;

    // 2. The folder is kept open, so that one that is renamed meanwhile does not part the file from its new name. O_PATH asks for
    //    no right to list it.
    file->_folder.reset(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!file->_folder)
        return failed(errno);

    // 3. What is there already.
    struct stat replaced;
    const bool replaces = fstatat(file->_folder.get(), name.c_str(), &replaced, AT_SYMLINK_NOFOLLOW) == 0;
    if (!replaces && errno != ENOENT)
        return failed(errno);
    if (replaces && S_ISDIR(replaced.st_mode))
        return failed(EISDIR);

    // 4. The new file. One without a name can only be named through /proc.
    file->_file.reset(openat(file->_folder.get(), ".", O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666));
    file->_isNameless = file->_file && access(descriptorPath(file->_file).c_str(), F_OK) == 0;
    if (!file->_isNameless) {
        const std::optional<std::string> temporaryName = unguessableName();
        if (!temporaryName)
            return failed(EIO);
        file->_file.reset(
            openat(file->_folder.get(), temporaryName->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
        if (!file->_file)
            return failed(errno);
        file->_temporaryName = *temporaryName;
    }
    // A file system that has no permissions refuses the change and has nothing to keep.
    if (replaces && S_ISREG(replaced.st_mode) && fchmod(file->_file.get(), replaced.st_mode & permissionBits) != 0
        && errno != EPERM && errno != ENOTSUP)
        return failed(errno);
    return file;
}

AtomicFile::~AtomicFile()
{
    if (!_temporaryName.empty())
        unlinkat(_folder.get(), _temporaryName.c_str(), 0);
}

bool AtomicFile::fail(int errnoValue)
{
    if (!_failure)
        _failure = NSFileErrorFromErrno(errnoValue, _path, true);
    return false;
}

bool AtomicFile::report(bool succeeded, NSError* error) const
{
    if (!succeeded && error)
        *error = _failure;
    return succeeded;
}

bool AtomicFile::writeThrough(std::span<const std::byte> bytes)
{
    const int failure = writeAll(_file.get(), bytes);
    return failure == 0 || fail(failure);
}

bool AtomicFile::flush()
{
    const bool succeeded = writeThrough(_pending);
    _pending.clear();
    return succeeded;
}

bool AtomicFile::write(std::span<const std::byte> bytes, NSError* error)
{
    if (_failure)
        return report(false, error);
    if (_pending.size() + bytes.size() < bufferSize) {
        _pending.insert(_pending.end(), bytes.begin(), bytes.end());
        return true;
    }
    return report(flush() && writeThrough(bytes), error);
}

bool AtomicFile::write(std::string_view bytes, NSError* error)
{
    return write(std::as_bytes(std::span(bytes)), error);
}

bool AtomicFile::giveTemporaryName()
{
    const std::optional<std::string> name = unguessableName();
    if (!name)
        return fail(EIO);
    if (linkat(AT_FDCWD, descriptorPath(_file).c_str(), _folder.get(), name->c_str(), AT_SYMLINK_FOLLOW) != 0)
        return fail(errno);
    _temporaryName = *name;
    return true;
}

bool AtomicFile::commit(NSError* error)
{
    if (_failure || !flush())
        return report(false, error);
    // 1. The contents reach the disk before the name does, or a power cut could leave a short file under it.
    if (fsync(_file.get()) != 0)
        return report(fail(errno), error);
    // 2. A file without a name gets its own where nothing is to be replaced.
    const bool isNamed =
        _isNameless && linkat(AT_FDCWD, descriptorPath(_file).c_str(), _folder.get(), _name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    if (isNamed)
        _temporaryName = _name;   // to be removed again on failure
    else if (_isNameless && !giveTemporaryName())
        return report(false, error);
    // 3. Network file systems tell some write failures only here.
    if (::close(_file.release()) != 0 && errno != EINTR)
        return report(fail(errno), error);
    // 4. Else the new name takes the place of the old file in one step.
    if (!isNamed && renameat(_folder.get(), _temporaryName.c_str(), _folder.get(), _name.c_str()) != 0)
        return report(fail(errno), error);
    _temporaryName.clear();
    // 5. The folder's entry reaches the disk. The file is there already, so a folder that cannot be synced (no right to read it,
    //    a file system without the operation) is no failure.
    const FileDescriptor readableFolder(openat(_folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (readableFolder)
        fsync(readableFolder.get());
    return true;
}
