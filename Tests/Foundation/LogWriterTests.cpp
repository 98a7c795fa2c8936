#include "QVRLogWriter.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/Value.h"
#include "QVRLogger.h"
#include "QVRNSLogWriter.h"
#include "QVROSLogWriter.h"
#include "Support/JournalSocket.h"
#include "Support/Printing.h"
#include "Support/StandardErrorCapture.h"

#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const NSString LogTest = u"LogTest";

// Keeps the entries instead of writing them.
class EntryWriter : public QVROSLogWriter {
public:
    void logCString(const char* text, const NSString& area) override
    {
        entries.push_back(text);
        areas.push_back(area);
    }
    std::vector<std::string> entries;
    std::vector<NSString> areas;
};

// One that can make no text UTF-8.
class ConfusedWriter : public EntryWriter {
public:
    std::optional<std::string> cStringFromString(const NSString&) const override { return std::nullopt; }
};

// The environment variable, set or unset for a test.
class InXcode {
public:
    explicit InXcode(const char* value)
    {
        if (value)
            setenv("QVRIsInXcode", value, 1);
        else
            unsetenv("QVRIsInXcode");
    }
    ~InXcode() { unsetenv("QVRIsInXcode"); }
};

NSString repeated(const NSString& text, size_t count)
{
    std::u16string result;
    for (size_t index = 0; index < count; ++index)
        result += text.units();
    return result;
}

std::vector<std::string> entriesFor(const NSString& prefix, const NSString& message)
{
    EntryWriter writer;
    writer.writePrefix(prefix, message, LogTest);
    for (const NSString& area : writer.areas)
        EXPECT_EQ(area, LogTest);
    return writer.entries;
}

std::vector<size_t> lengthsOf(const NSArray& pieces)
{
    std::vector<size_t> lengths;
    for (const Value& piece : pieces)
        lengths.push_back(piece.string().length());
    return lengths;
}

std::string processName()
{
    return NSProcessInfo::processInfo().processName().UTF8();
}

// Runs `body` with standard error going into a pipe, which takes long lines in parts; gives the lines.
std::vector<std::string> linesThroughPipe(const std::function<void()>& body)
{
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
    std::string text;
    std::thread reader([&] {
        char buffer[4096];
        for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(count));
    });
    body();
    dup2(saved, STDERR_FILENO);
    close(saved);
    reader.join();
    close(ends[0]);

    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// 16 threads write 1,000 lines each; every line must come out whole, and each thread's lines in their order. One thread's lines
// are longer than a pipe takes at once.
void expectWholeLines(QVRLogWriter& writer, const std::string& head)
{
    constexpr size_t threadCount = 16;
    constexpr size_t lineCount = 1000;
    const std::string longText(6000, 'x');
    const auto prefixOf = [&](size_t thread) { return "T" + std::to_string(thread) + (thread == 0 ? longText : ""); };
    const std::vector<std::string> lines = linesThroughPipe([&] {
        std::vector<std::thread> threads;
        for (size_t thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&, thread] {
                const NSString prefix = NSString::stringWithUTF8String(prefixOf(thread));
                for (size_t line = 0; line < lineCount; ++line)
                    writer.writePrefix(prefix, NSString::stringWithFormat(u"line %zu.", line), LogTest);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    });
    ASSERT_EQ(lines.size(), threadCount * lineCount);

    std::vector<size_t> next(threadCount, 0);
    for (const std::string& line : lines) {
        const size_t start = line.find(head + "T");
        ASSERT_NE(start, std::string::npos) << line;
        const auto thread = static_cast<size_t>(std::stoul(line.substr(start + head.size() + 1)));
        ASSERT_LT(thread, threadCount);
        ASSERT_EQ(line.substr(start + head.size()), prefixOf(thread) + " line " + std::to_string(next[thread]) + ".");
        // What stands before is the date and sender alone.
        ASSERT_LT(start, 120u);
        ++next[thread];
    }
}

}

TEST(LogWriter, CombinesPrefixAndMessageWithOneBlank)
{
    const QVRLogWriter writer;
    EXPECT_EQ(writer.combinePrefix(u"[Area]", u"message"), NSString(u"[Area] message"));
    EXPECT_EQ(writer.combinePrefix(u"", u"message"), NSString(u" message"));
    EXPECT_EQ(writer.combinePrefix(u"100%", u"%@"), NSString(u"100% %@"));
}

TEST(LogWriter, CannotWriteItself)
{
    QVRLogWriter writer;
    try {
        writer.writePrefix(u"p", u"m", LogTest);
        FAIL() << "nothing was thrown";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
        EXPECT_TRUE(
            exception.reason().hasPrefix(u"-[QVRLogWriter writePrefix:message:area:]: unrecognized selector sent to instance 0x"))
            << exception.reason().UTF8();
    }
}

TEST(NSLogWriter, HandsTheWholeLineToNSLog)
{
    QVRNSLogWriter writer;
    support::StandardErrorCapture capture;
    writer.writePrefix(u"[Area]", repeated(u"100% ", 100), LogTest);
    const std::string line = capture.take();
    EXPECT_TRUE(line.ends_with("] [Area] " + repeated(u"100% ", 100).UTF8() + '\n')) << line;
    EXPECT_NE(line.find(' ' + processName() + '['), std::string::npos) << line;
}

TEST(NSLogWriter, NeverMixesTheLinesOfThreads)
{
    QVRNSLogWriter writer;
    expectWholeLines(writer, "] ");
}

TEST(OSLogWriter, NeverMixesTheLinesOfThreads)
{
    QVROSLogWriter writer;
    expectWholeLines(writer, " [com.brackenlow." + processName() + "] ");
}

TEST(OSLogWriter, EchoesEachLineWithDateAndSubsystem)
{
    QVROSLogWriter writer;
    support::StandardErrorCapture capture;
    writer.writePrefix(u"[LogTest]", u"wörd 100%", LogTest);
    writer.writePrefix(u"", u"message", NSString());
    const std::string lines = capture.take();
    const std::string head = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[com\.brackenlow\.)" + processName() + R"(\] )";
    EXPECT_TRUE(std::regex_match(lines, std::regex(head + "\\[LogTest\\] wörd 100%\n" + head + " message\n"))) << lines;
}

TEST(OSLogWriter, NamesItsSubsystemAfterTheProcess)
{
    EXPECT_EQ(QVROSLogWriter().subsystem(), NSString::stringWithUTF8String("com.brackenlow." + processName()));
}

TEST(OSLogWriter, HasALogObjectForEachArea)
{
    QVROSLogWriter writer;
    const os_log_t none = writer.logForArea(NSString());
    EXPECT_EQ(none->category, "QVRLogger");
    EXPECT_EQ(none->subsystem, "com.brackenlow." + processName());
    const os_log_t area = writer.logForArea(u"LogWebTool");
    EXPECT_EQ(area->category, "QVRLogger.LogWebTool");
    EXPECT_EQ(area->subsystem, none->subsystem);
    EXPECT_EQ(writer.logForArea(u"LogWebTool"), area);
    EXPECT_EQ(writer.logForArea(NSString()), none);
    EXPECT_NE(writer.logForArea(u"LogOther"), area);
}

TEST(OSLogWriter, SplitsALongAsciiLineIntoPiecesOf129)
{
    const std::vector<std::string> entries = entriesFor(u"abc", repeated(u"x", 300));
    EXPECT_EQ(entries,
        (std::vector<std::string>{
            "abc " + std::string(129, 'x'), "abc " + std::string(129, 'x'), "abc " + std::string(42, 'x')}));
}

TEST(OSLogWriter, DoesNotSplitALineOfExactly255Bytes)
{
    EXPECT_EQ(entriesFor(u"abc", repeated(u"x", 251)), std::vector<std::string>{"abc " + std::string(251, 'x')});
    EXPECT_EQ(entriesFor(u"abc", repeated(u"x", 252)).size(), 2u);
}

TEST(OSLogWriter, CountsBytesNotUnits)
{
    EXPECT_EQ(entriesFor(u"abc", repeated(u"ä", 125)).size(), 1u);
    EXPECT_EQ(entriesFor(u"abc", repeated(u"ä", 126)).size(), 1u);   // 256 bytes: split, into one piece of 126 units
    EXPECT_EQ(entriesFor(u"abc", repeated(u"ä", 130)).size(), 2u);
}

TEST(OSLogWriter, KeepsLineEndsInAShortMessage)
{
    EXPECT_EQ(entriesFor(u"p", u"a\n\nb\n"), std::vector<std::string>{"p a\n\nb\n"});
}

TEST(OSLogWriter, DropsBlankLinesOfALongMessage)
{
    const NSString message = NSString::stringWithFormat(u"\n\none\n\n%@\ntwo\n\n", repeated(u"x", 260));
    EXPECT_EQ(entriesFor(u"p", message),
        (std::vector<std::string>{"p one", "p " + std::string(129, 'x'), "p " + std::string(129, 'x'), "p xx", "p two"}));
}

TEST(OSLogWriter, ChecksNoPieceAgainHoweverLongThePrefix)
{
    const NSString prefix = repeated(u"p", 400);
    EXPECT_EQ(
        entriesFor(prefix, u"a\nb"), (std::vector<std::string>{std::string(400, 'p') + " a", std::string(400, 'p') + " b"}));
}

TEST(OSLogWriter, LosesALongPrefixWithoutAMessage)
{
    EXPECT_TRUE(entriesFor(repeated(u"p", 400), u"\n").empty());
}

TEST(OSLogWriter, WithoutALengthCheckWritesOneEntry)
{
    EntryWriter writer;
    writer.writePrefix(u"p", repeated(u"x", 1000), NSString(), false);
    EXPECT_EQ(writer.entries, std::vector<std::string>{"p " + std::string(1000, 'x')});
    ASSERT_EQ(writer.areas.size(), 1u);
    EXPECT_TRUE(writer.areas[0].isAbsent());
}

TEST(OSLogWriter, EscapesTextWithAnUnpairedSurrogate)
{
    const NSString message = std::u16string{u'b', char16_t(0xD83D), u'ä', u'e'};
    EXPECT_EQ(entriesFor(u"p", message), std::vector<std::string>{"UTF-8 error: p b\\ud83d\\344e"});
    EXPECT_EQ(entriesFor(std::u16string(1, char16_t(0xDC00)), u"m"), std::vector<std::string>{"UTF-8 error: \\udc00 m"});
}

TEST(OSLogWriter, SplitsALongMessageWithAnUnpairedSurrogateBeforeItIsEscaped)
{
    std::u16string message(140, u'x');
    message += char16_t(0xD83D);
    message += std::u16string(140, u'y');
    const std::vector<std::string> entries = entriesFor(u"p", message);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], "p " + std::string(129, 'x'));
    EXPECT_EQ(entries[1], "UTF-8 error: p " + std::string(11, 'x') + "\\ud83d" + std::string(117, 'y'));
    EXPECT_EQ(entries[2], "p " + std::string(23, 'y'));
}

TEST(OSLogWriter, SplitsAShortMessageWhoseEscapedTextIsLong)
{
    // 60 units, of which each but one takes six characters when escaped.
    std::u16string message(59, u'\u4E00');
    message += char16_t(0xD83D);
    const std::vector<std::string> entries = entriesFor(u"p", message);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].size(), std::string("UTF-8 error: p ").size() + 60 * 6);
}

TEST(OSLogWriter, WritesAFixedTextWhenNothingCanBeConverted)
{
    ConfusedWriter writer;
    writer.writePrefix(u"p", repeated(u"x", 1000), LogTest);
    EXPECT_EQ(writer.entries, std::vector<std::string>{"Fallback UTF-8 conversion failed."});
    EXPECT_EQ(writer.areas, std::vector<NSString>{LogTest});
}

TEST(OSLogWriter, EndsAnEntryAtItsFirstNul)
{
    const NSString message = std::u16string(u"a\0b", 3);
    EXPECT_EQ(entriesFor(u"p", message), std::vector<std::string>{"p a"});
}

TEST(SplitLine, ClosesAPieceWhenItHoldsMoreThanTheLimit)
{
    const QVROSLogWriter writer;
    const struct {
        size_t length;
        std::vector<size_t> pieces;
    } rows[] = {{0, {}}, {1, {1}}, {128, {128}}, {129, {129}}, {130, {129, 1}}, {258, {129, 129}}, {300, {129, 129, 42}}};
    for (const auto& row : rows)
        EXPECT_EQ(lengthsOf(writer.splitLine(repeated(u"x", row.length), 128)), row.pieces) << row.length;
    EXPECT_EQ(lengthsOf(writer.splitLine(u"abc", 0)), (std::vector<size_t>{1, 1, 1}));
}

TEST(SplitLine, NeverCutsAComposedSequence)
{
    const QVROSLogWriter writer;
    // A surrogate pair may be the sequence that goes beyond the limit.
    EXPECT_EQ(lengthsOf(writer.splitLine(repeated(u"\U0001F600", 100), 128)), (std::vector<size_t>{130, 70}));
    // So may a letter with two combining marks.
    const NSArray marked = writer.splitLine(repeated(u"e\u0301\u0323", 100), 128);
    EXPECT_EQ(lengthsOf(marked), (std::vector<size_t>{129, 129, 42}));
    // Units are counted, and the sequence that starts at the limit still goes in whole.
    const NSArray pieces = writer.splitLine(repeated(u"x", 127).stringByAppendingString(u"\U0001F600yy"), 128);
    EXPECT_EQ(lengthsOf(pieces), (std::vector<size_t>{129, 2}));
}

TEST(SplitLine, KeepsEveryUnit)
{
    const QVROSLogWriter writer;
    const NSString line = repeated(u"ab\U0001F468\u200D\U0001F469e\u0301", 50);
    EXPECT_EQ(writer.splitLine(line, 16).componentsJoinedByString(u""), line);
}

TEST(SplitMessage, SplitsAtLineEndsAndLeavesEmptyLinesOut)
{
    const QVROSLogWriter writer;
    EXPECT_EQ(writer.splitMessage(u"\na\n\n\nb\n"), (NSArray{u"a", u"b"}));
    EXPECT_EQ(writer.splitMessage(u"").count(), 0u);
    EXPECT_EQ(writer.splitMessage(u"\n\n").count(), 0u);
    EXPECT_EQ(
        lengthsOf(writer.splitMessage(repeated(u"x", 130).stringByAppendingString(u"\nb"))), (std::vector<size_t>{129, 1, 1}));
}

TEST(OSLogWriter, WritesEntriesToTheJournal)
{
    const InXcode unset(nullptr);
    support::StandardErrorCapture capture;
    const auto entries = support::entriesInOwnJournal([] {
        if (!QVROSLogWriter::isOSLogAvailable())
            std::abort();
        QVROSLogWriter writer;
        writer.writePrefix(u"[LogWebTool]", u"100% wörd", u"LogWebTool");
        writer.writePrefix(u"p", u"two\nlines", NSString());
        writer.writePrefix(u"abc", repeated(u"x", 300), NSString());
    });
    if (!entries)
        GTEST_SKIP() << "the system allows no mount namespace";
    ASSERT_EQ(entries->size(), 5u);
    const auto expectEntry = [&](size_t index, const std::string& message, const std::string& category) {
        const support::JournalEntry& entry = entries->at(index);
        EXPECT_EQ(entry.at("MESSAGE"), message);
        EXPECT_EQ(entry.at("PRIORITY"), "3");
        EXPECT_EQ(entry.at("SYSLOG_IDENTIFIER"), processName());
        EXPECT_EQ(entry.at("SUBSYSTEM"), "com.brackenlow." + processName());
        EXPECT_EQ(entry.at("CATEGORY"), category);
    };
    expectEntry(0, "[LogWebTool] 100% wörd", "QVRLogger.LogWebTool");
    expectEntry(1, "p two\nlines", "QVRLogger");
    expectEntry(2, "abc " + std::string(129, 'x'), "QVRLogger");
    expectEntry(4, "abc " + std::string(42, 'x'), "QVRLogger");
}

TEST(OSLogWriter, IsWhatALoggerTakesWhereThereIsAJournal)
{
    const InXcode unset(nullptr);
    support::StandardErrorCapture capture;
    const auto entries = support::entriesInOwnJournal(
        [] { QVRLogger::initDisposableLogger()->logFile("f", 1, "g", u"LogWebTool", u"%@", u"message"); });
    if (!entries)
        GTEST_SKIP() << "the system allows no mount namespace";
    ASSERT_EQ(entries->size(), 1u);
    EXPECT_EQ(entries->at(0).at("MESSAGE"), "[LogWebTool] message");
}

TEST(OSLogWriter, LeavesTheJournalAloneInADevelopmentEnvironment)
{
    for (const char* value : {"1", "YES"}) {
        const InXcode inXcode(value);
        support::StandardErrorCapture capture;
        const auto entries = support::entriesInOwnJournal([] { QVROSLogWriter().writePrefix(u"p", u"message", LogTest); });
        if (!entries)
            GTEST_SKIP() << "the system allows no mount namespace";
        EXPECT_TRUE(entries->empty());
        EXPECT_TRUE(capture.take().ends_with("] p message\n"));
    }
}

TEST(OSLogWriter, WritesToTheJournalWhenTheDevelopmentEnvironmentSaysNo)
{
    const InXcode inXcode("NO");
    support::StandardErrorCapture capture;
    const auto entries = support::entriesInOwnJournal([] { QVROSLogWriter().writePrefix(u"p", u"message", LogTest); });
    if (!entries)
        GTEST_SKIP() << "the system allows no mount namespace";
    EXPECT_EQ(entries->size(), 1u);
}
