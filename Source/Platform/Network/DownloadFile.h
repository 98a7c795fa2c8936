#pragma once

#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>

// What happens to a file that has the wanted name already.
enum class ExistingFile { Keep, Replace };

// The file that a download becomes. Its name is always one plain name in the folder of the wanted path. With ExistingFile::Keep
// it is there from the start, made exclusively: it is never a file that somebody else made. With ExistingFile::Replace it appears
// at the end, in one step.
class DownloadFile {
public:
    // A last component that is empty, "." or "..", has control characters or is longer than 255 bytes is cleaned, or replaced by
    // `fallbackName` (a clean one) when nothing remains of it. Where the name is taken and kept, "name-1.ext" to "name-999.ext"
    // are tried. None on failure; then the file error, which names the path, goes to `*error`.
    [[nodiscard]] static std::unique_ptr<DownloadFile> create(
        const NSString& path, const NSString& fallbackName, ExistingFile existing, NSError* error);
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;
    // Removes the file if it was not kept.
    ~DownloadFile();

    // Where it is, or will be once it is kept.
    [[nodiscard]] const NSString& path() const { return _path; }
    // False on failure; then the file error goes to `*error`.
    [[nodiscard]] bool write(std::span<const std::byte> bytes, NSError* error);
    // Makes the file last. To be called once, last. False on failure, also when the file is no longer at its path; then the file
    // error goes to `*error`.
    [[nodiscard]] bool keep(NSError* error);

private:
    DownloadFile() = default;
    // The errno value of the failure, else 0.
    int createExclusively(const std::string& folder, const std::string& name);
    [[nodiscard]] bool isAtItsPath() const;
    bool fail(int errnoValue, NSError* error) const;

    NSString _path;
    std::unique_ptr<AtomicFile> _replacement;   // with ExistingFile::Replace, and then nothing of the following
    std::string _pathBytes;
    std::string _name;   // in the folder; empty when there is nothing to remove (any more)
    FileDescriptor _folder;
    FileDescriptor _file;
};

// The name to try after `name` was taken for the `number`th time: "name-1.ext", "name-1.tar.gz"; of at most
// 255 bytes when `name` is.
[[nodiscard]] std::string numberedFilename(const std::string& name, int number);
