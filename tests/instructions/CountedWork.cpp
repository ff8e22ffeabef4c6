// The work whose instructions are counted, between requests to callgrind. Without valgrind around
// it, it is only done. Time and chance are the test's, and the varispeed's kernel is named, so that
// every machine counts the same.

#include "bench/KeyPath.h"
#include "bench/Mixer.h"
#include "platform/simulated/SeededRandom.h"

#include <valgrind/callgrind.h>

#include <vector>

namespace {

using namespace morvel;

constexpr int keys = 1000;
constexpr int blocks = 300;

template <typename Work>
void counted(const Work& work) {
    CALLGRIND_TOGGLE_COLLECT;
    work();
    CALLGRIND_TOGGLE_COLLECT;
}

void handleAndPlay() {
    VirtualTime clock;
    SeededRandom random(1);
    bench::KeyPath path(clock, random);
    path.output.render(blockFrames);
    for (unsigned number = 0; number < keys; ++number) {
        counted([&] { path.tap.send(bench::ordinaryKey(number)); });
        path.output.render(blockFrames);
    }
    CALLGRIND_DUMP_STATS_AT("handle");
    for (unsigned number = 0; number < keys; ++number) {
        counted([&] { path.audio.play(SoundCategory::alphaDown, 1, true); });
        path.output.render(blockFrames);
    }
    CALLGRIND_DUMP_STATS_AT("play");
}

void render(std::size_t voices, VarispeedKernel kernel) {
    bench::OwnMixer mixer(bench::noise(0.05F), std::span(bench::oddRates).first(voices), kernel);
    std::vector<float> out(stereoSamples(blockFrames));
    counted([&] {
        for (int i = 0; i < blocks; ++i)
            mixer.render(out.data(), blockFrames);
    });
}

} // namespace

int main() {
    CALLGRIND_START_INSTRUMENTATION;
    handleAndPlay();
    render(0, &interpolatePortably);
    CALLGRIND_DUMP_STATS_AT("render-silence");
    render(9, &interpolatePortably);
    CALLGRIND_DUMP_STATS_AT("render-portably");
    if (fastestVarispeedKernel() != &interpolatePortably) {
        render(9, nullptr);
        CALLGRIND_DUMP_STATS_AT("render-wide");
    }
}
