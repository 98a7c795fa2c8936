#include "Platform/Web/ArchiveMaker.h"

#include "Platform/Foundation/NSException.h"
#include "Platform/Web/WebArchiveFormat.h"

#include <algorithm>
#include <unordered_map>

namespace {

const NSString blankAddress = u"about:blank";

bool isOf(const NSURL& url, const char16_t* address)
{
    return ResourceLog::addressOf(url) == NSString(address);
}

// A document's own addresses, which are not among its resources: where it was asked for, and where it was found.
ResourceLog::Addresses ownAddresses(const DocumentLoad& load)
{
    return {ResourceLog::addressOf(load.initialRequest.URL()), ResourceLog::addressOf(load.request.URL()),
        ResourceLog::addressOf(load.response.URL())};
}

std::vector<WebResource> resourcesOf(WebPage& page, const DocumentID& document, const ResourceLog::Addresses& unlisted)
{
    std::vector<WebResource> result;
    for (ResourceLog::Load* load : page.resources().finishedLoads(document, unlisted)) {
        NSURLResponse response = load->response;
        if (!response) {
            for (const ResourceLog::Load* other : page.resources().otherAnswers(*load))
                response = response ? response : other->response;
        }
        const NSData body = page.body(*load);
        result.emplace_back(body ? body : NSData::dataWithBytes({}), NSURL::URLWithUncheckedString(load->address),
            response.MIMEType(), response.textEncodingName());
    }
    return result;
}

// Whether documents of this type are what their markup says. Of others (a text, say) the engine makes markup for showing only.
bool isMarkupType(const NSString& type)
{
    const NSString lower = type.lowercaseString();
    return !type || lower == NSString(u"text/html") || lower.hasSuffix(u"/xml") || lower.hasSuffix(u"+xml");
}

bool isTextType(const NSString& type)
{
    return isMarkupType(type) || type.lowercaseString().hasPrefix(u"text/");
}

// The encoding that a text's byte-order mark tells, which goes before all else that was said of it. Absent when there is no mark.
NSString markedEncoding(const NSData& data)
{
    const std::string_view text = data.characters();
    if (text.starts_with("\xEF\xBB\xBF"))
        return u"UTF-8";
    if (text.starts_with("\xFE\xFF"))
        return u"UTF-16BE";
    if (text.starts_with("\xFF\xFE"))
        return u"UTF-16LE";
    return {};
}

NSData dataWithMarkup(NSString& markup)
{
    const std::string text = markup.UTF8();
    markup = {};   // pages may be big
    return NSData::dataWithBytes(text);
}

WebResource withFrameName(const WebResource& resource, const NSString& frameName)
{
    return WebResource(resource.data(), resource.URL(), resource.MIMEType(), resource.textEncodingName(), frameName);
}

// The documents as they stand, in their frames.
class DocumentArchiver {
public:
    explicit DocumentArchiver(WebPage& page) : _page(page), _documents(page.documents())
    {
        page.frames().nameAllFrames();
        for (size_t index = 0; index < _documents.size(); ++index) {
            const FrameID& frame = _documents[index].frame;
            _indexes.emplace(frame, index);
            // A frame that the view has not heard of yet came after the load was over: it has no place.
            const FrameTree::Entry* entry = page.frames().find(frame);
            if (const std::shared_ptr<WebFrame> parent = entry ? entry->frame->parentFrame() : nullptr)
                _children[parent->frameID()].push_back(frame);
        }
    }

    WebArchive archive(const FrameID& frame, size_t depth = 0)
    {
        const auto index = _indexes.find(frame);
        const FrameTree::Entry* entry = _page.frames().find(frame);
        if (index == _indexes.end() || !entry || depth == deepestArchiveNesting)
            return {};
        // A frame whose load did not get as far as a document shows nothing of its own.
        if (!entry->committed && (entry->hasBeenAsked || _page.frames().isMainFrame(frame)))
            return {};
        DocumentSnapshot& document = _documents[index->second];
        const std::shared_ptr<DocumentLoad> load =
            entry->committed && entry->committed->document == document.document ? entry->committed : nullptr;

        const WebResource main = mainResource(document, load, !entry->committed, _page.frames().nameOf(frame));
        if (!main)
            return {};
        ResourceLog::Addresses unlisted = load ? ownAddresses(*load) : ResourceLog::Addresses();
        unlisted.push_back(ResourceLog::addressOf(main.URL()));
        const std::vector<WebResource> subresources = resourcesOf(_page, document.document, unlisted);
        std::vector<WebArchive> subframes;
        if (const auto children = _children.find(frame); children != _children.end()) {
            for (const FrameID& child : children->second)
                subframes.push_back(archive(child, depth + 1));
        }
        return WebArchive::initWithMainResource(main, subresources, subframes);
    }

private:
    WebResource mainResource(DocumentSnapshot& document, const std::shared_ptr<DocumentLoad>& load, bool wasNeverLoaded,
        const NSString& frameName) const
    {
        if (!document.markup || !isMarkupType(document.MIMEType)) {
            if (const WebResource sent = load ? mainResourceOf(_page, *load) : WebResource())
                return withFrameName(sent, frameName);
            if (!document.markup)
                return {};
        }
        NSURL url = wasNeverLoaded ? NSURL() : document.url;
        if (load)
            url = load->response ? load->response.URL() : load->request ? load->request.URL() : document.url;
        if (url.absoluteString().length() == 0)
            url = NSURL::URLWithString(blankAddress);
        // The type as its server spelled it, unless the engine took the document for something else.
        NSString type = load ? load->response.MIMEType() : NSString();
        if (!type || (document.MIMEType && type.caseInsensitiveCompare(document.MIMEType) != NSOrderedSame))
            type = document.MIMEType;
        return WebResource(dataWithMarkup(document.markup), url, isMarkupType(type) && type ? type : NSString(u"text/html"),
            u"UTF-8", frameName);
    }

    WebPage& _page;
    std::vector<DocumentSnapshot> _documents;
    std::unordered_map<FrameID, size_t> _indexes;
    std::unordered_map<FrameID, std::vector<FrameID>> _children;   // in document order
};

// What the servers sent, in its frames.
class DataSourceArchiver {
public:
    explicit DataSourceArchiver(WebPage& page) : _page(page) { page.frames().nameAllFrames(); }

    WebArchive archive(const FrameID& frame, size_t depth = 0)
    {
        const FrameTree::Entry* entry = _page.frames().find(frame);
        if (!entry || !entry->committed || depth == deepestArchiveNesting)
            return {};
        const std::shared_ptr<DocumentLoad> load = entry->committed;
        const std::vector<std::shared_ptr<WebFrame>> children = entry->frame->childFrames();
        if (mayNeedSnapshot(*load))
            takeSnapshots();
        WebResource main = mainResourceOf(_page, *load);
        if (!main)
            main = documentInAttribute(*load, frame);
        if (!main)
            return {};
        if (const NSString encoding = isTextType(main.MIMEType()) ? markedEncoding(main.data()) : NSString())
            main = WebResource(main.data(), main.URL(), main.MIMEType(), encoding, main.frameName());
        const std::vector<WebResource> subresources = subresourcesOf(_page, *load);
        std::vector<WebArchive> subframes;
        subframes.reserve(children.size());
        for (const std::shared_ptr<WebFrame>& child : children)
            subframes.push_back(archive(child->frameID(), depth + 1));
        return WebArchive::initWithMainResource(main, subresources, subframes);
    }

private:
    static bool isInAttribute(const DocumentLoad& load)
    {
        return isOf(load.response ? load.response.URL() : load.request.URL(), u"about:srcdoc");
    }

    // Only the engine knows in which encoding it read a document whose server did not say, and what is in an attribute.
    static bool mayNeedSnapshot(const DocumentLoad& load)
    {
        return isInAttribute(load)
            || (load.response && !load.encoding && !load.response.textEncodingName() && isMarkupType(load.response.MIMEType()));
    }

    // Once; an engine that does not answer leaves only what it would have told.
    void takeSnapshots()
    {
        if (std::exchange(_tookSnapshots, true))
            return;
        try {
            for (DocumentSnapshot& document : _page.documents()) {
                const FrameTree::Entry* entry = _page.frames().find(document.frame);
                if (entry && entry->committed && entry->committed->document == document.document
                    && isInAttribute(*entry->committed))
                    _inAttributes[document.frame] = std::move(document);
            }
        } catch (const NSException&) {
            _inAttributes.clear();
        }
    }

    WebResource documentInAttribute(const DocumentLoad& load, const FrameID& frame)
    {
        const auto found = _inAttributes.find(frame);
        if (!isInAttribute(load) || found == _inAttributes.end() || !found->second.markup)
            return {};
        return WebResource(dataWithMarkup(found->second.markup), NSURL::URLWithString(u"about:srcdoc"), u"text/html", u"UTF-8",
            _page.frames().nameOf(frame));
    }

    WebPage& _page;
    bool _tookSnapshots = false;
    std::unordered_map<FrameID, DocumentSnapshot> _inAttributes;
};

}

WebArchive archiveOfDocuments(WebPage& page, const FrameID& top)
{
    return DocumentArchiver(page).archive(top);
}

WebArchive archiveOfDataSources(WebPage& page, const FrameID& top)
{
    page.requireEngine();
    return DataSourceArchiver(page).archive(top);
}

WebResource mainResourceOf(WebPage& page, DocumentLoad& load)
{
    if (!load.response || isOf(load.response.URL(), u"about:blank") || isOf(load.response.URL(), u"about:srcdoc"))
        return {};
    // The name of a frame that shows nothing yet may still come.
    const bool isShown = load.state != DocumentLoad::State::Provisional;
    const std::shared_ptr<WebFrame> frame = isShown ? load.frame.lock() : nullptr;
    const NSString name = frame ? page.frames().nameOf(frame->frameID()) : NSString();
    const NSURL url = load.response.URL() ? load.response.URL() : load.request.URL();
    const NSString encoding = load.dataSource().textEncodingName();
    // A server that names no type leaves it to the engine.
    const NSString type = load.response.MIMEType() ? load.response.MIMEType() : load.shownType;
    const ResourceLog::Load* own = page.resources().ownLoad(load.document, ResourceLog::addressOf(load.initialRequest.URL()));
    if (isShown && !(own && own->hasBody))
        page.requireEngine();
    const bool isUnderway = !own || own->state == ResourceLog::State::Underway;
    // A page that was stopped, and whose process is too busy to notice, has bytes that nobody can read.
    if (isUnderway && load.state == DocumentLoad::State::Failed && frame && page.frames().isMainFrame(frame->frameID()))
        throw NSException(NSGenericException, u"The page engine does not hand over what came of the page.");
    // What came before a load broke off is the document that is shown.
    if (!isShown || isUnderway)
        return WebResource(NSData(), url, type, encoding, name);
    return WebResource(
        [weak = page.weak_from_this(), resource = own->name] {
            const std::shared_ptr<WebPage> alive = weak.lock();
            ResourceLog::Load* known = alive ? alive->resources().find(resource) : nullptr;
            if (!known)
                throw NSException(NSGenericException, u"The document is not shown any more.");
            return alive->body(*known);
        },
        url, type, encoding, name);
}

std::vector<WebResource> subresourcesOf(WebPage& page, const DocumentLoad& load)
{
    page.requireEngine();
    return resourcesOf(page, load.document, ownAddresses(load));
}
