#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace support {

TemporaryFolder::TemporaryFolder()
{
    std::string name = (std::filesystem::temp_directory_path() / "twwebtool-test-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    _path = std::filesystem::canonical(name);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    // What a test made read-only must still go.
    for (std::filesystem::recursive_directory_iterator entry(_path, ignored), end; entry != end; entry.increment(ignored))
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored))
            std::filesystem::permissions(
                entry->path(), std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ignored);
    std::filesystem::remove_all(_path, ignored);
}

std::string TemporaryFolder::makeFolder(std::string_view name) const
{
    std::filesystem::create_directories(_path / name);
    return pathOf(name);
}

std::string TemporaryFolder::write(std::string_view name, std::string_view bytes) const
{
    const std::filesystem::path path = _path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + path.string());
    return path.string();
}

std::string TemporaryFolder::writeProgram(std::string_view name, std::string_view text) const
{
    const std::string path = write(name, text);
    std::filesystem::permissions(path, std::filesystem::perms(0755));
    return path;
}

std::string readFile(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + path.string());
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::vector<std::string> namesIn(const std::filesystem::path& folder)
{
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}
