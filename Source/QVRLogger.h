#pragma once

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSObject.h"
#include "Platform/Foundation/NSString.h"
#include "QVRAreaSwitches.h"
#include "QVRLogWriter.h"
#include "SourceLocation.h"

#include <memory>
#include <string_view>

// Options of a logger, all booleans but the prefix. Any other key is the name of a log area and holds its switch.
inline const NSString QVRLoggerIncludeFile =
    u"QVRLoggerIncludeFile";   // the file's last path component in the prefix; default off
inline const NSString QVRLoggerIncludeLine = u"QVRLoggerIncludeLine";   // ":LINE" behind the file, never without it; default off
inline const NSString QVRLoggerIncludeThread = u"QVRLoggerIncludeThread";       // default off
inline const NSString QVRLoggerIncludeFunction = u"QVRLoggerIncludeFunction";   // default off
inline const NSString QVRLoggerIncludeArea = u"QVRLoggerIncludeArea";           // "[AREA]"; default on
inline const NSString QVRLoggerPrefix = u"QVRLoggerPrefix";       // any value: the first part of the prefix; default absent
inline const NSString QVRLoggerAllAreas = u"QVRLoggerAllAreas";   // every area is switched on; default off

// Diagnostic output by areas, such as "LogWebTool". A logger does not ask whether an area is switched on before it writes; its
// callers do, so that a message nobody wants is never put together:
//
//     if (QVRLogger::isSharedLoggerEnabledForArea(LogWebTool))
//         QVRLogger::sharedLogger()->logFile(__FILE__, __LINE__, __func__, LogWebTool, u"Loaded %@", title);
//
// or, where the arguments are at hand anyway, QVRLogger::logIfEnabled(LogWebTool, u"Loaded %@", title).
//
// Any thread may log. The options are fixed when a logger is made: later changes of the settings do not reach it.
class QVRLogger : public NSObject {
public:
    // The logger of the process or, before one is set, a new one at each call for which every area is switched on, so that
    // nothing is lost before the set-up. Never null.
    [[nodiscard]] static std::shared_ptr<QVRLogger> sharedLogger();
    // Makes `logger` the logger of the process; null takes it away.
    static void setSharedLogger(std::shared_ptr<QVRLogger> logger);
    // Makes a logger with the settings of a preferences domain and sets it as the logger of the process.
    static void setUpWithPersistentDomainName(const NSString& domainName);

    // Areas and options from the standard user defaults, all domains merged.
    [[nodiscard]] static std::shared_ptr<QVRLogger> init();
    // Every area is switched on.
    [[nodiscard]] static std::shared_ptr<QVRLogger> initDisposableLogger();
    // Areas and options from one preferences domain; the defaults alone when there is no such domain.
    [[nodiscard]] static std::shared_ptr<QVRLogger> initWithPersistentDomainName(const NSString& domainName);
    // Areas and options from `dictionary`, which may be absent; what it does not hold has its default. The lines go to the system
    // log where there is one, else to NSLog.
    [[nodiscard]] static std::shared_ptr<QVRLogger> initWithDefaultsDictionary(const NSDictionary& dictionary);

    // A logger that writes by `writer`, which must not be null.
    QVRLogger(const NSDictionary& dictionary, std::unique_ptr<QVRLogWriter> writer);
    [[nodiscard]] Class classObject() const override { return Class("QVRLogger"); }

    // Whether messages of the area are wanted: true for an absent area and while QVRLoggerAllAreas is on, else the area's switch.
    [[nodiscard]] bool isEnabledForArea(const NSString& area) const;
    // A missing option is off; so is one whose value is neither number nor text.
    [[nodiscard]] bool isOptionEnabled(const NSString& key) const;

    // Puts the prefix together as the options say, expands the format and writes both. `file` and `function` are UTF-8. The parts
    // of the prefix stand in this order, a blank between them: the QVRLoggerPrefix value, area, file and line, thread, function.
    template <typename... Arguments>
    void logFile(const char* file, unsigned long line, const char* function, const NSString& area, const NSString& format,
        const Arguments&... arguments)
    {
        logFileMessage(file, line, function, area, NSString::stringWithFormat(format, arguments...));
    }
    void logFile(const char* file, unsigned long line, const char* function, const NSString& area, const NSString& format,
        FormatArguments arguments);
    // The same with a finished message, which is never taken for a format.
    void logFileMessage(
        const char* file, unsigned long line, const char* function, const NSString& area, const NSString& message);
    // Hands everything to the writer. An absent prefix is a failure of the platform's assertion; an absent area is none.
    void logPrefix(const NSString& prefix, const NSString& message, const NSString& area);

    // sharedLogger()->isEnabledForArea(area) for places that run often: one table look-up, nothing allocated, no lock.
    [[nodiscard]] static bool isSharedLoggerEnabledForArea(const NSString& area);

    // sharedLogger()->logFile if it has the area switched on. The format is not even made a string otherwise, yet the arguments
    // are: ask isSharedLoggerEnabledForArea first where they cost something.
    template <typename... Arguments>
    static void logFileIfEnabled(const char* file, unsigned long line, const char* function, const NSString& area,
        std::u16string_view format, const Arguments&... arguments)
    {
        if (isSharedLoggerEnabledForArea(area)) [[unlikely]]
            sharedLogger()->logFile(file, line, function, area, NSString(format), arguments...);
    }

    // An area and the place where it is named.
    struct Site {
        const NSString& area;   // borrowed for the call
        SourceLocation location;
        Site(const NSString& areaName, const SourceLocation& place = SourceLocation::current()) : area(areaName), location(place)
        {
        }
    };
    // The same from the caller's file, line and function.
    template <typename... Arguments>
    static void logIfEnabled(const Site& site, std::u16string_view format, const Arguments&... arguments)
    {
        logFileIfEnabled(site.location.file, site.location.line, site.location.function, site.area, format, arguments...);
    }

private:
    [[nodiscard]] NSString prefixFor(const char* file, unsigned long line, const char* function, const NSString& area) const;

    NSMutableDictionary _defaultsDictionary;
    std::unique_ptr<QVRLogWriter> _writer;
    QVRAreaSwitches _areaSwitches;   // made of the dictionary
};
