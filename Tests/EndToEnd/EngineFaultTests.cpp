#include "EndToEnd/CaptureTest.h"

#include <csignal>
#include <fstream>
#include <sys/stat.h>

using namespace std::chrono_literals;
using namespace support;

namespace {

constexpr const char* toolDomain = "com.brackenlow.tarnwick.webtool";
// The longest time between a fault of the engine and the end of the tool, in seconds.
constexpr double patience = 5;
// What a busy machine may add to it.
constexpr double slack = 4;

// The descendants whose command line holds `part`.
std::vector<pid_t> descendantsWith(pid_t process, const std::string& part)
{
    std::vector<pid_t> found = descendantsOf(process);
    std::erase_if(found, [&](pid_t candidate) { return commandLineOf(candidate).find(part) == std::string::npos; });
    return found;
}

// The engine's own first process: the headless shell that is no helper of another one.
std::vector<pid_t> engineProcesses(pid_t tool)
{
    std::vector<pid_t> found = descendantsWith(tool, "headless");
    std::erase_if(found, [](pid_t candidate) {
        const std::string line = commandLineOf(candidate);
        return line.find("--type=") != std::string::npos || line.find("--remote-debugging-pipe") == std::string::npos;
    });
    return found;
}

class EngineFault : public CaptureTest {
protected:
    EngineFault() { server.on("/page.html", html("<!DOCTYPE html><title>t</title><p>text")); }

    // An error of the tool's own, which says in words what is wrong.
    void expectEngineError(const Captured& captured)
    {
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(captured.record.url, url("/page.html"));
        EXPECT_FALSE(captured.record.errorString.value_or("").empty());
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_EQ(error.domain, toolDomain);
        EXPECT_NE(error.code, 1);
        EXPECT_NE(error.value("NSLocalizedRecoverySuggestion").value_or("").find("chromium-headless-shell"), std::string::npos)
            << error.value("NSLocalizedRecoverySuggestion").value_or("(no suggestion)");
    }

    // A capture that hangs in the middle of its load, with the page shown and one picture missing.
    std::unique_ptr<Subprocess> startHangingLoad()
    {
        server.on("/half.html", html("<!DOCTYPE html><title>half</title><p>text<img src=never.png>"));
        server.hold("/never.png");
        auto process = start(url("/half.html"));
        EXPECT_TRUE(server.waitForRequests("/never.png"));
        return process;
    }

    // The tool ends soon after the fault, with an error of this domain that says in words what happened.
    void expectEndOf(Subprocess& process, const std::string& domain)
    {
        const auto fault = std::chrono::steady_clock::now();
        const Captured captured = finish(process);
        EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - fault).count(), patience + slack);
        EXPECT_EQ(captured.record.keys, (std::vector<std::string>{"succeeded", "errorData", "errorString", "url"}));
        EXPECT_EQ(captured.record.url, url("/half.html"));
        const ArchivedError error = readArchivedError(captured.record.errorData.value_or(""));
        EXPECT_EQ(error.domain, domain);
        if (domain == toolDomain) {
            EXPECT_FALSE(error.value("NSLocalizedRecoverySuggestion").value_or("").empty());
        } else {
            EXPECT_EQ(error.code, -1);
            EXPECT_FALSE(error.value("NSLocalizedFailureReason").value_or("").empty());
        }
        EXPECT_EQ(namesIn(outputFolder()), std::vector<std::string>());
    }
};

TEST_F(EngineFault, IsNamedWhenTheConfiguredEngineIsMissing)
{
    settings["WebToolEnginePath"] = folder.pathOf("no such engine");
    const Captured captured = capture(url("/page.html"));
    expectEngineError(captured);
    EXPECT_LT(captured.seconds(), patience + slack);
}

TEST_F(EngineFault, IsNamedWhenNoEngineIsOnThePath)
{
    environment["PATH"] = folder.makeFolder("nothing on the path");
    const Captured captured = capture(url("/page.html"));
    expectEngineError(captured);
    EXPECT_LT(captured.seconds(), patience + slack);
}

TEST_F(EngineFault, IsNamedWhenTheEngineMayNotBeExecuted)
{
    settings["WebToolEnginePath"] = folder.write("a text", "no program");
    expectEngineError(capture(url("/page.html")));
    settings["WebToolEnginePath"] = folder.makeFolder("a folder");
    expectEngineError(capture(url("/page.html")));
    settings["WebToolEnginePath"] = folder.writeProgram("not a program",
        "\x7f"
        "ELF but broken");
    expectEngineError(capture(url("/page.html")));
}

TEST_F(EngineFault, IsNamedWhenTheEngineEndsAtOnce)
{
    for (const char* text : {"exit 0\n", "exit 1\n", "kill -9 $$\n", "echo broken >&2; exit 127\n", "exec 3<&- 4>&-; exit 0\n"}) {
        SCOPED_TRACE(text);
        writeEngine(text);
        const Captured captured = capture(url("/page.html"));
        expectEngineError(captured);
        EXPECT_LT(captured.seconds(), patience + slack);
    }
}

TEST_F(EngineFault, IsNamedWhenTheEngineNeverAnswers)
{
    // One that sleeps, one that closed its pipes and sleeps, one that reads everything and says nothing.
    for (const char* text : {"exec sleep 1000\n", "exec 3<&- 4>&-; exec sleep 1000\n", "exec cat <&3 >/dev/null 4>&-\n",
             "trap '' TERM INT HUP\nwhile :; do sleep 1000; done\n"}) {
        SCOPED_TRACE(text);
        writeEngine(text);
        const Captured captured = capture(url("/page.html"));
        expectEngineError(captured);
        EXPECT_LT(captured.seconds(), patience + slack);
    }
}

TEST_F(EngineFault, IsNamedWhenTheEngineTalksNonsense)
{
    for (const char* text : {"printf 'garbage\\0' >&4; exec sleep 1000\n", "printf '{\"id\":1\\0' >&4; exec sleep 1000\n",
             "printf '[]\\0{}\\0null\\0{\"id\":999,\"result\":{}}\\0' >&4; exec sleep 1000\n", "exec cat <&3 >&4\n",
             "head -c 1000000 /dev/zero >&4; exec sleep 1000\n"}) {
        SCOPED_TRACE(text);
        writeEngine(text);
        const Captured captured = capture(url("/page.html"));
        expectEngineError(captured);
        EXPECT_LT(captured.seconds(), patience + slack);
    }
}

TEST_F(EngineFault, IsNamedWhenTheEngineNeverBeginsToLoad)
{
    // It answers whatever it is told, and shows that it has a page, but loads nothing.
    const std::string idler = folder.write("idler.py", R"(import json, os
rest = b""
while True:
    data = os.read(3, 65536)
    if not data:
        break
    *messages, rest = (rest + data).split(b"\0")
    for command in map(json.loads, messages):
        answers = []
        if command["method"] == "Target.setAutoAttach" and "sessionId" not in command:
            answers.append({"method": "Target.attachedToTarget", "params": {"sessionId": "S",
                "targetInfo": {"targetId": "T", "type": "page"}, "waitingForDebugger": False}})
        if command["method"] != "Page.navigate":
            answers.append({"id": command["id"], "result": {}, **({"sessionId": command["sessionId"]} if "sessionId" in command else {})})
        for answer in answers:
            os.write(4, json.dumps(answer).encode() + b"\0")
)");
    writeEngine("exec python3 '" + idler + "'\n");
    const Captured captured = capture(url("/page.html"));
    expectEngineError(captured);
    EXPECT_LT(captured.seconds(), 10 + patience + slack);
}

TEST_F(EngineFault, EndsTheCaptureWhenTheEngineIsKilledWhileItLoads)
{
    const auto process = startHangingLoad();
    const std::vector<pid_t> engines = engineProcesses(process->processIdentifier());
    ASSERT_FALSE(engines.empty());
    for (const pid_t engine : engines)
        kill(engine, SIGKILL);
    expectEndOf(*process, "NSURLErrorDomain");
}

TEST_F(EngineFault, EndsTheCaptureWhenThePagesProcessIsKilledWhileItLoads)
{
    const auto process = startHangingLoad();
    const std::vector<pid_t> renderers = descendantsWith(process->processIdentifier(), "--type=renderer");
    ASSERT_FALSE(renderers.empty());
    for (const pid_t renderer : renderers)
        kill(renderer, SIGKILL);
    expectEndOf(*process, "NSURLErrorDomain");
}

TEST_F(EngineFault, EndsTheCaptureWhenThePagesProcessIsKilledInTheGracePeriod)
{
    settings["WebToolExtraLoadingTime"] = int64_t(30);
    settings["LogWebTool"] = true;
    server.on("/half.html", html("<!DOCTYPE html><title>whole</title><p>text"));
    const auto process = start(url("/half.html"));
    ASSERT_TRUE(process->waitForError("Extra wait in loop for WebView to finish loading: ", 20s));
    for (const pid_t renderer : descendantsWith(process->processIdentifier(), "--type=renderer"))
        kill(renderer, SIGKILL);
    expectEndOf(*process, "NSURLErrorDomain");
}

// Takes more memory than a page's process is given here.
const std::string glutton = "<script>const taken = []; for (;;) taken.push(new Array(1e5).fill(taken.length + 0.5))</script>";

TEST_F(EngineFault, EndsTheCaptureOfAPageThatTakesTooMuchMemory)
{
    writeEngine("exec chromium-headless-shell --js-flags=--max-old-space-size=30 \"$@\"\n");
    server.on("/half.html", html("<!DOCTYPE html><title>too much</title>" + glutton));
    const auto process = start(url("/half.html"));
    ASSERT_TRUE(server.waitForRequests("/half.html"));
    expectEndOf(*process, "NSURLErrorDomain");
}

TEST_F(EngineFault, IsNoneForThePageWhenTheProcessOfAFrameEnds)
{
    // Another site's frame has a process of its own.
    writeEngine("exec chromium-headless-shell --site-per-process --js-flags=--max-old-space-size=30 \"$@\"\n");
    server.on("/glutton.html", html("<title>f</title>" + glutton));
    server.on("/page.html",
        html("<!DOCTYPE html><title>t</title><p>text<iframe src='" + server.url("/glutton.html", "localhost") + "'></iframe>"));
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "t");
    EXPECT_NE(captured.page().find("<p>text"), std::string::npos);
    EXPECT_LT(captured.seconds(), 2 * patience + slack);
}

TEST_F(EngineFault, EndsTheCaptureWhenTheEngineHangsWhileItLoads)
{
    const auto process = startHangingLoad();
    const std::vector<pid_t> engines = engineProcesses(process->processIdentifier());
    ASSERT_FALSE(engines.empty());
    for (const pid_t engine : engines)
        kill(engine, SIGSTOP);
    expectEndOf(*process, toolDomain);
}

TEST_F(EngineFault, IsNoneWhenTheEngineIsWrappedAndTalkative)
{
    // A full pipe would stop an engine whose output nobody reads.
    const std::string mark = openFolder() + "/mark";
    writeEngine(
        "touch '" + mark + "'\nhead -c 3000000 /dev/zero\nhead -c 3000000 /dev/zero >&2\nexec chromium-headless-shell \"$@\"\n");
    expectArchive(capture(url("/page.html")));
    EXPECT_TRUE(std::filesystem::exists(mark));
}

TEST_F(EngineFault, IsNoneWhenTheEngineIsOneOfTheOtherCommands)
{
    // Only the last name that is looked for is there.
    const std::string bin = folder.makeFolder("bin");
    (void)folder.writeProgram("bin/chromium-browser", "#!/bin/sh\nPATH=/usr/bin:/bin exec chromium-headless-shell \"$@\"\n");
    environment["PATH"] = bin;
    expectArchive(capture(url("/page.html")));
}

TEST_F(EngineFault, IsNoneWhenTheEngineCrashesOnceWhileItStarts)
{
    const std::string starts = openFolder() + "/starts";
    settings["WebToolEnginePath"] = folder.writeProgram("crashing",
        "#!/bin/sh\necho start >>'" + starts + "'\n[ $(wc -l <'" + starts
            + "') = 1 ] && kill -SEGV $$\nexec chromium-headless-shell \"$@\"\n");
    expectArchive(capture(url("/page.html")));
    EXPECT_EQ(readFile(starts), "start\nstart\n");
}

TEST_F(EngineFault, IsNoneWhenTheEngineIsBusyForLongBeforeItAnswers)
{
    writeEngine("python3 -c 'import time\nwhile time.process_time() < 6: pass'\nexec chromium-headless-shell \"$@\"\n");
    expectArchive(capture(url("/page.html")));
}

// What the engine may and may not do while it runs.
class EngineProcess : public EngineFault { };

TEST_F(EngineProcess, OpensNoPort)
{
    const auto process = startHangingLoad();
    // Listening sockets, by inode: "sl local_address rem_address st ... inode", state 0A.
    std::set<std::string> listening;
    for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::ifstream stream(table);
        std::string line;
        std::getline(stream, line);
        while (std::getline(stream, line)) {
            std::istringstream fields(line);
            std::vector<std::string> columns{std::istream_iterator<std::string>(fields), {}};
            if (columns.size() > 9 && columns[3] == "0A")
                listening.insert("socket:[" + columns[9] + "]");
        }
    }
    // The server's own are among them, so the table is read as it should be.
    EXPECT_FALSE(listening.empty());
    std::vector<pid_t> processes = descendantsOf(process->processIdentifier());
    EXPECT_GE(processes.size(), 2U);
    processes.push_back(process->processIdentifier());
    for (const pid_t candidate : processes) {
        std::error_code failure;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(candidate) + "/fd", failure)) {
            const std::string target = std::filesystem::read_symlink(entry.path(), failure);
            EXPECT_FALSE(listening.contains(target)) << commandLineOf(candidate);
        }
    }
    server.release("/never.png");
    expectArchive(finish(*process));
}

TEST_F(EngineProcess, KeepsItsFilesInAPrivateFolder)
{
    const auto process = startHangingLoad();
    const std::vector<std::string> names = namesIn(temporaryFolder());
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) {
        struct stat status { };
        ASSERT_EQ(lstat((temporaryFolder() + "/" + name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 077, 0U) << name;
    }
    server.release("/never.png");
    expectArchive(finish(*process));
}

// A field of a process's status, such as "Uid"; empty when it has ended.
std::string statusField(pid_t process, const std::string& name)
{
    std::ifstream stream("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with(name + ":\t"))
            return line.substr(name.size() + 2);
    }
    return {};
}

TEST_F(EngineProcess, KeepsItsSandboxAndHasNoRights)
{
    settings["LogWebTool"] = true;
    const auto process = startHangingLoad();
    const std::vector<pid_t> engines = engineProcesses(process->processIdentifier());
    ASSERT_FALSE(engines.empty());   // the command and, where that is a script, the engine under it
    const bool withoutSandbox = commandLineOf(engines[0]).find("--no-sandbox") != std::string::npos;
    const std::vector<pid_t> renderers = descendantsWith(process->processIdentifier(), "--type=renderer");
    ASSERT_FALSE(renderers.empty());
    for (const pid_t each : withoutSandbox ? std::vector<pid_t>() : renderers) {
        EXPECT_EQ(statusField(each, "Seccomp"), "2") << commandLineOf(each);
        EXPECT_EQ(statusField(each, "CapEff"), "0000000000000000") << commandLineOf(each);
        EXPECT_FALSE(statusField(each, "Uid").starts_with("0\t")) << commandLineOf(each);
    }
    server.release("/never.png");
    const Captured captured = finish(*process);
    expectArchive(captured);
    // Where the system offers none, that is said once.
    EXPECT_EQ(captured.logCount("runs without its sandbox"), withoutSandbox ? 1U : 0U) << captured.process.error;
    // Users can be asked to make user namespaces here exactly when the engine has its sandbox.
    const bool isPossible = geteuid() != 0
        || run({{"/usr/bin/setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups", "/usr/bin/unshare", "-U",
                    "/bin/true"},
                   {}, "/"})
                .exitStatus
            == 0;
    EXPECT_EQ(withoutSandbox, !isPossible);
}

TEST_F(EngineProcess, OfTheSuperuserReadsLocalFilesThatOnlyTheSuperuserMayRead)
{
    const std::string path = folder.write("private/page.html", "<!DOCTYPE html><title>private</title><p>text");
    ASSERT_EQ(chmod(folder.pathOf("private").c_str(), 0700), 0);
    settings["LogWebTool"] = true;
    const Captured captured = capture("file://" + path);
    expectArchive(captured);
    EXPECT_EQ(captured.record.title, "private");
    EXPECT_EQ(captured.logCount("because it is started by the superuser to read local files"), geteuid() == 0 ? 1U : 0U);
}

TEST_F(EngineProcess, RunsAsTheSuperuserWhereOthersCannotStartIt)
{
    settings["LogWebTool"] = true;
    (void)folder.writeProgram("closed/engine", "#!/bin/sh\nexec chromium-headless-shell \"$@\"\n");
    ASSERT_EQ(chmod(folder.pathOf("closed").c_str(), 0700), 0);
    settings["WebToolEnginePath"] = folder.pathOf("closed/engine");
    const Captured captured = capture(url("/page.html"));
    expectArchive(captured);
    EXPECT_EQ(captured.logCount("and the engine's command is closed to other users"), geteuid() == 0 ? 1U : 0U)
        << captured.process.error;
}

}
