// The program on a private desktop, from its start to the tap and the sound being ready.
// Budget: 200 ms.

#include "bench/Samples.h"
#include "bench/SoundStreams.h"
#include "tests/desktop/MorvelProcess.h"
#include "tests/support/PulseServer.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/XServer.h"

#include <benchmark/benchmark.h>

namespace morvel {
namespace {

void StartToTapAndSound(benchmark::State& state) {
    const TemporaryFolder folder;
    const test::XServer x;
    test::PulseServer sound(folder.path() / "sound");
    sound.start();
    bench::SoundStreams streams(sound.address());
    bench::Samples millis;
    for (auto _ : state) {
        const auto start = bench::Time::now();
        test::MorvelProcess morvel(folder.path().string(),
                                   {"DISPLAY=" + x.display(), "PULSE_SERVER=" + sound.address()});
        if (!morvel.awaitLine("event tap installed") ||
            !streams.awaitRunning(morvel.process().pid())) {
            state.SkipWithError("Morvel did not start");
            break;
        }
        const double seconds = bench::secondsSince(start);
        state.SetIterationTime(seconds);
        millis.add(seconds / bench::milliseconds);
    }
    millis.report(state);
}
BENCHMARK(StartToTapAndSound)->UseManualTime()->Iterations(20);

} // namespace
} // namespace morvel
