#include "QVROSLogWriter.h"

#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/Value.h"

#include <vector>

// Deliberate: 255 bytes still make one entry.
static constexpr size_t longestEntry = 255;
static constexpr size_t pieceLimit = 128;

bool QVROSLogWriter::isOSLogAvailable()
{
    return os_log_is_available();
}

QVROSLogWriter::QVROSLogWriter() : _log(os_log_create(subsystem(), u"QVRLogger"))
{
    _dateFormatter.setDateFormat(u"yyyy-MM-dd HH:mm:ss.SSS");
}

NSString QVROSLogWriter::subsystem() const
{
    return NSString::stringWithFormat(u"com.brackenlow.%@", NSProcessInfo::processInfo().processName());
}

os_log_t QVROSLogWriter::logForArea(const NSString& area)
{
    if (!area)
        return _log;
    const std::lock_guard lock(_logsByAreaLock);
    os_log_t& log = _logsByArea[area];
    if (!log)
        log = os_log_create(subsystem(), NSString::stringWithFormat(u"QVRLogger.%@", area));
    return log;
}

std::optional<std::string> QVROSLogWriter::cStringFromString(const NSString& string) const
{
    if (auto text = string.strictUTF8())
        return text;
    const NSData escaped = string.dataUsingEncoding(NSNonLossyASCIIStringEncoding, true);
    return NSString::stringWithFormat(u"UTF-8 error: %@", NSString::stringWithData(escaped, NSUTF8StringEncoding)).strictUTF8();
}

void QVROSLogWriter::writePrefix(const NSString& prefix, const NSString& message, const NSString& area)
{
    writePrefix(prefix, message, area, true);
}

void QVROSLogWriter::writePrefix(const NSString& prefix, const NSString& message, const NSString& area, bool checkLength)
{
    const std::optional<std::string> text = cStringFromString(combinePrefix(prefix, message));
    if (!text) {
        logCString("Fallback UTF-8 conversion failed.", area);
    } else if (checkLength && text->size() > longestEntry) {
        for (const Value& piece : splitMessage(message))
            writePrefix(prefix, piece.string(), area, false);
    } else {
        logCString(text->c_str(), area);
    }
}

NSArray QVROSLogWriter::splitMessage(const NSString& message) const
{
    auto pieces = NSMutableArray(std::vector<Value>());
    for (const Value& line : message.componentsSeparatedByString(u"\n")) {
        for (const Value& piece : splitLine(line.string(), pieceLimit))
            pieces.addObject(piece);
    }
    return pieces;
}

NSArray QVROSLogWriter::splitLine(const NSString& line, size_t limit) const
{
    auto pieces = NSMutableArray(std::vector<Value>());
    const std::u16string_view units = line.units();
    size_t start = 0;
    for (size_t position = 0; position < units.size();) {
        if (position - start > limit) {
            pieces.addObject(NSString(units.substr(start, position - start)));
            start = position;
        }
        const NSRange sequence = line.rangeOfComposedCharacterSequenceAtIndex(position);
        position = sequence.location + sequence.length;
    }
    if (start < units.size())
        pieces.addObject(NSString(units.substr(start)));
    return pieces;
}

void QVROSLogWriter::logCString(const char* text, const NSString& area)
{
    const os_log_t log = logForArea(area);
    if (!isInXcode())
        os_log_error(log, text);
    const std::string date = _dateFormatter.stringFromDate(NSDate::date()).strictUTF8().value_or("unknown date");
    const std::string sender = subsystem().strictUTF8().value_or("QVRLogger");
    writeToStandardError(date + " [" + sender + "] " + text + "\n");
}
