#include "Replay/ReplayTest.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace std::chrono_literals;
using namespace support;

namespace {

// Counts who connects, or sends anything, to a port of its own on loopback. Nobody is answered.
class Doorbell {
public:
    explicit Doorbell(int kind)
        : _socket(::socket(AF_INET, kind | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)), _isStream(kind == SOCK_STREAM)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(_socket, reinterpret_cast<sockaddr*>(&address), length) != 0 || (_isStream && ::listen(_socket, 1000) != 0)
            || ::getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            throw std::runtime_error("no port");
        _port = ntohs(address.sin_port);
    }
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;
    ~Doorbell() { ::close(_socket); }

    [[nodiscard]] std::string authority() const { return "127.0.0.1:" + std::to_string(_port); }
    // What came since the last call.
    [[nodiscard]] size_t count() const
    {
        size_t rings = 0;
        for (;; ++rings) {
            char byte;
            const int caller = _isStream ? ::accept(_socket, nullptr, nullptr) : static_cast<int>(::recv(_socket, &byte, 1, 0));
            if (caller < 0)
                return rings;
            if (_isStream)
                ::close(caller);
        }
    }

private:
    int _socket;
    bool _isStream;
    int _port = 0;
};

// A page that tries every way out that it knows, to `authority`; its title says when all of them have been tried.
std::string restlessPage(const std::string& authority, const std::string& datagrams = "127.0.0.1:9")
{
    const std::string http = "http://" + authority;
    return "<!DOCTYPE html><title>t</title><link rel=preconnect href='" + http
        + "'><link rel=dns-prefetch href='//asked.example'>"
          "<link rel=stylesheet href='"
        + http + "/a.css'><link rel=prefetch href='" + http + "/next.html'><link rel=icon href='" + http
        + "/i.ico'><link rel=manifest href='" + http + "/m.json'><style>@font-face{font-family:x;src:url(" + http
        + "/f.ttf)}p{font-family:x;background:url(" + http + "/b.png)}</style><p>text<img src='" + http
        + "/a.png'><img src='http://asked.example/a.png'><iframe src='" + http + "/f.html'></iframe><iframe src='http://"
        + authority + "/g.html'></iframe><object data='" + http + "/o.svg'></object><video src='" + http
        + "/v.mp4'></video><script src='" + http + "/a.js'></script><script>const http='" + http
        + "';for (const work of [() => fetch(http+'/f.txt').catch(() => 0), () => fetch('http://asked.example/').catch(() => 0),"
          "() => navigator.sendBeacon(http+'/beacon', 'x'), () => new EventSource(http+'/es'), () => new WebSocket('ws://"
        + authority
        + "/'), () => new Worker(http+'/w.js'), () => new Worker('worker.js'), () => new SharedWorker('shared.js'),"
          "() => navigator.serviceWorker.register('sw.js').catch(() => 0), () => { const x = new XMLHttpRequest();"
          "x.open('GET', http+'/x', false); x.send() }, () => import(http+'/m.js').catch(() => 0), () => new Image().src = "
          "http+'/late.png',"
          "() => { const p = new RTCPeerConnection({iceServers:[{urls:'stun:"
        + datagrams
        + "'}]}); p.createDataChannel('x'); p.createOffer().then(o => p.setLocalDescription(o)) }]) { try { work() } catch (e) "
          "{} }"
          "onload = () => setTimeout(() => document.title = 'tried', 200)</script>";
}

// What the page's workers try, which the archive has.
std::string workersOf(const std::string& site, const std::string& authority)
{
    const std::string script = "fetch('http://" + authority + "/from-worker').catch(() => 0); try { new WebSocket('ws://"
        + authority + "/') } catch (e) {}";
    std::string resources;
    for (const char* name : {"worker.js", "shared.js", "sw.js"})
        resources += resourceXML(site + name, script, "text/javascript");
    return resources;
}

class OfflineReplay : public ReplayTest {
protected:
    OfflineReplay() { settings["WebToolExtraLoadingTime"] = int64_t(1); }
    [[nodiscard]] std::string restlessArchive(const std::string& authority, const std::string& datagrams = "127.0.0.1:9") const
    {
        const std::string site = "https://site.example/";
        std::string markup = restlessPage(authority, datagrams);
        return writeArchive(
            propertyListXML(archiveXML(resourceXML(site, markup, "text/html", "UTF-8"), workersOf(site, authority))));
    }
};

TEST_F(OfflineReplay, ConnectsNowhereWhateverThePageTries)
{
    const Doorbell connections(SOCK_STREAM);
    const Doorbell datagrams(SOCK_DGRAM);
    const std::string archive = restlessArchive(connections.authority(), datagrams.authority());
    const std::string markup = folder.pathOf("page.html");
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--offline"}, {}, {"--no-workaround"}}) {
        std::vector<std::string> arguments = {archive, "--html", markup};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const Replayed replayed = replayWithArguments(arguments);
        EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
        EXPECT_EQ(connections.count(), 0U);
        EXPECT_EQ(datagrams.count(), 0U);
        EXPECT_NE(readFile(markup).find("<title>tried</title>"), std::string::npos)
            << "the page did not get as far as trying all";
        EXPECT_EQ(replayed.byNetwork, std::nullopt);
        EXPECT_GE(replayed.unanswered.value_or(0), 10U) << replayed.process.output;
    }
}

TEST_F(OfflineReplay, TellsTheAddressesThatNothingAnswered)
{
    const Doorbell connections(SOCK_STREAM);
    const std::string http = "http://" + connections.authority();
    const std::string archive = writeArchive(propertyListXML(archiveXML(
        resourceXML("http://site.example/dir/",
            "<!DOCTYPE html><title>t</title><img src=here.png><img src='" + http
                + "/gone.png'><img src=/other/here.png><script src='gone.js?x'></script><img src='" + http + "/gone.png'>",
            "text/html"),
        resourceXML("http://site.example/dir/here.png", pngImage(1, 2, 3), "image/png"))));
    const Replayed replayed = replayWithArguments({archive});
    EXPECT_EQ(replayed.process.exitStatus, 0) << replayed.process.error;
    EXPECT_EQ(replayed.byAddress, 2U);
    EXPECT_EQ(replayed.byFileName, 1U);
    EXPECT_GE(replayed.unanswered, 2U) << "an address may be asked for again after it failed";
    std::vector<std::string> unanswered = replayed.unansweredAddresses;
    std::sort(unanswered.begin(), unanswered.end());
    EXPECT_EQ(unanswered, (std::vector<std::string>{http + "/gone.png", "http://site.example/dir/gone.js?x"}));
    EXPECT_EQ(connections.count(), 0U);
}

// The same where the kernel sees to it, if it lets us: a network namespace whose only name server and port are the test's own.
class OfflineNamespace : public OfflineReplay {
protected:
    static std::vector<std::string> namespaces()
    {
        std::vector<std::string> words = {"unshare", "--net", "--mount"};
        if (::geteuid() != 0)
            words.insert(words.begin() + 1, "--map-root-user");
        return words;
    }
    static bool mayMakeNamespaces()
    {
        std::vector<std::string> words = namespaces();
        words.emplace_back("true");
        return run({.arguments = words, .environment = {{"PATH", "/usr/bin:/bin"}}, .workingFolder = {}}).exitStatus == 0;
    }
    // The last line of standard error.
    std::string countsOf(const std::vector<std::string>& options)
    {
        std::vector<std::string> words = namespaces();
        for (const char* word : {"python3", OFFLINE_SCRIPT, "4711", TWWEBREPLAY})
            words.emplace_back(word);
        words.push_back(restlessArchive("127.0.0.1:4711"));
        words.insert(words.end(), options.begin(), options.end());
        folder.write("config/com.brackenlow.Tarnwick.plist", preferencesFile(settings));
        ProcessOptions process = processOptions({});
        process.arguments = words;
        const ProcessOutcome outcome = run(process);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome.error;
        expectNothingLeft();
        const std::string& error = outcome.error;
        const size_t end = error.rfind(" connections\n");
        const size_t start = error.rfind('\n', end);
        return end == std::string::npos ? error : error.substr(start + 1, end - start - 1);
    }
};

TEST_F(OfflineNamespace, SeesNoQuestionForANameAndNoConnection)
{
    if (!mayMakeNamespaces()) {
        // Where the kernel lets nobody look, what a page reaches on loopback must do; see ConnectsNowhereWhateverThePageTries.
        const Doorbell connections(SOCK_STREAM);
        EXPECT_EQ(replayWithArguments({restlessArchive(connections.authority())}).process.exitStatus, 0);
        EXPECT_EQ(connections.count(), 0U);
        return;
    }
    EXPECT_EQ(countsOf({"--offline"}), "0 questions, 0");
    // The counters do count.
    const std::string online = countsOf({"--online"});
    EXPECT_FALSE(online.starts_with("0 ")) << online;
}

TEST_F(OfflineReplay, ShowsAPageOfASecureSiteThatIsNotThere)
{
    const std::string archive = writeArchive(propertyListXML(archiveXML(resourceXML(
        "https://secure.example/", "<!DOCTYPE html><title>t</title><body style='margin:0;background:#010203'>", "text/html"))));
    const Picture picture = replayedPicture(archive);
    EXPECT_EQ(picture.pixelAt(300, 300), 0x010203U);
}

}
