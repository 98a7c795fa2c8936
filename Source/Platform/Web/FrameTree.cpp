#include "Platform/Web/FrameTree.h"

#include "Platform/Foundation/FormatArgument.h"

#include <algorithm>
#include <unordered_set>

FrameTree::FrameTree(const FrameID& mainFrame, NSString mainFrameName, const std::weak_ptr<WebPage>& page)
    : _page(page), _mainFrame(mainFrame), _order{mainFrame}
{
    Entry& entry = _entries[mainFrame];
    entry.frame = std::shared_ptr<WebFrame>(new WebFrame(mainFrame, page));
    entry.name = mainFrameName ? std::move(mainFrameName) : NSString(u"");
}

FrameTree::Entry* FrameTree::find(const FrameID& frame)
{
    const auto found = _entries.find(frame);
    return found == _entries.end() ? nullptr : &found->second;
}

void FrameTree::attach(const FrameID& frame, const FrameID& parent)
{
    const Entry* above = find(parent);
    if (!above || find(frame))
        return;
    const std::shared_ptr<WebFrame> parentFrame = above->frame;
    Entry& entry = _entries[frame];
    entry.frame = std::shared_ptr<WebFrame>(new WebFrame(frame, _page));
    entry.frame->_parentFrame = parentFrame;
    parentFrame->_childFrames.push_back(entry.frame);
    _order.push_back(frame);
}

std::vector<FrameTree::Entry> FrameTree::detach(const FrameID& frame)
{
    if (isMainFrame(frame) || !find(frame))
        return {};
    nameFramesThrough(frame);

    // 1. The frame and all below it, parents first. No recursion: pages may nest deeper than a call stack likes.
    std::vector<std::shared_ptr<WebFrame>> removed = {find(frame)->frame};
    for (size_t index = 0; index < removed.size(); ++index) {
        const std::vector<std::shared_ptr<WebFrame>> children = removed[index]->childFrames();
        removed.insert(removed.end(), children.begin(), children.end());
    }
    // 2. Out of the parent.
    if (const std::shared_ptr<WebFrame> parent = removed.front()->parentFrame())
        std::erase(parent->_childFrames, removed.front());
    // 3. Out of the tree, and apart from each other.
    std::vector<Entry> result;
    std::unordered_set<FrameID> names;
    for (auto each = removed.rbegin(); each != removed.rend(); ++each) {
        (*each)->_childFrames.clear();
        (*each)->_parentFrame.reset();
        names.insert((*each)->frameID());
        result.push_back(std::move(_entries.extract((*each)->frameID()).mapped()));
    }
    std::erase_if(_order, [&](const FrameID& each) { return names.contains(each); });
    return result;
}

std::vector<FrameTree::Entry> FrameTree::detachChildren(const FrameID& frame)
{
    std::vector<Entry> result;
    const Entry* entry = find(frame);
    if (!entry)
        return result;
    const std::vector<std::shared_ptr<WebFrame>> children = entry->frame->childFrames();
    for (const std::shared_ptr<WebFrame>& child : children) {
        for (Entry& removed : detach(child->frameID()))
            result.push_back(std::move(removed));
    }
    return result;
}

NSString FrameTree::nameOf(const FrameID& frame)
{
    const Entry* entry = find(frame);
    if (!entry)
        return {};
    if (entry->name)
        return entry->name;
    nameFramesThrough(frame);
    return NSString::stringWithFormat(u"<!--frame%zu-->", *entry->generatedNumber);
}

void FrameTree::nameAllFrames()
{
    for (const FrameID& each : _order)
        number(_entries.at(each));
}

void FrameTree::nameFramesThrough(const FrameID& frame)
{
    for (const FrameID& each : _order) {
        Entry& entry = _entries.at(each);
        if (entry.committed || each == frame)
            number(entry);
        if (each == frame)
            return;
    }
}

void FrameTree::number(Entry& entry)
{
    if (!entry.name && !entry.generatedNumber)
        entry.generatedNumber = _generatedNumbers++;
}
