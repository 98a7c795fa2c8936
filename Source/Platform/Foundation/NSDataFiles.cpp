#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <string>

namespace {

constexpr size_t growth = 64 * 1024;   // bytes

// The path's bytes; empty, with the reason in `errnoValue`, when it cannot name a file.
std::string pathBytes(const NSString& path, int& errnoValue)
{
    std::string bytes = path.fileSystemRepresentation();
    if (bytes.empty() || bytes.find('\0') != std::string::npos) {
        errnoValue = bytes.empty() && path.length() == 0 ? ENOENT : EILSEQ;
        return {};
    }
    return bytes;
}

// Reads up to the end. The size is only where to start: a file may grow, and those of /proc have none. An
// errno value, 0 on success.
int readAll(int descriptor, size_t expectedSize, std::vector<std::byte>& bytes)
{
    size_t length = 0;
    bytes.resize(expectedSize + 1);
    while (true) {
        if (length == bytes.size())
            bytes.resize(bytes.size() + std::max(bytes.size() / 2, growth));
        const ssize_t count = read(descriptor, bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        if (count == 0)
            break;
        length += static_cast<size_t>(count);
    }
    bytes.resize(length);
    return 0;
}

// Opens without ever waiting: a pipe without a writer would hold the program for good, and only regular files have an end.
int readFile(const std::string& path, std::vector<std::byte>& bytes)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    try {
        return readAll(file.get(), static_cast<size_t>(std::max<off_t>(status.st_size, 0)), bytes);
    } catch (const std::bad_alloc&) {
        return EFBIG;
    } catch (const std::length_error&) {
        return EFBIG;
    }
}

// Writes into the file that is there, or into a new one, which goes again on failure. An errno value, 0 on success.
int writeInPlace(const std::string& path, std::span<const std::byte> bytes)
{
    FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    const bool isNew = static_cast<bool>(file);
    if (!isNew && errno == EEXIST)
        file.reset(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666));
    if (!file)
        return errno;
    int failure = writeAll(file.get(), bytes);
    if (close(file.release()) != 0 && failure == 0 && errno != EINTR)
        failure = errno;
    if (failure != 0 && isNew)
        unlink(path.c_str());
    return failure;
}

}

NSData NSData::dataWithContentsOfFile(const NSString& path, NSError* error)
{
    int failure = 0;
    std::vector<std::byte> bytes;
    const std::string representation = pathBytes(path, failure);
    if (failure == 0)
        failure = readFile(representation, bytes);
    if (failure == 0)
        return NSData(std::move(bytes));
    if (error)
        *error = NSFileErrorFromErrno(failure, path, false);
    return {};
}

bool NSData::writeToFile(const NSString& path, NSDataWritingOptions options, NSError* error) const
{
    if (options & NSDataWritingAtomic) {
        const std::unique_ptr<AtomicFile> file = AtomicFile::open(path, error);
        return file && file->write(bytes(), error) && file->commit(error);
    }
    int failure = 0;
    const std::string representation = pathBytes(path, failure);
    if (failure == 0)
        failure = writeInPlace(representation, bytes());
    if (failure != 0 && error)
        *error = NSFileErrorFromErrno(failure, path, true);
    return failure == 0;
}
