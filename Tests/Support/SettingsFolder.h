#pragma once

#include "Platform/Foundation/PreferencesStore.h"
#include "Support/TemporaryFolder.h"

#include <memory>
#include <string>
#include <string_view>

namespace support {

// While it lives, all settings of the process come from a folder of its own, which is empty at first.
class SettingsFolder {
public:
    SettingsFolder() { reread(); }
    SettingsFolder(const SettingsFolder&) = delete;
    SettingsFolder& operator=(const SettingsFolder&) = delete;
    ~SettingsFolder() { PreferencesStore::setSharedStore(nullptr); }

    // Writes a domain's file whose dictionary holds `entries`, XML such as "<key>a</key><true/>".
    void write(std::string_view domain, std::string_view entries) const
    {
        static_cast<void>(_folder.write(std::string(domain) + ".plist",
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + std::string(entries)
                + "</dict></plist>\n"));
        reread();
    }

private:
    // A store reads a domain once only.
    void reread() const
    {
        PreferencesStore::setSharedStore(std::make_shared<PreferencesStore>(std::vector<std::string>{_folder.path().string()}));
    }

    TemporaryFolder _folder;
};

}
