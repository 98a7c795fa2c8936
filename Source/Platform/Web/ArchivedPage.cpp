#include "Platform/Web/ArchivedPage.h"

#include "Platform/Web/ResourceLog.h"

#include <algorithm>

namespace {

bool isLoadable(const NSURL& url)
{
    const NSString scheme = url.scheme().lowercaseString();
    const bool needsHost = scheme == NSString(u"http") || scheme == NSString(u"https");
    return needsHost ? url.host().length() > 0 : scheme == NSString(u"file");
}

std::u16string addressOf(const NSURL& url)
{
    return std::u16string(ResourceLog::addressOf(url).units());
}

// The frame's place among its parent's frames.
size_t placeOf(const WebFrame& frame, const WebFrame& parent)
{
    const auto& siblings = parent.childFrames();
    const auto found =
        std::find_if(siblings.begin(), siblings.end(), [&](const auto& sibling) { return sibling.get() == &frame; });
    return static_cast<size_t>(found - siblings.begin());
}

}

NSURL ArchivedPage::address() const
{
    // No such host exists: the name is reserved.
    const NSURL url = _archive.mainResource().URL();
    return isLoadable(url) ? url : NSURL::URLWithString(u"http://archive.invalid/");
}

ArchivedPage::Shown& ArchivedPage::show(const FrameID& frame, const WebArchive& archive)
{
    Shown& shown = _shown[frame] = {};
    shown.archive = archive;
    // The first of an address is the one that a frame of this archive's making used.
    for (size_t place = 0; place < archive.subresources().size(); ++place)
        shown.resources.try_emplace(addressOf(archive.subresources()[place].URL()), place);
    for (size_t place = 0; place < archive.subframeArchives().size(); ++place) {
        const NSURL url = archive.subframeArchives()[place].mainResource().URL();
        shown.pages[addressOf(url)].push_back(place);
        if (!url || url.scheme() == NSString(u"about"))
            shown.pagesWithoutRequest.push_back(place);
    }
    shown.taken.resize(archive.subframeArchives().size());
    return shown;
}

WebArchive ArchivedPage::take(Shown& parent, const std::vector<size_t>& places, size_t ownPlace)
{
    if (places.empty())
        return {};
    auto chosen = std::find(places.begin(), places.end(), ownPlace);
    if (chosen == places.end())
        chosen = std::find_if(places.begin(), places.end(), [&](size_t place) { return !parent.taken[place]; });
    if (chosen == places.end())
        chosen = places.begin();
    parent.taken[*chosen] = true;
    return parent.archive.subframeArchives()[*chosen];
}

WebResource ArchivedPage::documentForFrame(FrameTree& frames, const FrameID& frame, const NSURL& url)
{
    if (frames.isMainFrame(frame)) {
        const bool isThisPage = ResourceLog::addressOf(url) == ResourceLog::addressOf(address());
        return show(frame, isThisPage ? _archive : WebArchive()).archive.mainResource();
    }
    const FrameTree::Entry* entry = frames.find(frame);
    const std::shared_ptr<WebFrame> parent = entry ? entry->frame->parentFrame() : nullptr;
    Shown* above = parent ? shownIn(frames, parent->frameID()) : nullptr;
    WebArchive archive;
    if (above) {
        if (const auto places = above->pages.find(addressOf(url)); places != above->pages.end())
            archive = take(*above, places->second, placeOf(*entry->frame, *parent));
    }
    return show(frame, archive).archive.mainResource();
}

ArchivedPage::Shown* ArchivedPage::shownIn(FrameTree& frames, const FrameID& frame)
{
    // 1. The frames up to one that is known. No recursion: pages may nest frames deeper than a call stack likes.
    std::vector<std::shared_ptr<WebFrame>> unknown;
    FrameID known = frame;
    while (!_shown.contains(known)) {
        const FrameTree::Entry* entry = frames.find(known);
        const std::shared_ptr<WebFrame> parent = entry ? entry->frame->parentFrame() : nullptr;
        if (!parent)
            return nullptr;
        unknown.push_back(entry->frame);
        known = parent->frameID();
    }
    // 2. Down again: each takes the place that its parent has for it.
    for (auto each = unknown.rbegin(); each != unknown.rend(); ++each) {
        Shown& parent = _shown.at((*each)->parentFrame()->frameID());
        const WebArchive archive = take(parent, parent.pagesWithoutRequest, placeOf(**each, *(*each)->parentFrame()));
        show((*each)->frameID(), archive);
    }
    return &_shown.at(frame);
}

WebResource ArchivedPage::resourceForFrame(FrameTree& frames, const FrameID& frame, const NSURL& url)
{
    const Shown* shown = shownIn(frames, frame);
    if (!shown || !shown->archive)
        return {};
    const auto place = shown->resources.find(addressOf(url));
    return place == shown->resources.end() ? WebResource() : shown->archive.subresources()[place->second];
}
