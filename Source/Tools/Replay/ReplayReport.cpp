#include "Tools/Replay/ReplayReport.h"

#include "Platform/Foundation/FormatArgument.h"

#include <algorithm>

namespace {

// Text from an archive, fit for one line.
NSString printable(const NSString& text)
{
    if (text.length() == 0)
        return u"-";
    std::u16string result(text.units());
    std::replace_if(
        result.begin(), result.end(), [](char16_t unit) { return unit < 0x20 || (unit >= 0x7f && unit < 0xa0); }, u'?');
    return result;
}

class Lister {
public:
    NSString list(const WebArchive& archive)
    {
        line(u"type", u"bytes", u"frame", u"address");
        add(archive);
        return _text;
    }

private:
    void line(const NSString& type, const NSString& bytes, const NSString& frame, const NSString& address)
    {
        const auto pad = [](const NSString& text, size_t width, bool right) {
            const std::u16string blanks(width - std::min(width, text.length()), u' ');
            return right ? blanks + std::u16string(text.units()) : std::u16string(text.units()) + blanks;
        };
        _text += pad(type, 26, false) + u" " + pad(bytes, 10, true) + u"  " + pad(frame, 5, false) + u"  "
            + std::u16string(address.units()) + u"\n";
    }

    void add(const WebResource& resource, const NSString& frame)
    {
        line(printable(resource.MIMEType()), NSString::stringWithFormat(u"%zu", resource.data().length()), frame,
            printable(resource.URL().absoluteString()));
    }

    void add(const WebArchive& archive)
    {
        const NSString frame = _frames == 0 ? NSString(u"main") : NSString::stringWithFormat(u"%zu", _frames);
        ++_frames;
        add(archive.mainResource(), frame);
        for (const WebResource& resource : archive.subresources())
            add(resource, frame);
        for (const WebArchive& subframe : archive.subframeArchives())
            add(subframe);
    }

    size_t _frames = 0;
    std::u16string _text;
};

}

NSString replayList(const WebArchive& archive)
{
    return Lister().list(archive);
}

NSString replaySummary(const ReplayDelegate& delegate, bool isOnline)
{
    std::u16string text;
    const auto line = [&](const char16_t* what, size_t count) {
        text += NSString::stringWithFormat(u"%6zu  %@\n", count, NSString(what)).units();
    };
    text += u"requests\n";
    line(u"answered from the archive by their exact address", delegate.answeredByAddress());
    line(u"answered from the archive by their file name", delegate.answeredByFileName());
    if (isOnline)
        line(u"answered by the network", delegate.answeredByNetwork());
    line(u"answered by nothing", delegate.unansweredRequests());
    for (const NSString& address : delegate.unanswered()) {
        text += u"        ";
        text += printable(address).units();
        text += u'\n';
    }
    return text;
}
