#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Web/FrameTree.h"
#include "Platform/Web/WebArchive.h"

#include <string>
#include <unordered_map>
#include <vector>

// The archive that a view shows, and which part of it belongs to which frame. Each frame gets what its own archive holds, and the
// same address may be something else in another frame. Look-ups take constant time.
class ArchivedPage {
public:
    // `archive` must not be absent.
    explicit ArchivedPage(WebArchive archive) : _archive(std::move(archive)) { }

    // What the main frame has to load: the main resource's address or, where a view can load no such address (there is none, or
    // its scheme is of some other program), one that stands for it.
    [[nodiscard]] NSURL address() const;

    // The archived page for a frame that is about to load the document at `url`, from now on with its resources; absent when
    // there is none, and then the frame has no archive any more. A sub-frame's page is one of its parent's sub-frame archives: of
    // those with this address the one in the frame's own place, else the first that no frame has yet, else the first.
    [[nodiscard]] WebResource documentForFrame(FrameTree& frames, const FrameID& frame, const NSURL& url);
    // What the frame's archive holds under that address, fragments apart; absent when it holds nothing. A frame whose
    // document came without a request (in an attribute, by script) has the archive in its place among its parent's
    // archives of such frames.
    [[nodiscard]] WebResource resourceForFrame(FrameTree& frames, const FrameID& frame, const NSURL& url);
    void frameDetached(const FrameID& frame) { _shown.erase(frame); }

private:
    // What a frame shows; without an archive, nothing of this one.
    struct Shown {
        WebArchive archive;
        std::unordered_map<std::u16string, size_t> resources;            // place among the sub-resources, by address
        std::unordered_map<std::u16string, std::vector<size_t>> pages;   // places among the sub-frame archives, by address
        std::vector<size_t> pagesWithoutRequest;                         // those of frames whose document is not requested
        std::vector<bool> taken;                                         // by place among the sub-frame archives
    };
    Shown& show(const FrameID& frame, const WebArchive& archive);
    Shown* shownIn(FrameTree& frames, const FrameID& frame);
    [[nodiscard]] static WebArchive take(Shown& parent, const std::vector<size_t>& places, size_t ownPlace);

    WebArchive _archive;
    std::unordered_map<FrameID, Shown> _shown;
};
