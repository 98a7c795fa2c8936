#pragma once

#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// A file that appears at its path whole or not at all. What is written goes to a new file without a name in the same folder
// (where the file system has none of those, to one of another name); `commit` syncs it and puts it in the place of whatever file
// or symbolic link is at the path. Without a commit nothing is left, even of a process that is killed, and nothing has changed.
// Small pieces are collected, so writing byte by byte is cheap; big ones are not copied.
//
// The new file has the permissions of the file that it replaces, else those that the process's umask leaves. A symbolic link is
// replaced itself, its target stays as it is.
class AtomicFile {
public:
    // Starts a file for `path`. Nothing when its folder is missing or cannot be written, or when the path is a folder or no valid
    // path; then the error (with the path under NSFilePathErrorKey) goes to `*error` if given.
    [[nodiscard]] static std::unique_ptr<AtomicFile> open(const NSString& path, NSError* error = nullptr);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    // Without a commit, removes what was written.
    ~AtomicFile();

    // Appends `bytes`. False on failure; then the error goes to `*error` if given, and every later call fails with the same one.
    [[nodiscard]] bool write(std::span<const std::byte> bytes, NSError* error = nullptr);
    [[nodiscard]] bool write(std::string_view bytes, NSError* error = nullptr);

    // Makes the file appear. False on failure, also after a failed write; then the error goes to `*error` if given, and nothing
    // has changed. To be called once, last.
    [[nodiscard]] bool commit(NSError* error = nullptr);

private:
    AtomicFile() = default;
    [[nodiscard]] bool giveTemporaryName();
    bool writeThrough(std::span<const std::byte> bytes);
    bool flush();
    // Keeps the first failure.
    bool fail(int errnoValue);
    bool report(bool succeeded, NSError* error) const;

    NSString _path;
    std::string _name;            // in the folder
    std::string _temporaryName;   // in the folder; empty while there is no such file
    bool _isNameless = false;
    FileDescriptor _folder;
    FileDescriptor _file;
    std::vector<std::byte> _pending;
    NSError _failure;
};
