#include "Platform/Engine/EngineLocation.h"

#include "Platform/Engine/PageEngineErrors.h"

#include <glib.h>
#include <memory>

namespace {

constexpr const char* commands[] = {
    "chromium-headless-shell", "chromium", "google-chrome-stable", "google-chrome", "chromium-browser"};

std::string onSearchPath(const char* command)
{
    const std::unique_ptr<char, decltype(&g_free)> path(g_find_program_in_path(command), g_free);
    return path && !g_file_test(path.get(), G_FILE_TEST_IS_DIR) ? std::string(path.get()) : std::string();
}

}

std::string engineExecutable(const NSString& configured, NSError* error)
{
    const NSString suggestion =
        u"Install the package chromium-headless-shell, or let the setting \"WebToolEnginePath\" name the engine's command.";
    if (configured.length() > 0) {
        std::string path = onSearchPath(configured.UTF8().c_str());
        if (path.empty() && error) {
            *error = engineError(EngineErrorNotFound,
                NSString::stringWithFormat(u"The page engine “%@” was not found or may not be executed.", configured),
                suggestion);
        }
        return path;
    }
    for (const char* command : commands) {
        if (std::string path = onSearchPath(command); !path.empty())
            return path;
    }
    if (error)
        *error = engineError(EngineErrorNotFound, u"No page engine was found on this system.", suggestion);
    return {};
}
