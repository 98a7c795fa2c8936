#include "Support/ArchiveInspector.h"

#include "Support/PropertyListReader.h"
#include "Support/Subprocess.h"
#include "Support/TemporaryFolder.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <zlib.h>

namespace support {

namespace {

std::string withoutFragment(std::string_view url)
{
    return std::string(url.substr(0, url.find('#')));
}

std::string needed(const PropertyList& dictionary, const char* key)
{
    const std::optional<std::string> value = dictionary.text(key);
    if (!value)
        throw std::runtime_error(std::string("a resource has no ") + key);
    return *value;
}

ArchivedResource resourceFrom(const PropertyList& dictionary)
{
    ArchivedResource resource;
    resource.url = needed(dictionary, "WebResourceURL");
    resource.data = dictionary.data("WebResourceData").value_or("");
    if (!dictionary.data("WebResourceData"))
        throw std::runtime_error("no WebResourceData: " + resource.url);
    resource.mimeType = needed(dictionary, "WebResourceMIMEType");
    resource.textEncodingName = dictionary.text("WebResourceTextEncodingName");
    resource.frameName = dictionary.text("WebResourceFrameName");
    return resource;
}

InspectedArchive archiveFrom(const PropertyList& dictionary)
{
    InspectedArchive archive;
    archive.main = resourceFrom(dictionary.at("WebMainResource"));
    for (const char* key : {"WebSubresources", "WebSubframeArchives"}) {
        if (!dictionary.has(key))
            continue;
        const std::vector<PropertyList> elements = dictionary.at(key).elements();
        if (elements.empty())
            throw std::runtime_error(std::string("an empty ") + key);
        for (const PropertyList& element : elements) {
            if (key == std::string_view("WebSubresources"))
                archive.resources.push_back(resourceFrom(element));
            else
                archive.frames.push_back(archiveFrom(element));
        }
    }
    for (const std::string& key : dictionary.keys())
        if (key != "WebMainResource" && key != "WebSubresources" && key != "WebSubframeArchives")
            throw std::runtime_error("an archive with the key " + key);
    return archive;
}

void collectFaults(const InspectedArchive& archive, bool isTop, std::vector<std::string>& faults)
{
    const std::string place = "in the frame " + archive.main.url + ": ";
    if (!archive.main.frameName)
        faults.push_back(place + "no frame name");
    else if (isTop != archive.main.frameName->empty())
        faults.push_back(place + "the frame name is \"" + *archive.main.frameName + "\"");
    if (archive.main.mimeType.empty())
        faults.push_back(place + "no MIME type");
    std::set<std::string> seen;
    for (const ArchivedResource& resource : archive.resources) {
        if (resource.frameName)
            faults.push_back(place + "a resource with a frame name: " + resource.url);
        if (resource.url.starts_with("data:") || resource.url.starts_with("blob:") || resource.url.empty())
            faults.push_back(place + "not to be kept: " + resource.url.substr(0, 80));
        if (!seen.insert(withoutFragment(resource.url)).second)
            faults.push_back(place + "twice: " + resource.url);
        if (withoutFragment(resource.url) == withoutFragment(archive.main.url))
            faults.push_back(place + "the page itself is among its resources");
        if (resource.mimeType.find(';') != std::string::npos)
            faults.push_back(place + "a MIME type with parameters: " + resource.mimeType);
    }
    if (archive.main.mimeType.find(';') != std::string::npos)
        faults.push_back(place + "a MIME type with parameters: " + archive.main.mimeType);
    for (const InspectedArchive& frame : archive.frames)
        collectFaults(frame, false, faults);
}

void appendLine(std::string& text, const char* kind, const ArchivedResource& resource)
{
    char checksum[64];
    std::snprintf(checksum, sizeof checksum, "%zu %08lx", resource.data.size(),
        crc32(0, reinterpret_cast<const Bytef*>(resource.data.data()), static_cast<uInt>(resource.data.size())));
    text.append(kind).append("|").append(resource.url).append("|").append(resource.mimeType).append("|");
    text.append(resource.textEncodingName.value_or("-")).append("|");
    text.append(resource.frameName.value_or("-")).append("|").append(checksum).append("\n");
}

void appendInventory(std::string& text, const InspectedArchive& archive)
{
    appendLine(text, "page", archive.main);
    for (const ArchivedResource& resource : archive.resources)
        appendLine(text, "resource", resource);
    for (const InspectedArchive& frame : archive.frames)
        appendInventory(text, frame);
}

}

const ArchivedResource* InspectedArchive::resource(std::string_view url) const
{
    for (const ArchivedResource& candidate : resources)
        if (withoutFragment(candidate.url) == withoutFragment(url))
            return &candidate;
    return nullptr;
}

std::vector<std::string> InspectedArchive::resourceURLs() const
{
    std::vector<std::string> urls;
    for (const ArchivedResource& candidate : resources)
        urls.push_back(candidate.url);
    return urls;
}

std::set<std::string> InspectedArchive::allURLs() const
{
    std::set<std::string> urls = {withoutFragment(main.url)};
    for (const ArchivedResource& candidate : resources)
        urls.insert(withoutFragment(candidate.url));
    for (const InspectedArchive& frame : frames)
        urls.merge(frame.allURLs());
    return urls;
}

size_t InspectedArchive::frameCount() const
{
    size_t count = frames.size();
    for (const InspectedArchive& frame : frames)
        count += frame.frameCount();
    return count;
}

InspectedArchive readArchive(const std::filesystem::path& path)
{
    const std::string bytes = readFile(path);
    if (!bytes.starts_with("bplist00"))
        throw std::runtime_error(path.string() + " is no binary property list");
    return archiveFrom(PropertyList(bytes));
}

std::vector<std::string> faultsOf(const InspectedArchive& archive)
{
    std::vector<std::string> faults;
    collectFaults(archive, true, faults);
    return faults;
}

std::string inventoryOf(const InspectedArchive& archive)
{
    std::string text;
    appendInventory(text, archive);
    return text;
}

std::string inventoryByPlistlib(const std::filesystem::path& path)
{
    return runHelper({"python3", "-I", "-B", READ_ARCHIVE_SCRIPT, path.string()});
}

std::string inventoryByPlistutil(const std::filesystem::path& path)
{
    const TemporaryFolder folder;
    const std::string xml = folder.pathOf("archive.xml");
    runHelper({"plistutil", "-i", path.string(), "-f", "xml", "-o", xml});
    return inventoryByPlistlib(xml);
}

}
