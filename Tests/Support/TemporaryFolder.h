#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// A folder of a test's own, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    // Absolute, without symbolic links.
    [[nodiscard]] const std::filesystem::path& path() const { return _path; }
    // The path of `name` in it, whether it exists or not.
    [[nodiscard]] std::string pathOf(std::string_view name) const { return (_path / name).string(); }

    // Each makes the folders on the way to `name` and gives its path.
    std::string makeFolder(std::string_view name) const;
    std::string write(std::string_view name, std::string_view bytes) const;
    // An executable file.
    std::string writeProgram(std::string_view name, std::string_view text) const;

private:
    std::filesystem::path _path;
};

// All bytes of a file; throws when it cannot be read.
[[nodiscard]] std::string readFile(const std::filesystem::path& path);

// The names of what is in a folder, sorted; none when it does not exist.
[[nodiscard]] std::vector<std::string> namesIn(const std::filesystem::path& folder);

}
