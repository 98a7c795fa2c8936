#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Web/WebDataSource.h"

#include <memory>

class WebFrame;
class WebPage;

// What a data source refers to: one document of one frame, from its first request on. Kept by the frame and by the data sources
// that are out; it keeps neither the frame nor the page.
class DocumentLoad : public std::enable_shared_from_this<DocumentLoad> {
public:
    enum class State {
        Provisional,   // on its way
        Committed,     // shown, and still loading
        Finished,
        Failed   // before or after it was shown
    };
    DocumentLoad(DocumentID named, const std::shared_ptr<WebFrame>& of, std::weak_ptr<WebPage> onPage, NSURLRequest asked)
        : document(std::move(named)), frame(of), page(std::move(onPage)), initialRequest(asked), request(std::move(asked))
    {
    }
    [[nodiscard]] WebDataSource dataSource() { return WebDataSource(shared_from_this()); }

    DocumentID document;
    std::weak_ptr<WebFrame> frame;
    std::weak_ptr<WebPage> page;
    NSURLRequest initialRequest;
    NSURLRequest request;
    NSURLResponse response;
    NSString title;
    // What the engine made of it; absent until it was asked.
    NSString encoding;
    NSString shownType;
    State state = State::Provisional;
    // Why the load will fail as soon as the engine lets go of it, whatever the engine calls that. Absent while nothing is
    // decided.
    NSError verdict;
};
