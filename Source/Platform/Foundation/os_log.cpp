#include "Platform/Foundation/os_log.h"

#include <cerrno>
#include <cstring>
#include <glib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

os_log_t os_log_create(const NSString& subsystem, const NSString& category)
{
    return std::make_shared<const OSLog>(OSLog{subsystem.UTF8(), category.UTF8()});
}

bool os_log_is_available()
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/run/systemd/journal/socket");
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return false;
    const bool answers = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return answers;
}

std::vector<std::pair<const char*, std::string>> os_log_error_fields(const OSLog& log, std::string_view text)
{
    return {{"MESSAGE", std::string(text)}, {"PRIORITY", "3"}, {"SYSLOG_IDENTIFIER", program_invocation_short_name},
        {"SUBSYSTEM", log.subsystem}, {"CATEGORY", log.category}};
}

void os_log_error(const os_log_t& log, std::string_view text)
{
    const auto named = os_log_error_fields(*log, text);
    std::vector<GLogField> fields;
    for (const auto& [name, value] : named)
        fields.push_back({name, value.data(), static_cast<gssize>(value.size())});
    static_cast<void>(g_log_writer_journald(G_LOG_LEVEL_CRITICAL, fields.data(), fields.size(), nullptr));
}
