#include "QVRErrorDescription.h"

#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSUserDefaults.h"
#include "QVRError.h"
#include "QVRProcessInfo.h"
#include "QVRStackTrace.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {
// Writes descriptions in one pass: instead of indenting a finished text again at every level, each new line is followed at once
// by the blanks of all levels around it.
class Printer {
public:
    void printError(const NSError& error);
    void printValue(const Value& value);
    // The finished text; to be asked for once.
    [[nodiscard]] NSString takeText() { return std::move(_text); }

private:
    static constexpr size_t blanksOfLevel = 4;

    void append(std::u16string_view text);
    // As "%@" prints it.
    void appendObject(const NSString& text) { append(text ? text.units() : std::u16string_view(u"(null)")); }
    void printQuoted(const NSString& string);
    void printArray(const NSArray& array);
    void printUserInfo(const NSError& error);
    // `print` prints the value of an entry.
    template <typename Print>
    void printDictionary(const NSDictionary& dictionary, Print print);

    std::u16string _text;
    size_t _level = 0;
};
}

static bool isShortLoggingOn()
{
    return NSUserDefaults::standardUserDefaults().objectForKey(u"ErrorShortLogging").boolValue();
}

void Printer::append(std::u16string_view text)
{
    for (size_t start = 0; start < text.size();) {
        const size_t newLine = text.find(u'\n', start);
        if (newLine == std::u16string_view::npos) {
            _text.append(text.substr(start));
            return;
        }
        _text.append(text.substr(start, newLine + 1 - start));
        _text.append(_level * blanksOfLevel, u' ');
        start = newLine + 1;
    }
}

void Printer::printQuoted(const NSString& string)
{
    append(u"\"");
    appendObject(string);
    append(u"\"");
}

void Printer::printArray(const NSArray& array)
{
    append(u"(\n");
    std::u16string_view separator;
    for (const Value& element : array) {
        append(separator);
        printValue(element);
        separator = u",\n";
    }
    append(u"\n)");
}

template <typename Print>
void Printer::printDictionary(const NSDictionary& dictionary, Print print)
{
    std::vector<const NSDictionary::Entry*> entries;
    entries.reserve(dictionary.count());
    for (const NSDictionary::Entry& entry : dictionary)
        entries.push_back(&entry);
    std::ranges::stable_sort(
        entries, [](const auto* a, const auto* b) { return a->first.compare(b->first) == NSOrderedAscending; });

    append(u"{\n");
    std::u16string_view separator;
    for (const NSDictionary::Entry* entry : entries) {
        append(separator);
        appendObject(entry->first);
        append(u" = ");
        print(*entry);
        separator = u",\n";
    }
    append(u"\n}");
}

void Printer::printValue(const Value& value)
{
    if (const auto object = value.object(); object && !object->answersClassMembership()) {
        appendObject(value.description());
        return;
    }
    if (value.is(Value::Kind::Error)) {
        printError(value.error());
        return;
    }
    ++_level;
    switch (value.kind()) {
    case Value::Kind::String:
        printQuoted(value.string());
        break;
    case Value::Kind::Array:
        printArray(value.array());
        break;
    case Value::Kind::Dictionary:
        printDictionary(value.dictionary(), [this](const NSDictionary::Entry& entry) { printValue(entry.second); });
        break;
    default:
        appendObject(value.description().stringByReplacingOccurrencesOfString(u"\\n", u"\n"));
    }
    --_level;
}

// Prints the user info and the derived texts that it does not hold itself.
void Printer::printUserInfo(const NSError& error)
{
    const NSDictionary userInfo = error.userInfo();
    NSMutableDictionary shown = userInfo;
    const auto addDerived = [&](const NSString& derived, const NSString& key) {
        if (derived && !userInfo.objectForKey(key))
            shown.setObject(derived, key);
    };
    addDerived(error.localizedDescription(), NSLocalizedDescriptionKey);
    addDerived(error.localizedFailureReason(), NSLocalizedFailureReasonErrorKey);
    addDerived(error.localizedRecoverySuggestion(), NSLocalizedRecoverySuggestionErrorKey);

    ++_level;
    printDictionary(shown, [this](const NSDictionary::Entry& entry) {
        if (entry.first == NSUnderlyingErrorKey && entry.second.is(Value::Kind::Error)) {
            // The underlying error stands there as a string that holds its description.
            ++_level;
            append(u"\"");
            printError(entry.second.error());
            append(u"\"");
            --_level;
        } else {
            printValue(entry.second);
        }
    });
    --_level;
}

void Printer::printError(const NSError& error)
{
    if (isShortLoggingOn())
        NSLog(u"Error: %@", error);
    append(u"<NSError Domain=");
    appendObject(error.domain());
    appendObject(NSString::stringWithFormat(u" Code=%ld UserInfo=", error.code()));
    printUserInfo(error);
    append(u">");
}

NSString qvrFullDescription(const NSError& error)
{
    if (!error)
        return {};
    Printer printer;
    printer.printError(error);
    return printer.takeText();
}

NSString prettyPrint(const Value& value)
{
    if (!value)
        return {};
    Printer printer;
    printer.printValue(value);
    return printer.takeText();
}

template <typename ProcessInformation>
concept InstancesAnswerVariantQueries = requires(const ProcessInformation& information)
{
    information.qvrIsMacAppStoreVersion();
};

// Deliberate: the guard asks whether instances answer, while the queries belong to the type as a whole. It fails therefore, and
// neither flag is ever added; readers of the records know them to be absent.
template <typename ProcessInformation>
static void addBuildVariantFlags(NSMutableDictionary& info)
{
    if constexpr (InstancesAnswerVariantQueries<ProcessInformation>) {
        if (qvrIsMacAppStoreVersion())
            info.setObject(true, QVRIsMacAppStoreVersion);
        if (qvrIsInAppSandbox())
            info.setObject(true, QVRIsInAppSandbox);
    }
}

NSError qvrErrorFromException(const NSException& exception)
{
    const QVRStackTraceCapability capability = QVRStackTrace::capability();
    const auto failureReason = [&](const NSString& stackTrace) {
        return NSString::stringWithFormat(u"%@ - %@\nStack Trace: %@", exception.name(), exception.reason(), stackTrace);
    };

    NSMutableDictionary info = exception.userInfo();
    info.setObject(exception.name() ? Value(exception.name()) : Value(u"<nil>"), NSLocalizedDescriptionKey);
    NSString stackTrace = u"<unknown>";
    if (capability.qvrStackTrace) {
        stackTrace = capability.qvrStackTrace(exception);
        if (!stackTrace && capability.qvrCurrentStackTrace)
            stackTrace = capability.qvrCurrentStackTrace();
    }
    info.setObject(failureReason(stackTrace), NSLocalizedFailureReasonErrorKey);
    if (capability.qvrShortStackTrace)
        info.setObject(failureReason(capability.qvrShortStackTrace(exception)), QVRShortFailureReason);
    info.setObject(exception.reason() ? Value(exception.reason()) : Value(u"<nil>"), NSLocalizedRecoverySuggestionErrorKey);
    addBuildVariantFlags<NSProcessInfo>(info);
    return QVRError1(QVRExceptionErrorCode, info);
}

// What an archiver can write in place of `value`.
static Value archivable(const Value& value)
{
    if (value.is(Value::Kind::Error))
        return qvrArchivableError(value.error());
    bool isKept = value.conformsToCoding();
    // Objects of these classes claim to be archivable, but only within the process that made them.
    for (const NSString& className : {NSString(u"SBObject"), NSString(u"NSAppleEventDescriptor")}) {
        if (value.is(Value::Kind::Object) && value.classObject().name() == className)
            isKept = false;
    }
    return isKept ? value : Value(value.description());
}

NSError qvrArchivableError(const NSError& error)
{
    if (!error)
        return {};
    NSMutableDictionary info = NSDictionary::dictionary();
    for (const auto& [key, value] : error.userInfo()) {
        const Value kept = archivable(value);
        info.setObject(kept ? kept : Value(u"<nil>"), key);
    }
    return NSError(error.domain(), error.code(), info);
}
