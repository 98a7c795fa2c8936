#include "Platform/Foundation/PreferencesStore.h"

#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <pwd.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A settings file's entries, or why there are none.
struct FileContents {
    NSDictionary entries;   // absent when there is no such file
    NSString failure;       // absent when there is none
};

FileContents unusable(const NSString& why)
{
    return {NSDictionary::dictionary(), why};
}

FileContents unusable(int errnoValue)
{
    return unusable(NSString::stringWithRepairedUTF8(std::strerror(errnoValue)));
}

bool isTrusted(uid_t owner)
{
    return owner == 0 || owner == ::geteuid();
}

FileContents readFile(const std::string& path)
{
    struct stat entry = {};
    const bool isLink = ::lstat(path.c_str(), &entry) == 0 && S_ISLNK(entry.st_mode);
    // Who may make links where settings are looked for must not choose what is read.
    if (isLink && !isTrusted(entry.st_uid))
        return unusable(u"it is a link that belongs to another user");
    // Never waits for a pipe's other end or a device.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file)
        return errno == ENOENT || errno == ENOTDIR ? FileContents{} : unusable(errno);
    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        return unusable(errno);
    if (!S_ISREG(status.st_mode))
        return unusable(u"it is not a regular file");
    if (isLink && !isTrusted(status.st_uid))
        return unusable(u"it is a link to a file that belongs to another user");

    std::vector<std::byte> bytes;
    const NSString tooLarge = u"it is too large";
    if (status.st_size > static_cast<off_t>(PreferencesStore::LargestFile))
        return unusable(tooLarge);
    // One byte more than expected, so that the end is seen without another call.
    bytes.resize(static_cast<size_t>(status.st_size) + 1);
    size_t length = 0;
    while (true) {
        const ssize_t count = ::read(file.get(), bytes.data() + length, bytes.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return unusable(errno);
        if (count == 0)
            break;
        length += static_cast<size_t>(count);
        if (length > PreferencesStore::LargestFile)
            return unusable(tooLarge);
        if (length == bytes.size())
            bytes.resize(std::min(2 * bytes.size(), PreferencesStore::LargestFile + 1));
    }
    bytes.resize(length);

    NSError error;
    const Value list = NSPropertyListSerialization::propertyListWithData(NSData(std::move(bytes)), nullptr, &error);
    if (list.isAbsent())
        return unusable(error ? error.localizedDescription() : NSString(u"it is not a property list"));
    if (!list.is(Value::Kind::Dictionary))
        return unusable(u"it does not hold a dictionary");
    return {list.dictionary(), {}};
}

bool isDomainName(const NSString& name)
{
    return name.length() > 0 && name.units().find_first_of(std::u16string_view(u"/\0", 2)) == std::u16string_view::npos;
}

std::string homeFolder()
{
    if (const char* home = std::getenv("HOME"); home && *home)
        return home;
    const passwd* user = ::getpwuid(::getuid());
    return user && user->pw_dir ? user->pw_dir : "";
}

std::string absoluteOrEmpty(const char* path)
{
    return path && path[0] == '/' ? path : "";
}

std::mutex sharedStoreMutex;
std::shared_ptr<PreferencesStore>& sharedStoreSlot()
{
    static auto& slot = *new std::shared_ptr<PreferencesStore>;   // read by objects with static
                                                                  // storage to the very end
    return slot;
}

}   // namespace

PreferencesStore::PreferencesStore(std::vector<std::string> folders) : _folders(std::move(folders)) { }

std::vector<std::string> PreferencesStore::foldersFromEnvironment()
{
    std::vector<std::string> folders;
    std::string own = absoluteOrEmpty(std::getenv("XDG_CONFIG_HOME"));
    if (own.empty()) {
        if (const std::string home = absoluteOrEmpty(homeFolder().c_str()); !home.empty())
            own = home + "/.config";
    }
    if (!own.empty())
        folders.push_back(own);

    const char* given = std::getenv("XDG_CONFIG_DIRS");
    std::istringstream shared(given && *given ? given : "/etc/xdg");
    for (std::string folder; std::getline(shared, folder, ':');) {
        if (!absoluteOrEmpty(folder.c_str()).empty())
            folders.push_back(folder);
    }
    return folders;
}

std::shared_ptr<PreferencesStore> PreferencesStore::sharedStore()
{
    const std::lock_guard lock(sharedStoreMutex);
    auto& store = sharedStoreSlot();
    if (!store)
        store = std::make_shared<PreferencesStore>(foldersFromEnvironment());
    return store;
}

void PreferencesStore::setSharedStore(std::shared_ptr<PreferencesStore> store)
{
    const std::lock_guard lock(sharedStoreMutex);
    sharedStoreSlot() = std::move(store);
}

NSDictionary PreferencesStore::domainForName(const NSString& name)
{
    const auto fileName = name.strictUTF8();
    if (!fileName || !isDomainName(name))
        return {};
    const std::lock_guard lock(_mutex);
    const auto [place, isNew] = _domains.try_emplace(name);
    NSDictionary& entries = place->second;
    if (!isNew)
        return entries;
    for (const std::string& folder : _folders) {
        const std::string path = folder + '/' + *fileName + ".plist";
        const FileContents contents = readFile(path);
        if (contents.failure)
            NSLog(u"The settings file %s counts as empty: %@", path.c_str(), contents.failure);
        if (contents.entries && entries.isAbsent())
            entries = NSDictionary::dictionary();
        for (const auto& [key, value] : contents.entries) {
            if (entries.objectForKey(key).isAbsent())
                entries.setObject(value, key);
        }
    }
    return entries;
}

Value PreferencesStore::valueForKey(const NSString& key, const NSString& domain)
{
    Value value = domainForName(domain).objectForKey(key);
    if (value.isAbsent() && domain != NSGlobalDomain)
        value = domainForName(NSGlobalDomain).objectForKey(key);
    return value;
}
