#pragma once

#include "Platform/Engine/PageEngine.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSTimer.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// A page engine whose news the test tells, in any order, and that remembers what was asked of it. The main frame is "main"; the
// test names the others.
//
// Its words deliver their news at once, so a test of the web classes calls them as it goes:
//
//     engine.start("main", u"http://h/");
//     engine.respond("main", u"text/html");
//     engine.commit("main");
//     engine.finish("main");
//
// A test of something that waits in the run loop gives the words beforehand; they are spoken inside the run of the loop:
//
//     engine.onLoad = [](ScriptedEngine& engine, const NSURLRequest& request) {
//         engine.showPage("main", request.URL().absoluteString(), u"<p>");
//     };
//
// A document's own load has the document's name. Words about a frame act on its document under way, else on the one that it
// shows.
class ScriptedEngine final : public PageEngine {
public:
    using Step = std::function<void(ScriptedEngine& engine)>;
    static constexpr const char* main = "main";

    ScriptedEngine();
    ~ScriptedEngine() override;

    // What is said when the view asks for a load. Called inside a run of the run loop, once for each load. At first nothing is
    // said.
    std::function<void(ScriptedEngine& engine, const NSURLRequest& request)> onLoad;
    // What is said when loads are stopped; inside a run of the run loop. At first every load under way fails as cancelled.
    Step onStop;
    // Called first by the questions of the same name; what they throw, the question throws.
    std::function<void()> onDocuments;
    std::function<void(const ResourceID& resource)> onBody;
    // Told the deadline of each question, before anything else.
    std::function<void(std::chrono::steady_clock::time_point deadline)> onDeadline;

    // How large the document is, what printing gives and what a picture shows. At first the document is as large as the view,
    // prints are one empty page of the paper's size, and there is no picture.
    std::optional<NSSize> sizeOfDocument;
    std::function<NSData(const PrintSettings& settings)> onPrint;
    std::function<NSData()> onPicture;

    // How the engine shows itself to any server.
    WebVisitorIdentity identity;

    // What was asked.
    struct AskedLoad {
        NSURLRequest request;
        Settings settings;
    };
    [[nodiscard]] const std::vector<AskedLoad>& loads() const { return _loads; }
    [[nodiscard]] int stops() const { return _stops; }
    [[nodiscard]] int documentQuestions() const { return _documentQuestions; }
    [[nodiscard]] const std::vector<ResourceID>& bodyQuestions() const { return _bodyQuestions; }
    [[nodiscard]] const std::vector<PrintSettings>& prints() const { return _prints; }
    [[nodiscard]] NSSize viewSize() const { return _viewSize; }
    [[nodiscard]] int timesShownWhole() const { return _timesShownWhole; }
    [[nodiscard]] NSString mediaType() const { return _mediaType; }

    // Says something in the next run of the run loop, or when it has run for so long.
    void later(Step step);
    void after(double seconds, Step step);

    // Frames.
    void attachFrame(
        const FrameID& frame, const FrameID& parent = main, const NSString& name = {}, const NSString& element = u"iframe");
    void detachFrame(const FrameID& frame);
    void nameFrame(const FrameID& frame, const NSString& name);

    // Documents, step by step. The answers of policies that are given at once come back; nothing when there is none yet.
    [[nodiscard]] std::optional<PolicyAnswer> askNavigation(
        const FrameID& frame, const NSString& url, NavigationType type = NavigationType::Other);
    void start(const FrameID& frame, const NSString& url);
    void redirect(const FrameID& frame, const NSString& url, int status = 302);
    // When the answer is to ignore the response, the navigation ends without news.
    std::optional<PolicyAnswer> respond(const FrameID& frame, const NSString& type, const NSString& encoding = {});
    std::optional<PolicyAnswer> respond(const FrameID& frame, const NSURLResponse& response);
    void commit(const FrameID& frame);
    // The load of the document itself, and of all that it uses, is over.
    void finish(const FrameID& frame);
    // Fails the navigation, or the document that is shown when there is none.
    void fail(const FrameID& frame, const NSError& error);
    void fail(const FrameID& frame, int64_t code);   // of NSURLErrorDomain
    void title(const FrameID& frame, const NSString& title);
    void redirectByClient(const FrameID& frame, const NSString& url, double delay);
    void clearClientRedirect(const FrameID& frame);
    void refuseNewWindow(const NSString& url, const NSString& name = {});

    // A whole document: asked, started, answered, committed, and finished unless told otherwise. What its server sent is `markup`
    // in UTF-8; as it stands it is `markup` too. False when a policy ignored it.
    bool showPage(const FrameID& frame, const NSString& url, const NSString& markup, const NSString& type = u"text/html");
    bool openPage(const FrameID& frame, const NSString& url, const NSString& markup, const NSString& type = u"text/html");
    // A document that comes from nowhere, such as about:blank: started, committed and finished, without a load of its own.
    void showBlank(const FrameID& frame, const NSString& markup = u"<html><head></head><body></body></html>",
        const NSString& url = u"about:blank");
    // What a frame shows as it stands. Absent markup: it shows none.
    void setSnapshot(
        const FrameID& frame, const NSString& markup, const NSString& type = u"text/html", const NSString& encoding = {});

    // The answer to every further question for the documents, as it is.
    void setDocuments(std::vector<DocumentSnapshot> documents) { _fixedDocuments = std::move(documents); }

    // Resources, step by step; the name of a load is made up unless one is given.
    ResourceID request(const FrameID& frame, const NSString& url, const ResourceID& name = {}, const NSString& method = u"GET");
    void redirectResource(const ResourceID& resource, const NSString& url, int status = 302);
    void answer(const ResourceID& resource, const NSURLResponse& response);
    void receive(const ResourceID& resource, int64_t length);
    void finishResource(const ResourceID& resource, const NSData& body = {});
    void failResource(const ResourceID& resource, int64_t code);   // of NSURLErrorDomain
    // A whole resource.
    ResourceID loadResource(
        const FrameID& frame, const NSString& url, std::string_view body, const NSString& type = u"image/png", int status = 200);
    void refuseAuthentication(const ResourceID& resource);
    // The bytes that the question for a load's body gets; absent for none.
    void setBody(const ResourceID& resource, const NSData& body) { _bodies[resource] = body; }

    // Questions about requests, whether the view wants them or not. The answer comes back, nothing until there is one.
    using Answer = std::shared_ptr<const std::optional<RequestAnswer>>;
    [[nodiscard]] bool areRequestsOffered() const { return _offersRequests; }
    // About the request of the document under way in the frame, or where a redirect led it.
    [[nodiscard]] Answer offerDocument(const FrameID& frame, const NSURLResponse& redirectResponse = {});
    // About the request of a resource, whose name is made up unless one is given. A frame may be unknown.
    [[nodiscard]] Answer offer(
        const FrameID& frame, const NSString& url, const ResourceID& name = {}, const NSURLResponse& redirectResponse = {});

    // Faults.
    void failDocuments();                        // every question for the documents
    void failBody(const ResourceID& resource);   // every question for this body
    void failEngine(const NSError& error);       // the engine is gone: it says so, and answers no question any more

    // The name of the document under way in the frame, else of the one that it shows; empty when there is none.
    [[nodiscard]] DocumentID document(const FrameID& frame) const;
    // Who is told; for news that no word fits. Null before the view is there.
    [[nodiscard]] PageEngineClient* client() const { return _client; }
    // Set to true when the engine ends.
    void reportEndTo(bool* ended) { _ended = ended; }

    // PageEngine
    void setClient(PageEngineClient* client) override { _client = client; }
    [[nodiscard]] FrameID mainFrame() const override { return main; }
    void setRequestsOffered(bool offered) override { _offersRequests = offered; }
    void load(const NSURLRequest& request, const Settings& settings) override;
    void stop() override;
    [[nodiscard]] std::vector<DocumentSnapshot> documents(std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSData body(const ResourceID& resource, std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] WebVisitorIdentity identityForURL(const NSURL&, std::chrono::steady_clock::time_point) override
    {
        return identity;
    }
    [[nodiscard]] NSString frameElement(const FrameID& frame, std::chrono::steady_clock::time_point deadline) override;
    void setViewSize(NSSize size) override { _viewSize = size; }
    void setMediaType(const NSString& mediaType) override { _mediaType = mediaType; }
    [[nodiscard]] NSSize documentSize(std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSSize showWhole(std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSData print(const PrintSettings& settings, std::chrono::steady_clock::time_point deadline) override;
    [[nodiscard]] NSData picture(std::chrono::steady_clock::time_point deadline) override;

private:
    struct Document {
        DocumentID name;
        NSURL url;
        NSURLResponse response;
        bool hasLoad = true;
        bool isFinished = false;
    };
    struct Frame {
        FrameID parent;
        NSString element;
        std::optional<Document> provisional;
        std::optional<Document> shown;
        DocumentSnapshot snapshot;
        bool hasSnapshot = false;
    };
    struct Resource {
        NSURL url;
    };
    Frame& frame(const FrameID& name);
    Document& current(const FrameID& name);
    Answer ask(const OfferedRequest& offered);
    void appendDocuments(const FrameID& frame, std::vector<DocumentSnapshot>& documents) const;
    void beginAnswer(std::chrono::steady_clock::time_point deadline) const;

    PageEngineClient* _client = nullptr;
    std::map<FrameID, Frame> _frames;
    std::vector<FrameID> _order;
    std::map<ResourceID, Resource> _resources;
    std::map<ResourceID, NSData> _bodies;
    std::optional<std::vector<DocumentSnapshot>> _fixedDocuments;
    std::vector<AskedLoad> _loads;
    bool _offersRequests = false;
    int _stops = 0;
    int _documentQuestions = 0;
    std::vector<ResourceID> _bodyQuestions;
    std::vector<PrintSettings> _prints;
    NSSize _viewSize;
    int _timesShownWhole = 0;
    NSString _mediaType;
    int _names = 0;
    bool _isGone = false;
    bool* _ended = nullptr;
    std::vector<NSTimer> _timers;
    std::shared_ptr<bool> _life = std::make_shared<bool>(true);   // steps that come later look whether it is still there
};

// A response to a request for `url`.
[[nodiscard]] NSURLResponse response(const NSString& url, const NSString& type, const NSString& encoding = {}, int status = 200);
[[nodiscard]] NSURLRequest requestFor(const NSString& url);
// A PDF of so many empty pages.
[[nodiscard]] NSData emptyPDF(NSSize pageSize, int pageCount = 1);

}
