// What logging costs where it is switched off, and what describing an error costs.

#include "QVRError.h"
#include "QVRErrorDescription.h"
#include "QVRLogger.h"

#include <benchmark/benchmark.h>
#include <memory>

namespace {

const NSString LogBenchmark = u"LogBenchmark";

// A logger with the usual options, none of whose areas is on.
void setUpQuietLogger()
{
    QVRLogger::setSharedLogger(
        QVRLogger::initWithDefaultsDictionary({{u"LogOther", false}, {LogBenchmark, false}, {u"LogThird", true}}));
}

// An error with `entryCount` entries in its user info, and as many in the error under it, `levelCount` levels in all.
NSError errorWithLevels(int levelCount, int entryCount)
{
    NSError error;
    for (int level = 0; level < levelCount; ++level) {
        NSMutableDictionary userInfo = NSDictionary::dictionary();
        for (int entry = userInfo.count(); entry < entryCount - (error ? 1 : 0); ++entry)
            userInfo.setObject(
                NSString::stringWithFormat(u"value of entry %d", entry), NSString::stringWithFormat(u"QVRKey%02d", entry));
        if (error)
            userInfo.setObject(error, NSUnderlyingErrorKey);
        error = QVRError1(level, userInfo);
    }
    return error;
}

}

static void DisabledLogCall(benchmark::State& state)
{
    setUpQuietLogger();
    int number = 0;
    for (auto _ : state) {
        QVRLogger::logIfEnabled(LogBenchmark, u"Loaded %d of %d", ++number, 100);
        benchmark::ClobberMemory();
    }
    QVRLogger::setSharedLogger(nullptr);
}
BENCHMARK(DisabledLogCall)->ThreadRange(1, 2);

// The same question by the logger object: it takes the lock and a share of the logger.
static void DisabledLogCallBySharedLogger(benchmark::State& state)
{
    setUpQuietLogger();
    for (auto _ : state) {
        bool isEnabled = QVRLogger::sharedLogger()->isEnabledForArea(LogBenchmark);
        benchmark::DoNotOptimize(isEnabled);
    }
    QVRLogger::setSharedLogger(nullptr);
}
BENCHMARK(DisabledLogCallBySharedLogger);

static void FullDescriptionOfThreeLevels(benchmark::State& state)
{
    const NSError error = errorWithLevels(3, static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(qvrFullDescription(error));
}
BENCHMARK(FullDescriptionOfThreeLevels)->Arg(7)->Arg(20)->Unit(benchmark::kMicrosecond);
