#include "Tools/Replay/ReplayOptions.h"

#include "Platform/Foundation/FormatArgument.h"
#include "Platform/Foundation/Value.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

using Output = ReplayOptions::Output;

struct OutputOption {
    const char16_t* name;
    Output output;
    bool takesFile;
};

const OutputOption outputOptions[] = {{u"--pdf", Output::PDF, true}, {u"--png", Output::PNG, true},
    {u"--html", Output::HTML, true}, {u"--list", Output::List, false}};

}

std::optional<ReplayOptions> replayOptionsFromArguments(const NSArray& arguments, NSString* problem)
{
    const auto fail = [&](const NSString& text) {
        *problem = text;
        return std::optional<ReplayOptions>();
    };
    ReplayOptions options;
    std::optional<bool> isOffline;
    for (size_t index = 1; index < arguments.count(); ++index) {
        const NSString argument = arguments[index].string();
        const auto output = std::find_if(std::begin(outputOptions), std::end(outputOptions),
            [&](const OutputOption& each) { return argument == NSString(each.name); });
        if (argument == NSString(u"--help")) {
            options.wantsHelp = true;
            return options;
        }
        if (output != std::end(outputOptions)) {
            if (options.output != Output::None)
                return fail(u"only one of --pdf, --png, --html and --list can be given");
            options.output = output->output;
            if (!output->takesFile)
                continue;
            if (++index == arguments.count())
                return fail(NSString::stringWithFormat(u"%@ needs a file", argument));
            options.outputPath = arguments[index].string();
        } else if (argument == NSString(u"--offline") || argument == NSString(u"--online")) {
            const bool asked = argument == NSString(u"--offline");
            if (isOffline && *isOffline != asked)
                return fail(u"--offline and --online exclude each other");
            isOffline = asked;
        } else if (argument == NSString(u"--no-workaround")) {
            options.isWorkaroundEnabled = false;
        } else if (argument.hasPrefix(u"-")) {
            return fail(NSString::stringWithFormat(u"unknown option %@", argument));
        } else if (options.archivePath) {
            return fail(NSString::stringWithFormat(u"only one archive can be shown, and %@ is a second one", argument));
        } else {
            options.archivePath = argument;
        }
    }
    if (!options.archivePath)
        return fail(u"no archive is given");
    options.isOffline = isOffline.value_or(true);
    return options;
}

NSString replayHelp()
{
    return uR"(usage: twwebreplay <archive> [--pdf FILE | --png FILE | --html FILE | --list]
                   [--offline | --online] [--no-workaround]

Shows a Web archive again, without a window, and says what its page asked for and what
the archive had of it.

  --pdf FILE        writes the page as a PDF
  --png FILE        writes a picture of the whole page
  --html FILE       writes the markup of the page as it stands in the end
  --list            lists what the archive holds: address, type, bytes, frame
  --offline         what the archive does not have fails; nothing goes over the network
                    (this is how it is without an option)
  --online          what the archive does not have comes from the network
  --no-workaround   each frame gets what its own archive has under the exact address, and
                    nothing else: no resource of another frame, none of the same file name
  --help            prints this

In the end it counts the requests that the archive answered, by their exact address and by
their file name, and those that nothing answered, with their addresses. The page is waited for
as twwebtool waits, with the same settings.

The exit status is 0 when the page was shown, and 1 when it was not; then standard error has one
line that says why.
)";
}
