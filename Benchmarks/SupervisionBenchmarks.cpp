// What it costs that a capture is looked after: the guard beside the engine, the readiness to be ended by a signal, and the questions
// whether a silent engine lives. The times are processor times, those of the other processes included.

#include "Platform/Engine/DevTools/Connection.h"
#include "Platform/Engine/DevTools/EngineFlags.h"
#include "Platform/Engine/DevTools/EngineIsolation.h"
#include "Platform/Engine/DevTools/EngineProcess.h"
#include "Platform/Engine/EngineLocation.h"
#include "Tools/EndRequests.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char** environ;

namespace {

double secondsUsedBy(int who)
{
    rusage used{};
    getrusage(who, &used);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// Of this process and of those whose end it has waited for.
double secondsUsed()
{
    return secondsUsedBy(RUSAGE_SELF) + secondsUsedBy(RUSAGE_CHILDREN);
}

char emptyProgram[] = "/bin/true";

}

static void ProcessWithoutGuard(benchmark::State& state)
{
    for (auto _ : state) {
        const double before = secondsUsed();
        char* arguments[] = {emptyProgram, nullptr};
        pid_t process = 0;
        if (posix_spawn(&process, emptyProgram, nullptr, nullptr, arguments, environ) != 0
            || waitpid(process, nullptr, 0) != process)
            state.SkipWithError("no process");
        state.SetIterationTime(secondsUsed() - before);
    }
}
BENCHMARK(ProcessWithoutGuard)->UseManualTime()->Iterations(200)->Unit(benchmark::kMicrosecond);

// With the guard, the private folder and its removal.
static void ProcessWithGuard(benchmark::State& state)
{
    for (auto _ : state) {
        const double before = secondsUsed();
        NSError error;
        auto process = EngineProcess::start({emptyProgram, {}}, &error);
        if (!process || !process->exitDescription(5000))
            state.SkipWithError("no process");
        process.reset();
        state.SetIterationTime(secondsUsed() - before);
    }
}
BENCHMARK(ProcessWithGuard)->UseManualTime()->Iterations(200)->Unit(benchmark::kMicrosecond);

static void ReadinessForSignals(benchmark::State& state)
{
    for (auto _ : state) {
        const double before = secondsUsed();
        {
            EndRequests requests(u"http://host/");
            requests.setTimeLimit(60);
        }
        state.SetIterationTime(secondsUsed() - before);
    }
}
BENCHMARK(ReadinessForSignals)->UseManualTime()->Iterations(2000)->Unit(benchmark::kMicrosecond);

static void QuestionWhetherTheEngineLives(benchmark::State& state)
{
    EngineProcess::Options options;
    NSError error;
    options.executable = engineExecutable({}, &error);
    const EngineIsolation isolation = engineIsolation(options.executable, EngineProcess::temporaryFolder(), false);
    options.user = isolation.user;
    options.flags = engineFlags({612, 612}, !isolation.reasonForNoSandbox.isAbsent(), true);
    const auto process = EngineProcess::start(options, &error);
    if (!process) {
        state.SkipWithError("no engine");
        return;
    }
    Connection connection(process->commandDescriptor(), process->messageDescriptor());
    const auto ask = [&] {
        bool isAnswered = false;
        connection.send({}, "Browser.getVersion", "{}", [&](const Connection::Reply&) { isAnswered = true; });
        if (!connection.waitForReplies([&] { return isAnswered; }, std::chrono::steady_clock::now() + std::chrono::seconds(10)))
            state.SkipWithError("no answer");
    };
    // The engine gets itself ready meanwhile.
    for (int question = 0; question < 500; ++question)
        ask();
    const auto used = [&] { return secondsUsed() + std::chrono::duration<double>(process->processorTime()).count(); };
    // The engine's time is counted in hundredths of a second.
    constexpr int questions = 5000;
    for (auto _ : state) {
        const double before = used();
        for (int question = 0; question < questions; ++question)
            ask();
        state.SetIterationTime((used() - before) / questions);
    }
}
BENCHMARK(QuestionWhetherTheEngineLives)->UseManualTime()->Iterations(1)->Unit(benchmark::kMicrosecond);
