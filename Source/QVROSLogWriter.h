#pragma once

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDateFormatter.h"
#include "Platform/Foundation/os_log.h"
#include "QVRLogWriter.h"

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

// Writes each line to the system log, at its error level and under a category of its own for each area, and
// repeats it on standard error as "DATE [SUBSYSTEM] LINE" (local time). While the environment says "QVRIsInXcode",
// standard error alone gets it.
//
// A line of more than 255 UTF-8 bytes becomes several entries of about 128 UTF-16 units of message, each with the whole prefix.
class QVROSLogWriter : public QVRLogWriter {
public:
    // Whether this system has a system log.
    [[nodiscard]] static bool isOSLogAvailable();

    QVROSLogWriter();
    [[nodiscard]] Class classObject() const override { return Class("QVROSLogWriter"); }

    // Checks the length: writePrefix(prefix, message, area, true).
    void writePrefix(const NSString& prefix, const NSString& message, const NSString& area) override;
    // Without `checkLength` the line is one entry, however long.
    void writePrefix(const NSString& prefix, const NSString& message, const NSString& area, bool checkLength);

    // "com.brackenlow." and the name of the process.
    [[nodiscard]] NSString subsystem() const;
    // The log object of category "QVRLogger.AREA", or "QVRLogger" for an absent area. Made on first use and
    // kept; shared with the caller.
    [[nodiscard]] os_log_t logForArea(const NSString& area);

    // The UTF-8 form, or when a surrogate is unpaired "UTF-8 error: " and the text with every character that is not ASCII escaped
    // by a backslash. Nothing when that fails too.
    [[nodiscard]] virtual std::optional<std::string> cStringFromString(const NSString& string) const;

    // The message cut at its line ends, empty lines left out, and each line cut by splitLine at 128.
    [[nodiscard]] NSArray splitMessage(const NSString& message) const;
    // Cuts a line between composed character sequences. A piece is closed when it holds more than `limit` UTF-16 units.
    // Deliberate: so every piece but the last is longer than the limit, by one sequence at most.
    [[nodiscard]] NSArray splitLine(const NSString& line, size_t limit) const;

    // Writes one entry to the system log and to standard error.
    virtual void logCString(const char* text, const NSString& area);

private:
    os_log_t _log;
    std::mutex _logsByAreaLock;
    std::unordered_map<NSString, os_log_t> _logsByArea;
    NSDateFormatter _dateFormatter;
};
