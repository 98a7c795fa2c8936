#include "QVRProcessTable.h"

#include "Platform/Foundation/NSAssertionHandler.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr size_t kernelNameLimit = 15;
constexpr size_t nameLimit = 16;

// The place is part of the failure's text, which readers of logs know.
void requireInList(bool condition, const char16_t* conditionText, int64_t line)
{
    if (!condition)
        NSAssertionHandler::handleFailureInFunction(u"int GetBSDProcessList(kinfo_proc **, size_t *)",
            u"Source/NSProcessInfo+QVR", line, u"Invalid parameter not satisfying: %@", NSString(conditionText));
}

std::string contentsOfFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string_view lastComponent(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

// Whether the process in `folder` belongs to the real user `user`.
bool isOwnedBy(uid_t user, const std::string& folder)
{
    static constexpr std::string_view label = "\nUid:\t";
    const std::string status = contentsOfFile(folder + "/status");
    const size_t place = status.find(label);
    if (place == std::string::npos)
        return false;
    uid_t owner = 0;
    const char* const end = status.data() + status.size();
    const auto [rest, failure] = std::from_chars(status.data() + place + label.size(), end, owner);
    return failure == std::errc() && owner == user;
}

std::string longCommandName(const std::string& kernelName, const std::string& folder)
{
    if (kernelName.size() < kernelNameLimit)
        return kernelName;
    std::array<char, 4096> program;
    const ssize_t length = ::readlink((folder + "/exe").c_str(), program.data(), program.size());
    const std::string commandLine = contentsOfFile(folder + "/cmdline");
    const std::string_view words = commandLine;
    const std::string_view firstWord = words.substr(0, words.find('\0'));
    const std::string_view others = words.substr(std::min(firstWord.size() + 1, words.size()));
    const std::string_view secondWord = others.substr(0, others.find('\0'));
    for (const std::string_view path :
        {std::string_view(program.data(), static_cast<size_t>(std::max<ssize_t>(length, 0))), firstWord, secondWord}) {
        if (const std::string_view name = lastComponent(path); name.starts_with(kernelName))
            return std::string(name.substr(0, nameLimit));
    }
    return kernelName;
}

int readProcesses(std::vector<ProcessEntry>& processes, const std::string& processFolder)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(processFolder.c_str()), ::closedir);
    if (!directory)
        return errno;
    const uid_t user = ::getuid();
    for (;;) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        if (!entry)
            return errno;
        const std::string_view name = entry->d_name;
        ProcessEntry process;
        const auto [rest, failure] = std::from_chars(name.data(), name.data() + name.size(), process.identifier);
        if (failure != std::errc() || rest != name.data() + name.size())
            continue;
        const std::string folder = processFolder + '/' + entry->d_name;
        if (!isOwnedBy(user, folder))
            continue;
        process.kernelCommandName = contentsOfFile(folder + "/comm");
        if (process.kernelCommandName.ends_with('\n'))
            process.kernelCommandName.pop_back();
        process.commandName = longCommandName(process.kernelCommandName, folder);
        processes.push_back(std::move(process));
    }
}

}

int GetBSDProcessList(std::optional<std::vector<ProcessEntry>>& processList, const char* processFolder)
{
    requireInList(!processList, u"result == NULL", 236);
    int err = 0;
    try {
        std::vector<ProcessEntry> processes;
        err = readProcesses(processes, processFolder);
        if (err == 0)
            processList = std::move(processes);
    } catch (const std::bad_alloc&) {
        err = ENOMEM;
    }
    requireInList((err == 0) == processList.has_value(), u"(err == 0) == (*procList != NULL)", 290);
    return err;
}
