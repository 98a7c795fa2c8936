#include "Tools/Replay/webreplay.h"

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/NSAutoreleasePool.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSLog.h"
#include "QVRWebArchiveURLProtocol.h"
#include "Tools/Replay/ArchiveFile.h"
#include "Tools/Replay/ReplayLoader.h"
#include "Tools/Replay/ReplayOptions.h"
#include "Tools/Replay/ReplayReport.h"

#include <cstdio>

namespace {

// Claims the requests of this run.
class RegisteredProtocol {
public:
    RegisteredProtocol() { (void)NSURLProtocol::registerClass<QVRWebArchiveURLProtocol>(); }
    RegisteredProtocol(const RegisteredProtocol&) = delete;
    RegisteredProtocol& operator=(const RegisteredProtocol&) = delete;
    ~RegisteredProtocol() { NSURLProtocol::unregisterClass<QVRWebArchiveURLProtocol>(); }
};

// One line, whatever the text holds.
int fail(const NSString& text)
{
    std::u16string line = u"twwebreplay: ";
    for (const char16_t unit : text.units())
        line += unit < 0x20 ? u' ' : unit;
    writeToStandardError(NSString(line + u"\n").UTF8());
    return 1;
}

NSString wordsOf(const NSError& error)
{
    const NSString reason = error.localizedFailureReason();
    return reason ? NSString::stringWithFormat(u"%@ %@", error.localizedDescription(), reason) : error.localizedDescription();
}

// False when standard output did not take it.
bool print(const NSString& text)
{
    const std::string bytes = text.UTF8();
    return std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && std::fflush(stdout) == 0;
}

NSData outputOf(ReplayLoader& loader, ReplayOptions::Output output)
{
    switch (output) {
    case ReplayOptions::Output::PDF:
        return loader.PDF();
    case ReplayOptions::Output::PNG:
        return loader.picture();
    case ReplayOptions::Output::HTML:
        return loader.markup();
    case ReplayOptions::Output::None:
    case ReplayOptions::Output::List:
        break;
    }
    return {};
}

int replay(const ReplayOptions& options, const PageEngineMaker& makeEngine)
{
    NSError error;
    const WebArchive archive = webArchiveWithContentsOfFile(options.archivePath, &error);
    if (!archive)
        return fail(NSString::stringWithFormat(u"%@: %@", options.archivePath, error.localizedFailureReason()));

    const RegisteredProtocol registered;
    ReplayDelegate delegate(archive, options.isOffline, options.isWorkaroundEnabled);
    ReplayLoader loader(
        [&](PageEngineOptions engine) {
            engine.withoutNetwork = options.isOffline;
            return makeEngine(engine);
        },
        delegate);
    loader.showArchive(archive);
    if (const NSError failure = loader.error())
        return fail(NSString::stringWithFormat(u"%@ could not be shown: %@", options.archivePath, wordsOf(failure)));

    if (!loader.view().mainFrame()->dataSource())
        return fail(NSString::stringWithFormat(u"%@ could not be shown: the page did not come in time", options.archivePath));

    if (options.outputPath) {
        const NSData data = outputOf(loader, options.output);
        if (!data)
            return fail(NSString::stringWithFormat(u"%@ shows nothing that could be written", options.archivePath));
        if (!data.writeToFile(options.outputPath, NSDataWritingAtomic, &error))
            return fail(NSString::stringWithFormat(u"%@ could not be written: %@", options.outputPath, wordsOf(error)));
    }
    const NSString list = options.output == ReplayOptions::Output::List ? replayList(archive) : NSString(u"");
    if (!print(list.stringByAppendingString(replaySummary(delegate, !options.isOffline))))
        return fail(u"standard output takes no more");
    return 0;
}

}

int runWebReplay(const NSArray& arguments, const PageEngineMaker& makeEngine)
{
    const NSAutoreleasePool pool;
    QVRLogger::setUpWithPersistentDomainName(HostDomain);
    NSString problem;
    const std::optional<ReplayOptions> options = replayOptionsFromArguments(arguments, &problem);
    if (!options)
        return fail(NSString::stringWithFormat(u"%@ (twwebreplay --help explains the options)", problem));
    if (options->wantsHelp)
        return print(replayHelp()) ? 0 : fail(u"standard output takes no more");
    try {
        return replay(*options, makeEngine);
    } catch (const NSException& exception) {
        return fail(NSString::stringWithFormat(u"%@ could not be shown: %@", options->archivePath, exception.description()));
    }
}
