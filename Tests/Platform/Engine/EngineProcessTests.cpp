#include "Platform/Engine/DevTools/EngineProcess.h"
#include "Platform/Engine/EngineLocation.h"
#include "Platform/Engine/PageEngineErrors.h"
#include "Platform/Foundation/Value.h"
#include "Support/EnvironmentVariable.h"
#include "Support/TemporaryFolder.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

// Engines here are shell programs: what is tested is what stands around an engine.
class EngineProcessTest : public testing::Test {
protected:
    std::unique_ptr<EngineProcess> start(std::string_view program)
    {
        NSError error;
        auto process = EngineProcess::start({folder.writeProgram("engine", program), {"--flag"}}, &error);
        EXPECT_FALSE(error) << error.localizedDescription().UTF8();
        return process;
    }
    // What the program writes to its message descriptor, up to the end of a line.
    static std::string lineFrom(const EngineProcess& process)
    {
        std::string line;
        for (;;) {
            pollfd news = {process.messageDescriptor(), POLLIN, 0};
            char byte;
            if (poll(&news, 1, 10'000) <= 0 || read(process.messageDescriptor(), &byte, 1) != 1 || byte == '\n')
                return line;
            line += byte;
        }
    }
    static bool isRunning(int process) { return kill(process, 0) == 0; }

    support::TemporaryFolder folder;
    support::EnvironmentVariable temporary{"TMPDIR", folder.makeFolder("tmp").c_str()};
};

}

TEST_F(EngineProcessTest, SpeaksOverDescriptorsThreeAndFour)
{
    const auto process = start("#!/bin/sh\nread line <&3\necho \"heard $line\" >&4\nexec sleep 60\n");
    ASSERT_EQ(write(process->commandDescriptor(), "hello\n", 6), 6);
    EXPECT_EQ(lineFrom(*process), "heard hello");
}

TEST_F(EngineProcessTest, GivesAPrivateFolderThatIsGoneAfterwards)
{
    auto process = start("#!/bin/sh\nfor a; do case $a in --user-data-dir=*) echo \"${a#*=}\" >&4;; esac; done\nexec sleep 60\n");
    const std::string profile = lineFrom(*process);
    ASSERT_TRUE(std::filesystem::is_directory(profile)) << profile;
    EXPECT_EQ(std::filesystem::status(profile).permissions(), std::filesystem::perms::owner_all);
    std::filesystem::create_directories(profile + "/deep/er");
    process.reset();
    EXPECT_FALSE(std::filesystem::exists(profile));
    EXPECT_TRUE(support::namesIn(folder.pathOf("tmp")).empty());
}

TEST_F(EngineProcessTest, EndsWithEverythingThatItStarted)
{
    auto process = start("#!/bin/sh\nsleep 61 &\nchild=$!\nsetsid sleep 62 &\necho \"$$ $child $!\" >&4\nexec sleep 60\n");
    int engine = 0, child = 0, stray = 0;
    ASSERT_EQ(sscanf(lineFrom(*process).c_str(), "%d %d %d", &engine, &child, &stray), 3);
    EXPECT_TRUE(isRunning(engine) && isRunning(child) && isRunning(stray));
    process.reset();
    EXPECT_FALSE(isRunning(engine));
    EXPECT_FALSE(isRunning(child));
    EXPECT_FALSE(isRunning(stray)) << "also what left the engine's process group";
}

TEST_F(EngineProcessTest, TellsHowItEnded)
{
    EXPECT_EQ(*start("#!/bin/sh\nexit 3\n")->exitDescription(10'000), NSString(u"The engine process ended with status 3."));
    EXPECT_EQ(*start("#!/bin/sh\nkill -9 $$\n")->exitDescription(10'000),
        NSString(u"The engine process was ended by signal 9 (Killed)."));
    EXPECT_FALSE(start("#!/bin/sh\nexec sleep 60\n")->exitDescription(0));
}

TEST_F(EngineProcessTest, ClosesTheMessagePipeWhenItEnds)
{
    const auto process = start("#!/bin/sh\nexit 0\n");
    pollfd news = {process->messageDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&news, 1, 10'000), 1);
    char byte;
    EXPECT_EQ(read(process->messageDescriptor(), &byte, 1), 0);
}

TEST_F(EngineProcessTest, GetsNoSecretOfTheEnvironment)
{
    const support::EnvironmentVariable secret("A_SECRET_TOKEN", "hidden");
    const auto process = start("#!/bin/sh\necho \"[$A_SECRET_TOKEN] [${PATH:+path}]\" >&4\nexec sleep 60\n");
    EXPECT_EQ(lineFrom(*process), "[] [path]");
}

TEST_F(EngineProcessTest, IsAnErrorWithoutAPlaceForItsFolder)
{
    const support::EnvironmentVariable nowhere("TMPDIR", folder.pathOf("missing").c_str());
    NSError error;
    EXPECT_EQ(EngineProcess::start({"/bin/true", {}}, &error), nullptr);
    EXPECT_TRUE(error);
    EXPECT_NE(error.localizedDescription().UTF8().find("missing"), std::string::npos);
}

TEST_F(EngineProcessTest, LeavesNothingWhenItsOwnerIsKilled)
{
    const std::string program = folder.writeProgram("engine",
        "#!/bin/sh\nfor a; do case $a in --user-data-dir=*) echo \"$$ ${a#*=}\" > '" + folder.pathOf("facts")
            + ".part';; esac; done\nmv '" + folder.pathOf("facts") + ".part' '" + folder.pathOf("facts") + "'\nexec sleep 60\n");
    const pid_t owner = fork();
    if (owner == 0) {
        const auto process = EngineProcess::start({program, {}}, nullptr);
        for (;;)
            pause();
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto waitUntil = [&](const auto& condition) {
        while (!condition() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return condition();
    };
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(folder.pathOf("facts")); }));
    int engine = 0;
    char profile[4096] = {};
    ASSERT_EQ(sscanf(support::readFile(folder.pathOf("facts")).c_str(), "%d %4095s", &engine, profile), 2);
    kill(owner, SIGKILL);
    waitpid(owner, nullptr, 0);
    EXPECT_TRUE(waitUntil([&] { return !isRunning(engine) && !std::filesystem::exists(profile); }));
}

TEST(EngineExecutable, IsTheConfiguredOneOrTheFirstOnTheSearchPath)
{
    const support::TemporaryFolder folder;
    const std::string second = folder.writeProgram("bin/chromium", "#!/bin/sh\n");
    const support::EnvironmentVariable path("PATH", folder.pathOf("bin").c_str());
    EXPECT_EQ(engineExecutable({}, nullptr), second);
    const std::string first = folder.writeProgram("bin/chromium-headless-shell", "#!/bin/sh\n");
    EXPECT_EQ(engineExecutable({}, nullptr), first);
    EXPECT_EQ(engineExecutable(u"", nullptr), first) << "an empty setting is none";
    EXPECT_EQ(engineExecutable(NSString::stringWithRepairedUTF8(second), nullptr), second);
    EXPECT_EQ(engineExecutable(u"chromium", nullptr), second);
}

TEST(EngineExecutable, ThatIsMissingIsAnErrorWithASuggestion)
{
    const support::TemporaryFolder folder;
    const support::EnvironmentVariable path("PATH", folder.pathOf("empty").c_str());
    for (const NSString& configured :
        {NSString(), NSString(u"/no/such/engine"), NSString::stringWithRepairedUTF8(folder.path().string())}) {
        NSError error;
        EXPECT_EQ(engineExecutable(configured, &error), "");
        EXPECT_EQ(error.domain(), EngineErrorDomain);
        EXPECT_EQ(error.code(), EngineErrorNotFound);
        EXPECT_TRUE(error.localizedRecoverySuggestion().rangeOfString(u"chromium-headless-shell").length > 0);
    }
}
