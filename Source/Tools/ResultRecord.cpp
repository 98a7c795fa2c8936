#include "Tools/ResultRecord.h"

#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSArchiver.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/Value.h"
#include "QVRErrorDescription.h"
#include "QVRLogger.h"
#include "Tools/SourceFile.h"

#include <atomic>
#include <unistd.h>

namespace {

const NSString LogWebTool = u"LogWebTool";

enum class AnswerState { Unlimited, Wanted, Given };
std::atomic<AnswerState> answerState = AnswerState::Unlimited;

// Whether the caller is to give the answer.
bool takeAnswer()
{
    AnswerState expected = AnswerState::Wanted;
    return answerState.compare_exchange_strong(expected, AnswerState::Given) || expected == AnswerState::Unlimited;
}

void writeToStandardOutput(const NSData& data)
{
    (void)writeAll(STDOUT_FILENO, data.bytes());
    close(STDOUT_FILENO);
}

}

SingleAnswer::SingleAnswer()
{
    answerState = AnswerState::Wanted;
}

SingleAnswer::~SingleAnswer()
{
    answerState = AnswerState::Unlimited;
}

void finishWithErrorAndTitleAndURL(const NSError& error, const NSString& title, const NSString& url, const NSString& path)
{
    // The answer of another thread ends the run as well.
    (void)giveAnswer(error, title, url, path);
    throw RunEnded();
}

bool giveAnswer(const NSError& error, const NSString& title, const NSString& url, const NSString& path)
{
    if (!takeAnswer())
        return false;
    if (QVRLogger::isSharedLoggerEnabledForArea(LogWebTool)) {
        QVRLogger::sharedLogger()->logFile(
            sourceFile, __LINE__, __func__, LogWebTool, u"Finish with error: %@", qvrFullDescription(error));
    }
    NSDictionary record{{u"succeeded", error.isAbsent()}};
    if (error) {
        record.setObject(archiveError(error), u"errorData");
        record.setObject(error.localizedDescription(), u"errorString");
    }
    if (title)
        record.setObject(title, u"title");
    if (url)
        record.setObject(url, u"url");
    if (path)
        record.setObject(path, u"path");
    finishWithData(dataFromPropertyList(record));
    return true;
}

void finishWithBadArguments(const NSArray& arguments)
{
    const NSDictionary userInfo{{NSLocalizedDescriptionKey, u"wrong number of arguments"}, {u"arguments", arguments}};
    finishWithErrorAndTitleAndURL(NSError(WebToolErrorDomain, WebToolErrorBadArguments, userInfo), {}, {}, {});
}

void finishWithBadURL(const NSString& address)
{
    const NSDictionary userInfo{{NSURLErrorFailingURLStringErrorKey, address}};
    finishWithErrorAndTitleAndURL(NSError(NSURLErrorDomain, NSURLErrorBadURL, userInfo), {}, address, {});
}

NSData archiveError(const NSError& error)
{
    NSDictionary kept;
    for (const NSString& key : {NSURLErrorFailingURLStringErrorKey, NSLocalizedDescriptionKey, NSFilePathErrorKey, NSURLErrorKey,
             NSLocalizedFailureReasonErrorKey, NSLocalizedRecoverySuggestionErrorKey}) {
        if (const Value& value = error.userInfo()[key])
            kept.setObject(value, key);
    }
    return NSArchiver::archivedDataWithRootObject(NSError(error.domain(), error.code(), kept));
}

NSData dataFromPropertyList(const NSDictionary& record)
{
    const NSData data = NSPropertyListSerialization::dataWithPropertyList(record, NSPropertyListXMLFormat_v1_0);
    return data ? data : NSData::dataWithBytes("");
}

void finishWithData(const NSData& data)
{
    const NSString outPath = NSProcessInfo::processInfo().environmentValueForName(u"OutPath");
    if (!outPath) {
        writeToStandardOutput(data);
        return;
    }
    NSError error;
    if (data.writeToFile(outPath, NSDataWritingAtomic, &error))
        return;
    QVRLogger::logFileIfEnabled(
        sourceFile, __LINE__, __func__, NSString(), u"Error writing output to %@: %@", outPath, qvrFullDescription(error));
}
