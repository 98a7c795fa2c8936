#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURLRequest.h"
#include "Platform/Foundation/NSURLResponse.h"
#include "Platform/Foundation/Value.h"

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Which document loaded what. Everything takes constant time for each load, and what a page loads again and again is kept once.
class ResourceLog {
public:
    enum class State { Underway, Finished, Failed };
    struct Load {
        ResourceID name;
        FrameID frame;
        DocumentID document;
        NSString address;       // what was asked for first, without a fragment; absent when the request had none
        NSURLRequest request;   // where redirects have led
        NSURLResponse response;
        NSURLResponse redirectResponse;   // that led to `request`; absent when nothing did
        // Requests that the engine told of, less those that it asked about: both are said of each, in either order.
        int unasked = 0;
        Value identifier;   // the resource-load delegate's
        State state = State::Underway;
        NSData body;
        bool hasBody = false;   // `body` is what the engine said, which may be absent
    };
    // The texts of a few addresses that are not to be listed.
    using Addresses = std::vector<NSString>;

    // The address's text without its fragment; absent for an absent address.
    [[nodiscard]] static NSString addressOf(const NSURL& url);

    // Files a new load. Pointers to it stay valid until it is dropped, by any of the operations below.
    Load& add(const ResourceID& name, const FrameID& frame, const DocumentID& document, const NSURLRequest& request);
    [[nodiscard]] Load* find(const ResourceID& name);
    // Ends a load. A load that failed, or whose answer is less than one that the document has from the same address, is dropped;
    // a newer answer takes the place of an equal one.
    void finish(const ResourceID& name);
    void fail(const ResourceID& name);

    // The load of the document itself, whose navigation asked for `address` at first. Null when there was none.
    [[nodiscard]] Load* ownLoad(const DocumentID& document, const NSString& address);
    // The finished loads of a document, one for each address, in the order of first use; without `data:` and `blob:` addresses,
    // and without `unlisted`. Valid as add says.
    [[nodiscard]] std::vector<Load*> finishedLoads(const DocumentID& document, const Addresses& unlisted);
    // Other loads from the same address, by whatever document: the first one that was answered, and the latest. Valid as add
    // says.
    [[nodiscard]] std::vector<Load*> otherAnswers(const Load& load);

    // Drops a document's loads, but for what otherAnswers gives.
    void forget(const DocumentID& document);
    // Drops everything but that document's loads.
    void forgetAllBut(const DocumentID& document);

private:
    struct Use {
        NSString address;
        ResourceID answer;   // empty until one has finished
    };
    struct Document {
        ResourceID first;
        std::vector<Use> uses;
        std::unordered_map<std::u16string_view, size_t> useByAddress;   // keys live in `uses`
        std::unordered_set<ResourceID> loads;
    };
    void drop(const ResourceID& name);
    // Whether a document lists it.
    [[nodiscard]] bool isInUse(const ResourceID& name) const;
    // Whether otherAnswers gives it.
    [[nodiscard]] bool isAnswer(const Load& load) const;

    std::unordered_map<ResourceID, Load> _loads;
    std::unordered_map<DocumentID, Document> _documents;
    // Loads from one address; the same one when there was one only.
    struct Answers {
        ResourceID first;
        ResourceID latest;
    };
    std::unordered_map<std::u16string, Answers> _answers;   // by address
};
