#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/Value.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

// The last domain of every search: settings for all programs.
inline const NSString NSGlobalDomain = u".GlobalPreferences";

// Settings in property-list files: the domain D is D.plist in each of some folders, and an earlier folder's entry hides a later
// one's key by key. A domain's files are read once, at its first use. A file that is there but cannot be read, is no regular
// file, is larger than the limit, or holds no dictionary counts as empty and is reported once, by one NSLog line that names it.
// Safe to use from any thread.
class PreferencesStore {
public:
    static constexpr size_t LargestFile = 16 << 20;   // bytes

    // Looks in `folders`, in this order.
    explicit PreferencesStore(std::vector<std::string> folders);

    // The folders that the environment names: XDG_CONFIG_HOME (else .config in HOME, else in the user's home folder), then
    // XDG_CONFIG_DIRS (else /etc/xdg). Relative entries count as not given, as the XDG rules want it.
    [[nodiscard]] static std::vector<std::string> foldersFromEnvironment();

    // The store that NSUserDefaults and the CFPreferences operations read, made at first use from the environment of that moment.
    [[nodiscard]] static std::shared_ptr<PreferencesStore> sharedStore();
    // Puts another store in its place, as when the environment has changed; none makes it anew at its next use.
    static void setSharedStore(std::shared_ptr<PreferencesStore> store);

    // All entries of the domain; absent when no folder has a file for it. A name that is absent, empty or holds "/" or NUL has
    // none.
    [[nodiscard]] NSDictionary domainForName(const NSString& name);
    // The value for `key` in the domain, else in the global domain, else absent.
    [[nodiscard]] Value valueForKey(const NSString& key, const NSString& domain);

private:
    const std::vector<std::string> _folders;
    std::mutex _mutex;
    std::map<NSString, NSDictionary> _domains;
};
