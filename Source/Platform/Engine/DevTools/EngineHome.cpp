#include "Platform/Engine/DevTools/EngineHome.h"

#include <filesystem>
#include <sys/stat.h>

namespace {

// Fonts with their settings and cache, and the store of certificates, at its older and its newer place.
constexpr const char* linkedFolders[] = {
    ".fonts", ".local/share/fonts", ".config/fontconfig", ".cache/fontconfig", ".pki", ".local/share/pki"};

}

std::string makeEngineHome(const std::string& folder, const std::string& userHome)
{
    std::string home = folder + "/home";
    if (mkdir(home.c_str(), 0700) != 0)
        return {};
    if (userHome.empty())
        return home;
    for (const char* name : linkedFolders) {
        const std::filesystem::path own = std::filesystem::path(userHome) / name;
        const std::filesystem::path link = std::filesystem::path(home) / name;
        // One that cannot be linked is only missed, as it would be by a user who has none.
        std::error_code ignored;
        if (!std::filesystem::is_directory(own, ignored))
            continue;
        std::filesystem::create_directories(link.parent_path(), ignored);
        std::filesystem::create_directory_symlink(own, link, ignored);
    }
    return home;
}
