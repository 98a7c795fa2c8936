#include "QVRFrameArchiving.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSLog.h"

WebArchive qvrWebArchive(const WebDataSource& dataSource)
{
    const std::shared_ptr<WebFrame> frame = dataSource.webFrame();
    return frame ? qvrArchiveFrame(dataSource, frame) : WebArchive();
}

WebArchive qvrArchiveFrame(const WebDataSource& dataSource, const std::shared_ptr<WebFrame>& frame)
{
    const WebDataSource source = frame->dataSource();
    const WebResource mainResource = source.mainResource();
    std::vector<WebResource> subresources;
    try {
        subresources = source.subresources();
    } catch (const NSException& exception) {
        NSLog(u"Tarnwick encountered an internal Web Kit error '%@' while getting the subresources for %@", exception, source);
    }
    return WebArchive::initWithMainResource(mainResource, subresources, qvrSubframeArchivesForFrame(dataSource, frame));
}

std::vector<WebArchive> qvrSubframeArchivesForFrame(const WebDataSource& dataSource, const std::shared_ptr<WebFrame>& frame)
{
    std::vector<WebArchive> result;
    for (const auto& child : frame->childFrames()) {
        if (const WebArchive archive = qvrArchiveFrame(dataSource, child))
            result.push_back(archive);
    }
    return result;
}
