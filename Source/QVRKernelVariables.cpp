#include "QVRKernelVariables.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <set>
#include <vector>

namespace {

using Path = std::filesystem::path;

// The file's text up to a NUL, without white space at its end; empty when it cannot be read.
std::string textOfFile(const Path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    text.resize(std::min(text.find('\0'), text.size()));
    text.resize(text.find_last_not_of(" \t\r\n") + 1);
    return text;
}

std::vector<Path> processorFolders(const Path& root)
{
    std::vector<Path> folders;
    std::error_code failure;
    for (std::filesystem::directory_iterator entry(root / "sys/devices/system/cpu", failure), end; !failure && entry != end;
         entry.increment(failure)) {
        const std::string name = entry->path().filename();
        if (name.starts_with("cpu") && name.size() > 3
            && std::all_of(name.begin() + 3, name.end(), [](char digit) { return digit >= '0' && digit <= '9'; }))
            folders.push_back(entry->path());
    }
    return folders;
}

template <typename Integer>
std::string bytesOf(Integer number)
{
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

std::optional<std::string> model(const Path& root)
{
    for (const char* file : {"sys/class/dmi/id/product_name", "proc/device-tree/model"}) {
        if (std::string text = textOfFile(root / file); !text.empty())
            return text + '\0';
    }
    return {};
}

std::optional<std::string> coreCount(const Path& root)
{
    std::set<std::string> cores;
    for (const Path& folder : processorFolders(root)) {
        std::string processors = textOfFile(folder / "topology/core_cpus_list");
        if (processors.empty())
            processors = textOfFile(folder / "topology/thread_siblings_list");
        if (!processors.empty())
            cores.insert(processors);
    }
    if (cores.empty())
        return {};
    return bytesOf(static_cast<int32_t>(cores.size()));
}

std::optional<std::string> highestFrequency(const Path& root)
{
    int64_t highest = 0;
    for (const Path& folder : processorFolders(root)) {
        const std::string text = textOfFile(folder / "cpufreq/cpuinfo_max_freq");
        int64_t kilohertz = 0;
        const auto [rest, failure] = std::from_chars(text.data(), text.data() + text.size(), kilohertz);
        if (failure == std::errc() && kilohertz <= INT64_MAX / 1000)
            highest = std::max(highest, kilohertz * 1000);
    }
    if (highest == 0)
        return {};
    return bytesOf(highest);
}

}

std::optional<std::string> kernelVariable(std::string_view name, const std::filesystem::path& root)
{
    if (name == "hw.model")
        return model(root);
    if (name == "hw.physicalcpu_max")
        return coreCount(root);
    if (name == "hw.cpufrequency_max")
        return highestFrequency(root);
    return {};
}
