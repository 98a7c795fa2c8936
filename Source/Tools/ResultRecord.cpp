#include "Tools/ResultRecord.h"

#include "Platform/Foundation/NSArchiver.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSProcessInfo.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Foundation/Value.h"
#include "QVRErrorDescription.h"
#include "QVRLogger.h"
#include "Tools/SourceFile.h"

#include <cerrno>
#include <unistd.h>

namespace {

const NSString LogWebTool = u"LogWebTool";

void writeToStandardOutput(const NSData& data)
{
    std::string_view rest = data.characters();
    while (!rest.empty()) {
        const ssize_t count = write(STDOUT_FILENO, rest.data(), rest.size());
        if (count > 0)
            rest.remove_prefix(static_cast<size_t>(count));
        else if (count == 0 || errno != EINTR)
            break;
    }
    close(STDOUT_FILENO);
}

}

void finishWithErrorAndTitleAndURL(const NSError& error, const NSString& title, const NSString& url, const NSString& path)
{
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
    throw RunEnded();
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
    const auto logger = QVRLogger::sharedLogger();
    if (logger->isEnabledForArea({}))
        logger->logFile(
            sourceFile, __LINE__, __func__, NSString(), u"Error writing output to %@: %@", outPath, qvrFullDescription(error));
}
