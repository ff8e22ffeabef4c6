// How many times faster than real time the engine renders, beside OpenAL Soft's mixer doing the
// like in the same run, and what a key costs from the tap's callback to the command in the queue.
#include "audio/AudioEngine.h"
#include "audio/Renderer.h"
#include "platform/linux/SystemClock.h"
#include "platform/linux/SystemRandom.h"
#include "platform/simulated/OfflineAudioOutput.h"
#include "platform/simulated/SimulatedLog.h"
#include "platform/simulated/VirtualTime.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace morvel {
namespace {

constexpr std::uint32_t block = 128;
constexpr std::array<float, 9> oddRates = {0.943F, 0.957F, 0.971F, 0.987F, 1.013F,
                                           1.027F, 1.043F, 1.059F, 0.983F};

std::shared_ptr<const PcmBuffer> longSound(float amplitude) {
    auto buffer = std::make_shared<PcmBuffer>();
    std::mt19937 generator(7);
    for (auto& channel : buffer->channels) {
        channel.resize(44100);
        for (float& sample : channel)
            sample = amplitude * (static_cast<float>(generator()) / 2147483648.0F - 1.0F);
    }
    return buffer;
}

void reportSpeed(benchmark::State& state) {
    state.counters["xRealTime"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * block / 44100, benchmark::Counter::kIsRate);
}

// Eight voices that never run out, because each starts anew when it ends, and the loop.
void render(benchmark::State& state, float amplitude, VarispeedKernel kernel) {
    RenderCommands commands;
    Renderer renderer(commands, kernel);
    const auto sound = longSound(amplitude);
    commands.startLoop(sound, oddRates[8], 0.8F);
    std::vector<float> out(2 * static_cast<std::size_t>(block));
    std::uint64_t frames = 0;
    for (auto _ : state) {
        if (frames % (block * 300) == 0)
            for (std::size_t voice = 0; voice < voiceCount; ++voice)
                commands.play(voice, sound, oddRates[voice], 0.8F, true);
        renderer.render(out.data(), block);
        frames += block;
        benchmark::DoNotOptimize(out.data());
    }
    reportSpeed(state);
}

void renderQuietly(benchmark::State& state) {
    render(state, 0.05F, nullptr);
}
void renderWhileLimiting(benchmark::State& state) {
    render(state, 0.9F, nullptr);
}
void renderOnAnyProcessor(benchmark::State& state) {
    render(state, 0.05F, &interpolatePortably);
}
void renderSilence(benchmark::State& state) {
    RenderCommands commands;
    Renderer renderer(commands);
    std::vector<float> out(2 * static_cast<std::size_t>(block));
    for (auto _ : state) {
        renderer.render(out.data(), block);
        benchmark::DoNotOptimize(out.data());
    }
    reportSpeed(state);
}

// Eight stereo sources at odd pitches with the best resampler the library has, into a stereo
// loopback device at our rate and block.
void openAlSoft(benchmark::State& state) {
    const auto openLoopback = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(
        alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
    const auto renderSamples = reinterpret_cast<LPALCRENDERSAMPLESSOFT>(
        alcGetProcAddress(nullptr, "alcRenderSamplesSOFT"));
    ALCdevice* const device = openLoopback(nullptr);
    const std::array<ALCint, 9> attributes = {ALC_FORMAT_CHANNELS_SOFT,
                                              ALC_STEREO_SOFT,
                                              ALC_FORMAT_TYPE_SOFT,
                                              ALC_FLOAT_SOFT,
                                              ALC_FREQUENCY,
                                              44100,
                                              ALC_HRTF_SOFT,
                                              ALC_FALSE,
                                              0};
    ALCcontext* const context = alcCreateContext(device, attributes.data());
    alcMakeContextCurrent(context);
    const auto getString =
        reinterpret_cast<LPALGETSTRINGISOFT>(alGetProcAddress("alGetStringiSOFT"));
    const ALint best = alGetInteger(AL_NUM_RESAMPLERS_SOFT) - 1;
    const auto sound = longSound(0.05F);
    std::vector<float> interleaved;
    for (std::size_t i = 0; i < sound->frameLength(); ++i)
        interleaved.insert(interleaved.end(), {sound->channels[0][i], sound->channels[1][i]});
    ALuint buffer = 0;
    alGenBuffers(1, &buffer);
    alBufferData(buffer, alGetEnumValue("AL_FORMAT_STEREO_FLOAT32"), interleaved.data(),
                 static_cast<ALsizei>(interleaved.size() * sizeof(float)), 44100);
    std::array<ALuint, voiceCount> sources = {};
    alGenSources(static_cast<ALsizei>(sources.size()), sources.data());
    for (std::size_t i = 0; i < sources.size(); ++i) {
        alSourcei(sources[i], AL_SOURCE_RESAMPLER_SOFT, best);
        alSourcei(sources[i], AL_BUFFER, static_cast<ALint>(buffer));
        alSourcei(sources[i], AL_LOOPING, AL_TRUE);
        alSourcef(sources[i], AL_PITCH, oddRates[i]);
        alSourcePlay(sources[i]);
    }
    if (alGetError() != AL_NO_ERROR)
        state.SkipWithError("OpenAL refused");
    state.SetLabel(getString(AL_RESAMPLER_NAME_SOFT, best));
    std::vector<float> out(2 * static_cast<std::size_t>(block));
    for (auto _ : state) {
        renderSamples(device, out.data(), block);
        benchmark::DoNotOptimize(out.data());
    }
    reportSpeed(state);
    alDeleteSources(static_cast<ALsizei>(sources.size()), sources.data());
    alDeleteBuffers(1, &buffer);
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(context);
    alcCloseDevice(device);
}

class OneSound : public SampleResolving {
public:
    std::optional<ResolvedSample> sample(SoundCategory) const override {
        return ResolvedSample{buffer_, 0.9F, 50};
    }

private:
    std::shared_ptr<const PcmBuffer> buffer_ = longSound(0.1F);
};

void playAKey(benchmark::State& state) {
    VirtualTime loop;
    SystemClock clock;
    SystemRandom random;
    SimulatedLog log;
    OfflineAudioOutput output;
    AudioEngine engine({output, clock, loop, random, log}, false);
    engine.setResolver(std::make_shared<OneSound>());
    std::vector<float> out(2 * static_cast<std::size_t>(block));
    std::vector<double> costs;
    for (auto _ : state) {
        const std::uint64_t before = clock.hostNanos();
        engine.play(SoundCategory::keyDown, 1, true);
        const std::uint64_t cost = clock.hostNanos() - before;
        state.SetIterationTime(static_cast<double>(cost) * 1e-9);
        costs.push_back(static_cast<double>(cost));
        output.renderInto(out.data(), block); // untimed: leaves cold caches, as between keys
    }
    std::ranges::sort(costs);
    state.counters["medianNs"] = costs[costs.size() / 2];
    state.counters["p99Ns"] = costs[costs.size() * 99 / 100];
}

BENCHMARK(renderQuietly);
BENCHMARK(renderWhileLimiting);
BENCHMARK(openAlSoft);
BENCHMARK(renderOnAnyProcessor);
BENCHMARK(renderSilence);
BENCHMARK(playAKey)->UseManualTime()->Iterations(50000);

} // namespace
} // namespace morvel

BENCHMARK_MAIN();
