#pragma once

#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"
#include "Platform/Web/WebArchive.h"
#include "Platform/Web/WebResource.h"

#include <memory>
#include <vector>

class DocumentLoad;
class WebFrame;

// One document of a frame, on its way or shown: what was asked for, what came, and what it uses. Copies are the same data source
// and see its news. A default-constructed one is absent and answers every question with absent. Main thread only.
class WebDataSource {
public:
    WebDataSource() = default;

    [[nodiscard]] bool isAbsent() const { return _load == nullptr; }
    explicit operator bool() const { return _load != nullptr; }

    // What was asked for at first, and where redirects have led since.
    [[nodiscard]] NSURLRequest initialRequest() const;
    [[nodiscard]] NSURLRequest request() const;
    // Absent until there is one, and for documents without one.
    [[nodiscard]] NSURLResponse response() const;
    [[nodiscard]] bool isLoading() const;
    // Absent until the page has one.
    [[nodiscard]] NSString pageTitle() const;
    // The encoding that the document was read in as far as it is known, else the one that its server named.
    [[nodiscard]] NSString textEncodingName() const;
    // Absent when the frame is gone.
    [[nodiscard]] std::shared_ptr<WebFrame> webFrame() const;

    // The document itself, as the server sent it: the address and type of its response, its bytes (fetched when they are first
    // asked for; absent while the load is under way). Absent when there is no response yet, and for documents that do not come
    // from anywhere (about:blank). Throws NSException when the load is over and the engine is gone.
    [[nodiscard]] WebResource mainResource() const;
    // What the document has loaded, bytes included, once for each address, in the order of first use. Neither the document itself
    // nor "data:" and "blob:" addresses, nor what failed or is still on its way. Throws NSException when the engine cannot
    // answer.
    [[nodiscard]] std::vector<WebResource> subresources() const;
    // The frame's archive, with those of all frames below it, made of what the servers sent. Absent for a document that is not
    // shown (yet, or any more) and for one without a main resource; frames without one are left out. Throws NSException when the
    // engine cannot answer.
    [[nodiscard]] WebArchive webArchive() const;

    // "<WebDataSource: address>"; absent for an absent one.
    [[nodiscard]] NSString description() const;
    // The same data source; two absent ones are equal.
    friend bool operator==(const WebDataSource&, const WebDataSource&) = default;

private:
    friend class DocumentLoad;
    explicit WebDataSource(std::shared_ptr<DocumentLoad> load) : _load(std::move(load)) { }
    std::shared_ptr<DocumentLoad> _load;
};
