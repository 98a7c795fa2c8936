#pragma once

#include "Platform/Foundation/NSString.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The system log, which is the systemd journal. Safe to use from any thread.

// What a log object stands for: a part of a program.
struct OSLog {
    std::string subsystem;   // such as "com.example.program"; UTF-8
    std::string category;
};
using os_log_t = std::shared_ptr<const OSLog>;

[[nodiscard]] os_log_t os_log_create(const NSString& subsystem, const NSString& category);

// Whether a journal takes entries: something listens on its socket, /run/systemd/journal/socket. Asked anew at each call.
[[nodiscard]] bool os_log_is_available();

// Writes one entry at error level, `text` in UTF-8. Nothing happens, and nothing is reported, when there is no journal. GLib's
// writer has the journal's address built in; a test that wants to see the entries puts a socket of its own there.
void os_log_error(const os_log_t& log, std::string_view text);

// The fields of that entry with their values: MESSAGE, PRIORITY (3), SYSLOG_IDENTIFIER (the process's name), SUBSYSTEM and
// CATEGORY.
[[nodiscard]] std::vector<std::pair<const char*, std::string>> os_log_error_fields(const OSLog& log, std::string_view text);
