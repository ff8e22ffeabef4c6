#include "bench/OpenAlMixer.h"

#include <AL/al.h>
#include <AL/alc.h>
#include <AL/alext.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace morvel::bench {

struct OpenAlMixer::State {
    ALCdevice* device = nullptr;
    ALCcontext* context = nullptr;
    LPALCRENDERSAMPLESSOFT renderSamples = nullptr;
    ALuint buffer = 0;
    std::vector<ALuint> sources;
    std::string resampler;

    ~State() {
        if (context != nullptr) {
            alDeleteSources(static_cast<ALsizei>(sources.size()), sources.data());
            alDeleteBuffers(1, &buffer);
            alcMakeContextCurrent(nullptr);
            alcDestroyContext(context);
        }
        if (device != nullptr)
            alcCloseDevice(device);
    }

    void open() {
        const auto openLoopback = reinterpret_cast<LPALCLOOPBACKOPENDEVICESOFT>(
            alcGetProcAddress(nullptr, "alcLoopbackOpenDeviceSOFT"));
        renderSamples = reinterpret_cast<LPALCRENDERSAMPLESSOFT>(
            alcGetProcAddress(nullptr, "alcRenderSamplesSOFT"));
        device = openLoopback != nullptr ? openLoopback(nullptr) : nullptr;
        const std::array<ALCint, 9> attributes = {ALC_FORMAT_CHANNELS_SOFT,
                                                  ALC_STEREO_SOFT,
                                                  ALC_FORMAT_TYPE_SOFT,
                                                  ALC_FLOAT_SOFT,
                                                  ALC_FREQUENCY,
                                                  44100,
                                                  ALC_HRTF_SOFT,
                                                  ALC_FALSE,
                                                  0};
        context = device != nullptr ? alcCreateContext(device, attributes.data()) : nullptr;
        if (context == nullptr || alcMakeContextCurrent(context) == ALC_FALSE)
            throw std::runtime_error("OpenAL has no loopback device");
    }

    void play(const PcmBuffer& sound, std::span<const float> rates) {
        const auto getString =
            reinterpret_cast<LPALGETSTRINGISOFT>(alGetProcAddress("alGetStringiSOFT"));
        const ALint best = alGetInteger(AL_NUM_RESAMPLERS_SOFT) - 1;
        resampler = getString(AL_RESAMPLER_NAME_SOFT, best);
        std::vector<float> interleaved;
        for (std::size_t i = 0; i < sound.frameLength(); ++i)
            interleaved.insert(interleaved.end(), {sound.channels[0][i], sound.channels[1][i]});
        alGenBuffers(1, &buffer);
        alBufferData(buffer, alGetEnumValue("AL_FORMAT_STEREO_FLOAT32"), interleaved.data(),
                     static_cast<ALsizei>(interleaved.size() * sizeof(float)), 44100);
        sources.resize(rates.size());
        alGenSources(static_cast<ALsizei>(sources.size()), sources.data());
        for (std::size_t i = 0; i < sources.size(); ++i) {
            alSourcei(sources[i], AL_SOURCE_RESAMPLER_SOFT, best);
            alSourcei(sources[i], AL_BUFFER, static_cast<ALint>(buffer));
            alSourcei(sources[i], AL_LOOPING, AL_TRUE);
            alSourcef(sources[i], AL_PITCH, rates[i]);
            alSourcef(sources[i], AL_GAIN, voiceVolume);
            alSourcePlay(sources[i]);
        }
        if (alGetError() != AL_NO_ERROR)
            throw std::runtime_error("OpenAL refused the sources");
    }
};

OpenAlMixer::OpenAlMixer(const PcmBuffer& sound, std::span<const float> rates)
    : state_(std::make_unique<State>()) {
    state_->open();
    state_->play(sound, rates);
}

OpenAlMixer::~OpenAlMixer() = default;

void OpenAlMixer::render(float* interleaved, std::uint32_t frames) {
    state_->renderSamples(state_->device, interleaved, static_cast<ALCsizei>(frames));
}

const std::string& OpenAlMixer::resampler() const {
    return state_->resampler;
}

} // namespace morvel::bench
