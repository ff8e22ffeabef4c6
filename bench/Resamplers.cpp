#include "bench/Resamplers.h"

#include "audio/Varispeed.h"

#include <samplerate.h>
#include <soxr.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace morvel::bench {

namespace {

class VarispeedPlayer : public Mixer {
public:
    VarispeedPlayer(std::shared_ptr<const PcmBuffer> sound, float rate, VarispeedKernel kernel)
        : varispeed_(kernel)
        , sound_(std::move(sound))
        , step_(Varispeed::stepForRate(rate)) {}

    void render(float* interleaved, std::uint32_t frames) override {
        const VarispeedSource source{sound_->channels[0].data(), sound_->channels[1].data(),
                                     sound_->frameLength(), true};
        varispeed_.render(source, position_, step_, interleaved, frames);
        position_ = (position_ + frames * step_) % (source.length << positionFractionBits);
    }

private:
    Varispeed varispeed_;
    std::shared_ptr<const PcmBuffer> sound_;
    std::uint64_t step_;
    std::uint64_t position_ = 0;
};

// What the other libraries take their input from, a piece at a time.
class EndlessInput {
public:
    explicit EndlessInput(const PcmBuffer& sound) {
        for (std::size_t i = 0; i < sound.frameLength(); ++i)
            interleaved_.insert(interleaved_.end(), {sound.channels[0][i], sound.channels[1][i]});
    }

    // At most `wanted` frames; answers how many.
    std::size_t take(std::size_t wanted, const float*& frames) {
        const std::size_t length = interleaved_.size() / 2;
        const std::size_t count = std::min(wanted, length - next_);
        frames = interleaved_.data() + 2 * next_;
        next_ = (next_ + count) % length;
        return count;
    }

private:
    std::vector<float> interleaved_;
    std::size_t next_ = 0;
};

class LibsampleratePlayer : public Mixer {
public:
    LibsampleratePlayer(const PcmBuffer& sound, float rate, int converter)
        : input_(sound)
        , ratio_(1 / static_cast<double>(rate)) {
        int error = 0;
        state_.reset(src_callback_new(feed, converter, 2, &error, &input_));
        if (!state_)
            throw std::runtime_error(src_strerror(error));
    }

    void render(float* interleaved, std::uint32_t frames) override {
        src_callback_read(state_.get(), ratio_, static_cast<long>(frames), interleaved);
    }

private:
    struct Delete {
        void operator()(SRC_STATE* state) const { src_delete(state); }
    };

    static long feed(void* input, float** frames) {
        constexpr std::size_t piece = 256;
        const float* next = nullptr;
        const std::size_t count = static_cast<EndlessInput*>(input)->take(piece, next);
        *frames = const_cast<float*>(next); // which it only reads
        return static_cast<long>(count);
    }

    EndlessInput input_;
    double ratio_;
    std::unique_ptr<SRC_STATE, Delete> state_;
};

class SoxrPlayer : public Mixer {
public:
    SoxrPlayer(const PcmBuffer& sound, float rate, unsigned long recipe)
        : input_(sound) {
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(recipe, 0);
        const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
        soxr_error_t error = nullptr;
        state_.reset(
            soxr_create(static_cast<double>(rate), 1, 2, &error, &io, &quality, &oneThread));
        constexpr std::size_t longest = 4096;
        if (error == nullptr)
            error = soxr_set_input_fn(state_.get(), feed, &input_, longest);
        if (error != nullptr)
            throw std::runtime_error(error);
    }

    void render(float* interleaved, std::uint32_t frames) override {
        soxr_output(state_.get(), interleaved, frames);
    }

private:
    struct Delete {
        void operator()(soxr* state) const { soxr_delete(state); }
    };

    static std::size_t feed(void* input, soxr_in_t* frames, std::size_t wanted) {
        const float* next = nullptr;
        const std::size_t count = static_cast<EndlessInput*>(input)->take(wanted, next);
        *frames = next;
        return count;
    }

    EndlessInput input_;
    std::unique_ptr<soxr, Delete> state_;
};

} // namespace

std::unique_ptr<Mixer> varispeedPlayer(std::shared_ptr<const PcmBuffer> sound, float rate,
                                       VarispeedKernel kernel) {
    return std::make_unique<VarispeedPlayer>(std::move(sound), rate, kernel);
}

std::unique_ptr<Mixer> libsampleratePlayer(const PcmBuffer& sound, float rate, int converter) {
    return std::make_unique<LibsampleratePlayer>(sound, rate, converter);
}

std::unique_ptr<Mixer> soxrPlayer(const PcmBuffer& sound, float rate, unsigned long recipe) {
    return std::make_unique<SoxrPlayer>(sound, rate, recipe);
}

} // namespace morvel::bench
