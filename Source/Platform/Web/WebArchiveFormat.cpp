#include "Platform/Web/WebArchiveFormat.h"

namespace {

const NSString mainResourceKey = u"WebMainResource";
const NSString subresourcesKey = u"WebSubresources";
const NSString subframeArchivesKey = u"WebSubframeArchives";
const NSString dataKey = u"WebResourceData";
const NSString urlKey = u"WebResourceURL";
const NSString MIMETypeKey = u"WebResourceMIMEType";
const NSString textEncodingNameKey = u"WebResourceTextEncodingName";
const NSString frameNameKey = u"WebResourceFrameName";

NSDictionary propertyListOfResource(const WebResource& resource)
{
    NSDictionary result = NSDictionary::dictionary();
    const auto setIfKnown = [&result](const Value& value, const NSString& key) {
        if (value)
            result.setObject(value, key);
    };
    // Readers expect bytes and a type: where there are none, empty ones.
    const NSData data = resource.data();
    const NSString type = resource.MIMEType();
    result.setObject(data ? data : NSData::dataWithBytes({}), dataKey);
    setIfKnown(resource.URL().absoluteString(), urlKey);
    result.setObject(type ? type : NSString(u""), MIMETypeKey);
    setIfKnown(resource.textEncodingName(), textEncodingNameKey);
    setIfKnown(resource.frameName(), frameNameKey);
    return result;
}

WebResource resourceFromPropertyList(const Value& propertyList)
{
    const NSDictionary resource = propertyList.dictionary();
    const NSData data = resource[dataKey].data();
    const NSString url = resource[urlKey].string();
    const NSString type = resource[MIMETypeKey].string();
    const NSString encoding = resource[textEncodingNameKey].string();
    const NSString frameName = resource[frameNameKey].string();
    if (!data && !url && !type && !encoding && !frameName)
        return {};
    return WebResource(data, NSURL::URLWithUncheckedString(url), type.length() > 0 ? type : NSString(), encoding, frameName);
}

}

Value propertyListOfWebArchive(const WebArchive& archive)
{
    NSDictionary result{{mainResourceKey, propertyListOfResource(archive.mainResource())}};
    if (!archive.subresources().empty()) {
        NSArray resources;
        for (const WebResource& resource : archive.subresources())
            resources.addObject(propertyListOfResource(resource));
        result.setObject(std::move(resources), subresourcesKey);
    }
    if (!archive.subframeArchives().empty()) {
        NSArray archives;
        for (const WebArchive& subframe : archive.subframeArchives())
            archives.addObject(propertyListOfWebArchive(subframe));
        result.setObject(std::move(archives), subframeArchivesKey);
    }
    return result;
}

WebArchive webArchiveFromPropertyList(const Value& propertyList)
{
    const NSDictionary archive = propertyList.dictionary();
    const WebResource mainResource = resourceFromPropertyList(archive[mainResourceKey]);
    if (!mainResource)
        return {};
    std::vector<WebResource> subresources;
    for (const Value& resource : archive[subresourcesKey].array())
        subresources.push_back(resourceFromPropertyList(resource));
    std::vector<WebArchive> subframeArchives;
    for (const Value& subframe : archive[subframeArchivesKey].array())
        subframeArchives.push_back(webArchiveFromPropertyList(subframe));
    return WebArchive::initWithMainResource(mainResource, subresources, subframeArchives);
}
