#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Web/WebResource.h"

#include <memory>
#include <vector>

// A page with all it needs: a main resource, its sub-resources, and the archives of its frames. Immutable; copies share their
// contents. A default-constructed one is absent.
//
// Its data is a property list: "WebMainResource" (dictionary), "WebSubresources" and "WebSubframeArchives" (arrays, absent when
// empty); a resource has "WebResourceData" and "WebResourceMIMEType" (empty when there is none), "WebResourceURL" (text),
// "WebResourceTextEncodingName" and "WebResourceFrameName", each when it is known.
class WebArchive {
public:
    WebArchive() = default;
    // Absent when there is no main resource. Absent members of the lists are left out. Fetches bytes that have not been fetched
    // yet, so it throws what WebResource::data throws.
    [[nodiscard]] static WebArchive initWithMainResource(const WebResource& mainResource,
        const std::vector<WebResource>& subresources = {}, const std::vector<WebArchive>& subframeArchives = {});
    // Reads an archive's data, binary or XML. Unknown keys do not count, and neither do known ones of the wrong type; resources
    // without a known key are left out. Absent when the data is no property list or has no main resource; then the error
    // (NSPropertyListReadCorruptError or NSFileReadCorruptFileError) goes to `*error` if given.
    [[nodiscard]] static WebArchive initWithData(const NSData& data, NSError* error = nullptr);

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }

    [[nodiscard]] WebResource mainResource() const;
    [[nodiscard]] const std::vector<WebResource>& subresources() const;
    [[nodiscard]] const std::vector<WebArchive>& subframeArchives() const;

    // The archive as a binary property list; absent for an absent archive. Takes as much memory again as the archive's bytes: to
    // put it into a file, writeToFile is better.
    [[nodiscard]] NSData data() const;
    // Writes that data as a stream, with no second copy of the bytes. The file appears whole or not at all, an old one survives
    // any failure. False on failure, also for an absent archive; then the error goes to `*error` if given.
    [[nodiscard]] bool writeToFile(const NSString& path, NSError* error = nullptr) const;

    // Equal in every part; two absent ones are equal.
    friend bool operator==(const WebArchive& a, const WebArchive& b);

private:
    struct Contents;
    std::shared_ptr<const Contents> _contents;
};
