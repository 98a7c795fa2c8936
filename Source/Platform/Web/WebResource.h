#pragma once

#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

#include <functional>
#include <memory>

// Something a page was made of: its bytes and what is known about them. Immutable; copies share their contents, the bytes among
// them. A default-constructed one is absent.
class WebResource {
public:
    WebResource() = default;
    // Any part may be absent. `frameName` belongs to the main resources of frames; "" names the top frame.
    WebResource(NSData data, NSURL url, const NSString& MIMEType, NSString textEncodingName, NSString frameName = {});
    // The same with bytes that `fetch` gets when they are first asked for. What it throws passes to whoever asked, and it is
    // called again next time.
    WebResource(
        std::function<NSData()> fetch, NSURL url, const NSString& MIMEType, NSString textEncodingName, NSString frameName = {});

    [[nodiscard]] bool isAbsent() const { return _contents == nullptr; }
    explicit operator bool() const { return _contents != nullptr; }

    // The bytes: as the server sent them, or the document's markup. Throws NSException when they must be fetched and the engine
    // cannot answer.
    [[nodiscard]] NSData data() const;
    [[nodiscard]] NSURL URL() const;
    // Without parameters.
    [[nodiscard]] NSString MIMEType() const;
    [[nodiscard]] NSString textEncodingName() const;
    [[nodiscard]] NSString frameName() const;

    // "<WebResource: address>"; absent for an absent one.
    [[nodiscard]] NSString description() const;
    // The same resource, or equal in every part; two absent ones are equal.
    friend bool operator==(const WebResource& a, const WebResource& b);

private:
    struct Contents;
    std::shared_ptr<Contents> _contents;
};
