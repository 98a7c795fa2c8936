#include "QVRLogger.h"

#include "Platform/Foundation/NSAssertionHandler.h"
#include "Platform/Foundation/NSThread.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "Platform/Foundation/Value.h"
#include "QVRNSLogWriter.h"
#include "QVROSLogWriter.h"

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace {

// The logger of the process, and what a thread must know of it to answer for an area without taking the lock.
class SharedSlot {
public:
    // Never destroyed: objects that end with the process may still log.
    static SharedSlot& instance()
    {
        static auto* slot = new SharedSlot;
        return *slot;
    }

    std::shared_ptr<QVRLogger> logger()
    {
        const std::lock_guard lock(_lock);
        return _logger;
    }

    // `switches` are those of `logger`, or null with it.
    void set(std::shared_ptr<QVRLogger> logger, std::unique_ptr<const QVRAreaSwitches> switches)
    {
        const std::lock_guard lock(_lock);
        _switches.store(switches.get(), std::memory_order_release);
        if (switches)
            _allSwitches.push_back(std::move(switches));
        // The previous logger goes when `logger` does, after the lock: its end may run any code.
        _logger.swap(logger);
    }

    const QVRAreaSwitches* switches() const { return _switches.load(std::memory_order_acquire); }

private:
    std::mutex _lock;
    std::shared_ptr<QVRLogger> _logger;
    std::atomic<const QVRAreaSwitches*> _switches = nullptr;
    // Kept to the end of the process, since another thread may still be reading one. There is one for each logger that was ever
    // set, which is one in most processes.
    std::vector<std::unique_ptr<const QVRAreaSwitches>> _allSwitches;
};

}

std::shared_ptr<QVRLogger> QVRLogger::sharedLogger()
{
    if (auto logger = SharedSlot::instance().logger())
        return logger;
    return initDisposableLogger();
}

void QVRLogger::setSharedLogger(std::shared_ptr<QVRLogger> logger)
{
    auto switches = logger ? std::make_unique<const QVRAreaSwitches>(logger->_areaSwitches) : nullptr;
    SharedSlot::instance().set(std::move(logger), std::move(switches));
}

void QVRLogger::setUpWithPersistentDomainName(const NSString& domainName)
{
    setSharedLogger(initWithPersistentDomainName(domainName));
}

bool QVRLogger::isSharedLoggerEnabledForArea(const NSString& area)
{
    const QVRAreaSwitches* switches = SharedSlot::instance().switches();
    return !switches || switches->isOn(area);
}

std::shared_ptr<QVRLogger> QVRLogger::init()
{
    return initWithDefaultsDictionary(NSUserDefaults::standardUserDefaults().dictionaryRepresentation());
}

std::shared_ptr<QVRLogger> QVRLogger::initDisposableLogger()
{
    return initWithDefaultsDictionary({{QVRLoggerAllAreas, true}});
}

std::shared_ptr<QVRLogger> QVRLogger::initWithPersistentDomainName(const NSString& domainName)
{
    return initWithDefaultsDictionary(NSUserDefaults::standardUserDefaults().persistentDomainForName(domainName));
}

std::shared_ptr<QVRLogger> QVRLogger::initWithDefaultsDictionary(const NSDictionary& dictionary)
{
    std::unique_ptr<QVRLogWriter> writer;
    if (QVROSLogWriter::isOSLogAvailable())
        writer = std::make_unique<QVROSLogWriter>();
    else
        writer = std::make_unique<QVRNSLogWriter>();
    return std::make_shared<QVRLogger>(dictionary, std::move(writer));
}

QVRLogger::QVRLogger(const NSDictionary& dictionary, std::unique_ptr<QVRLogWriter> writer)
    : _defaultsDictionary({{QVRLoggerIncludeFile, false}, {QVRLoggerIncludeLine, false}, {QVRLoggerIncludeThread, false},
        {QVRLoggerIncludeFunction, false}, {QVRLoggerIncludeArea, true}}),
      _writer(std::move(writer))
{
    _defaultsDictionary.addEntriesFromDictionary(dictionary);
    _areaSwitches = QVRAreaSwitches(_defaultsDictionary);
}

bool QVRLogger::isEnabledForArea(const NSString& area) const
{
    return _areaSwitches.isOn(area);
}

bool QVRLogger::isOptionEnabled(const NSString& key) const
{
    return _defaultsDictionary.objectForKey(key).boolValue();
}

// "<main: "NAME">", or "<ADDRESS: "NAME">" on any thread but the main one.
static NSString threadLabel()
{
    const NSThread& thread = NSThread::currentThread();
    if (NSThread::isMainThread())
        return NSString::stringWithFormat(u"<main: \"%@\">", thread.name());
    return NSString::stringWithFormat(u"<%p: \"%@\">", static_cast<const void*>(&thread), thread.name());
}

NSString QVRLogger::prefixFor(const char* file, unsigned long line, const char* function, const NSString& area) const
{
    auto components = NSMutableArray(std::vector<Value>());
    if (const Value& prefix = _defaultsDictionary.objectForKey(QVRLoggerPrefix))
        components.addObject(prefix);
    if (area && isOptionEnabled(QVRLoggerIncludeArea))
        components.addObject(NSString::stringWithFormat(u"[%@]", area));
    if (isOptionEnabled(QVRLoggerIncludeFile)) {
        const NSString name = NSString::stringWithRepairedUTF8(file).lastPathComponent();
        components.addObject(isOptionEnabled(QVRLoggerIncludeLine) ? NSString::stringWithFormat(u"%@:%lu", name, line) : name);
    }
    if (isOptionEnabled(QVRLoggerIncludeThread))
        components.addObject(threadLabel());
    if (isOptionEnabled(QVRLoggerIncludeFunction))
        components.addObject(NSString::stringWithRepairedUTF8(function));
    return components.componentsJoinedByString(u" ");
}

void QVRLogger::logFile(const char* file, unsigned long line, const char* function, const NSString& area, const NSString& format,
    FormatArguments arguments)
{
    logFileMessage(file, line, function, area, NSStringWithFormatArguments(format, arguments));
}

void QVRLogger::logFileMessage(
    const char* file, unsigned long line, const char* function, const NSString& area, const NSString& message)
{
    logPrefix(prefixFor(file, line, function, area), message, area);
}

void QVRLogger::logPrefix(const NSString& prefix, const NSString& message, const NSString& area)
{
    // The place is a fixed one on purpose: it names the check in the logs of every build alike.
    if (!prefix) {
        NSAssertionHandler::handleFailureInMethod(u"-[QVRLogger logPrefix:message:area:]", u"Source/QVRLogger", 327,
            u"Invalid parameter not satisfying: %@", u"prefix");
    }
    _writer->writePrefix(prefix, message, area);
}
