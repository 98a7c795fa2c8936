#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

using View = std::u16string_view;

View withoutTrailingSeparators(View path)
{
    const size_t last = path.find_last_not_of(u'/');
    return last != View::npos ? path.substr(0, last + 1) : path.substr(0, path.empty() ? 0 : 1);
}

// One separator for each run of them, and none at the end unless it is the whole path.
std::u16string withoutNeedlessSeparators(View path)
{
    std::u16string tidy;
    tidy.reserve(path.size());
    for (const char16_t unit : withoutTrailingSeparators(path)) {
        if (unit != u'/' || !tidy.ends_with(u'/'))
            tidy.push_back(unit);
    }
    return tidy;
}

std::vector<View> namesOf(View path)
{
    std::vector<View> names;
    for (size_t start = 0; start < path.size();) {
        const size_t end = std::min(path.find(u'/', start), path.size());
        if (end > start)
            names.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

View lastName(View path)
{
    const View trimmed = withoutTrailingSeparators(path);
    if (trimmed == u"/")
        return trimmed;
    const size_t separator = trimmed.rfind(u'/');
    return separator == View::npos ? trimmed : trimmed.substr(separator + 1);
}

// Where the "." of the extension of a name stands; npos when it has none. A dot at either end of the name begins no extension.
size_t extensionDot(View name)
{
    const size_t dot = name.rfind(u'.');
    return dot == 0 || dot + 1 == name.size() ? View::npos : dot;
}

// The home folder of the user called `name`, or of this process's user when it is empty; absent when there is none.
NSString homeFolder(const std::string& name)
{
    if (name.empty()) {
        const char* const home = std::getenv("HOME");
        if (home && *home)
            return NSString::stringWithRepairedUTF8(home);
    }
    const long suggested = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(suggested > 0 ? static_cast<size_t>(suggested) : 16384);
    passwd entry = {};
    passwd* found = nullptr;
    constexpr size_t largestEntry = 1 << 20;
    while (true) {
        const int failure = name.empty() ? getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)
                                         : getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found);
        if (failure != ERANGE || buffer.size() >= largestEntry)
            break;
        buffer.resize(2 * buffer.size());
    }
    return found && found->pw_dir ? NSString::stringWithRepairedUTF8(found->pw_dir) : NSString();
}

// The path to which the symbolic link at the end of `path` leads; absent when there is no such link or its target does not exist.
NSString targetOfLink(const std::u16string& path)
{
    const std::string bytes = NSString(path).fileSystemRepresentation();
    struct stat status = {};
    if (bytes.empty() || lstat(bytes.c_str(), &status) != 0 || !S_ISLNK(status.st_mode))
        return {};
    const std::unique_ptr<char, decltype(&std::free)> resolved(realpath(bytes.c_str(), nullptr), &std::free);
    return resolved ? NSString::stringWithUTF8String(resolved.get()) : NSString();
}

std::u16string absolutePath(const std::vector<std::u16string>& names)
{
    std::u16string path;
    for (const std::u16string& name : names)
        path.append(u"/").append(name);
    return path.empty() ? u"/" : path;
}

// Takes the last name of an absolute path away, after following it when it is a link.
void goToParent(std::vector<std::u16string>& names)
{
    if (names.empty())
        return;
    if (const NSString target = targetOfLink(absolutePath(names))) {
        names.clear();
        for (const View name : namesOf(target.units()))
            names.emplace_back(name);
    }
    if (!names.empty())
        names.pop_back();
}

}

NSString NSString::lastPathComponent() const
{
    return _text ? NSString(lastName(units())) : NSString();
}

NSString NSString::stringByDeletingLastPathComponent() const
{
    if (!_text)
        return {};
    const std::u16string path = withoutNeedlessSeparators(units());
    const size_t separator = path.rfind(u'/');
    if (separator == View::npos)
        return u"";
    return path.substr(0, std::max<size_t>(separator, 1));
}

NSString NSString::stringByAppendingPathComponent(const NSString& component) const
{
    if (!_text)
        return {};
    if (length() == 0)
        return withoutNeedlessSeparators(component.units());
    std::u16string path(units());
    path.append(u"/").append(component.units());
    return withoutNeedlessSeparators(path);
}

NSString NSString::pathExtension() const
{
    if (!_text)
        return {};
    const View name = lastName(units());
    const size_t dot = extensionDot(name);
    return dot == View::npos ? NSString(u"") : NSString(name.substr(dot + 1));
}

NSString NSString::stringByDeletingPathExtension() const
{
    if (!_text)
        return {};
    std::u16string path = withoutNeedlessSeparators(units());
    const View name = lastName(path);
    const size_t dot = extensionDot(name);
    if (dot != View::npos)
        path.resize(path.size() - (name.size() - dot));
    return path;
}

NSString NSString::stringByAppendingPathExtension(const NSString& extension) const
{
    if (!_text)
        return {};
    std::u16string path = withoutNeedlessSeparators(units());
    if (path.empty() || path == u"/")
        return {};
    path.append(u".").append(extension.units());
    return withoutNeedlessSeparators(path);
}

NSArray NSString::pathComponents() const
{
    if (!_text)
        return {};
    std::vector<Value> components;
    if (units().starts_with(u'/'))
        components.emplace_back(u"/");
    const std::vector<View> names = namesOf(units());
    for (const View name : names)
        components.emplace_back(NSString(name));
    if (!names.empty() && units().ends_with(u'/'))
        components.emplace_back(u"/");
    return NSArray(std::move(components));
}

NSString NSString::stringByStandardizingPath() const
{
    if (!_text)
        return {};
    const NSString expanded = stringByExpandingTildeInPath();
    const bool isAbsolute = expanded.units().starts_with(u'/');
    std::vector<std::u16string> names;
    for (const View name : namesOf(expanded.units())) {
        if (name == u"..") {
            if (isAbsolute)
                goToParent(names);
            else
                names.emplace_back(name);
        } else if (name != u".") {
            names.emplace_back(name);
        }
    }
    if (isAbsolute)
        return absolutePath(names);
    if (names.empty())
        return expanded.length() == 0 ? u"" : u".";
    return absolutePath(names).substr(1);
}

NSString NSString::stringByExpandingTildeInPath() const
{
    if (!units().starts_with(u'~'))
        return *this;
    const size_t end = std::min(units().find(u'/'), length());
    const auto name = NSString(units().substr(1, end - 1)).strictUTF8();
    const NSString home = name && name->find('\0') == std::string::npos ? homeFolder(*name) : NSString();
    if (!home)
        return *this;
    return withoutNeedlessSeparators(home.stringByAppendingString(substringFromIndex(end)).units());
}

std::string NSString::fileSystemRepresentation() const
{
    auto bytes = strictUTF8();
    return bytes && bytes->find('\0') == std::string::npos ? std::move(*bytes) : std::string();
}
