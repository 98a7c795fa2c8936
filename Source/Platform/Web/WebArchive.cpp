#include "Platform/Web/WebArchive.h"

#include "Platform/Foundation/AtomicFile.h"
#include "Platform/Foundation/BinaryPropertyListWriter.h"
#include "Platform/Foundation/NSPropertyListSerialization.h"
#include "Platform/Web/WebArchiveFormat.h"

struct WebArchive::Contents {
    WebResource mainResource;
    std::vector<WebResource> subresources;
    std::vector<WebArchive> subframeArchives;
};

WebArchive WebArchive::initWithMainResource(const WebResource& mainResource, const std::vector<WebResource>& subresources,
    const std::vector<WebArchive>& subframeArchives)
{
    if (!mainResource)
        return {};
    Contents contents;
    // An archive is complete: whoever writes it later must not depend on the engine any more.
    (void)mainResource.data();
    contents.mainResource = mainResource;
    contents.subresources.reserve(subresources.size());
    for (const WebResource& resource : subresources) {
        if (!resource)
            continue;
        (void)resource.data();
        contents.subresources.push_back(resource);
    }
    contents.subframeArchives.reserve(subframeArchives.size());
    for (const WebArchive& archive : subframeArchives) {
        if (archive)
            contents.subframeArchives.push_back(archive);
    }
    WebArchive archive;
    archive._contents = std::make_shared<const Contents>(std::move(contents));
    return archive;
}

WebArchive WebArchive::initWithData(const NSData& data, NSError* error)
{
    const Value propertyList = NSPropertyListSerialization::propertyListWithData(data, nullptr, error);
    if (!propertyList)
        return {};
    WebArchive archive = webArchiveFromPropertyList(propertyList);
    if (!archive && error)
        *error = NSError(NSCocoaErrorDomain, NSFileReadCorruptFileError,
            {{NSDebugDescriptionErrorKey, u"The property list is not a Web archive: it has no main resource."}});
    return archive;
}

WebResource WebArchive::mainResource() const
{
    return _contents ? _contents->mainResource : WebResource();
}

const std::vector<WebResource>& WebArchive::subresources() const
{
    static const std::vector<WebResource> none;
    return _contents ? _contents->subresources : none;
}

const std::vector<WebArchive>& WebArchive::subframeArchives() const
{
    static const std::vector<WebArchive> none;
    return _contents ? _contents->subframeArchives : none;
}

NSData WebArchive::data() const
{
    if (!_contents)
        return {};
    return NSPropertyListSerialization::dataWithPropertyList(propertyListOfWebArchive(*this), NSPropertyListBinaryFormat_v1_0);
}

bool WebArchive::writeToFile(const NSString& path, NSError* error) const
{
    if (!_contents) {
        if (error)
            *error = NSError(NSCocoaErrorDomain, NSPropertyListWriteInvalidError, {{NSFilePathErrorKey, path}});
        return false;
    }
    const std::unique_ptr<AtomicFile> file = AtomicFile::open(path, error);
    return file && BinaryPropertyListWriter::write(propertyListOfWebArchive(*this), *file, error) && file->commit(error);
}

bool operator==(const WebArchive& a, const WebArchive& b)
{
    if (a._contents == b._contents)
        return true;
    return a && b && a.mainResource() == b.mainResource() && a.subresources() == b.subresources()
        && a.subframeArchives() == b.subframeArchives();
}
