#include "audio/sample/SampleConversion.h"

#include <soxr.h>

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace morvel {

namespace {

struct SoxrDelete {
    void operator()(soxr_t converter) const { soxr_delete(converter); }
};
using Converter = std::unique_ptr<std::remove_pointer_t<soxr_t>, SoxrDelete>;

using Channels = std::vector<std::vector<float>>;

constexpr float minus3dB = 0.70710678F;

// What one source channel adds to each side.
struct Share {
    float left;
    float right;
};

constexpr Share toLeft{1, 0};
constexpr Share toRight{0, 1};
constexpr Share centre{minus3dB, minus3dB};
constexpr Share behindLeft{minus3dB, 0};
constexpr Share behindRight{0, minus3dB};
constexpr Share leftOut{0, 0};

std::vector<Share> sharesOf(std::size_t channels) {
    switch (channels) {
    case 3:
        return {toLeft, toRight, centre};
    case 4:
        return {toLeft, toRight, behindLeft, behindRight};
    case 5:
        return {toLeft, toRight, centre, behindLeft, behindRight};
    case 6:
        return {toLeft, toRight, centre, leftOut, behindLeft, behindRight};
    case 8:
        return {toLeft, toRight, centre, leftOut, behindLeft, behindRight, behindLeft, behindRight};
    default: {
        std::vector<Share> shares(channels, toLeft);
        for (std::size_t i = 1; i < channels; i += 2)
            shares[i] = toRight;
        return shares;
    }
    }
}

void addScaled(std::vector<float>& sum, const std::vector<float>& source, float gain) {
    if (gain == 0)
        return;
    for (std::size_t i = 0; i < sum.size(); ++i)
        sum[i] += gain * source[i];
}

Channels mixDown(const DecodedAudio& audio) {
    const std::vector<Share> shares = sharesOf(audio.channels.size());
    Share total{0, 0};
    for (const Share& share : shares) {
        total.left += share.left;
        total.right += share.right;
    }
    Channels sides(2, std::vector<float>(audio.frameLength(), 0.0F));
    for (std::size_t c = 0; c < shares.size(); ++c) {
        addScaled(sides[0], audio.channels[c], shares[c].left / total.left);
        addScaled(sides[1], audio.channels[c], shares[c].right / total.right);
    }
    return sides;
}

// One channel or two: mono is doubled only after the rate is converted.
Channels atMostStereo(DecodedAudio audio) {
    return audio.channels.size() <= 2 ? std::move(audio.channels) : mixDown(audio);
}

PcmBuffer asBuffer(Channels channels) {
    PcmBuffer buffer;
    if (channels.size() == 1)
        buffer.channels[1] = channels[0];
    else
        buffer.channels[1] = std::move(channels[1]);
    buffer.channels[0] = std::move(channels[0]);
    return buffer;
}

// Feeds the whole input at once and then drains until nothing more comes or `out` is full; the
// frames written. Both have the converter's one or two channels.
Result<std::size_t, ConversionError> run(soxr_t converter, const Channels& in, Channels& out) {
    const std::size_t frames = in.front().size();
    const std::size_t capacity = out.front().size();
    std::size_t taken = 0;
    std::size_t written = 0;
    for (;;) {
        const std::array<soxr_cbuf_t, 2> from = {in.front().data() + taken,
                                                 in.back().data() + taken};
        std::array<soxr_buf_t, 2> to = {out.front().data() + written, out.back().data() + written};
        std::size_t used = 0;
        std::size_t done = 0;
        const bool inputLeft = taken < frames;
        const soxr_error_t error =
            soxr_process(converter, inputLeft ? from.data() : nullptr, frames - taken, &used,
                         to.data(), capacity - written, &done);
        if (error != nullptr)
            return ConversionError{ConversionError::Kind::failed, error};
        taken += used;
        written += done;
        if (written == capacity || (!inputLeft && done == 0) || (used == 0 && done == 0))
            return written;
    }
}

Result<Channels, ConversionError> resampled(const Channels& channels, double sampleRate) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t oneThread = soxr_runtime_spec(1);
    soxr_error_t error = nullptr;
    const Converter converter(soxr_create(sampleRate, canonicalFormat.sampleRate,
                                          static_cast<unsigned>(channels.size()), &error, &io,
                                          &quality, &oneThread));
    if (!converter || error != nullptr)
        return ConversionError{ConversionError::Kind::noConverter, soxr_strerror(error)};

    Channels converted;
    const std::size_t capacity = conversionCapacity(channels.front().size(), sampleRate);
    try {
        converted.assign(channels.size(), std::vector<float>(capacity));
    } catch (const std::bad_alloc&) {
        return ConversionError{ConversionError::Kind::noMemory, "out of memory"};
    }
    const auto written = run(converter.get(), channels, converted);
    if (!written)
        return written.error();
    // The headroom is given back: a theme keeps its buffers for as long as it is used.
    for (std::vector<float>& channel : converted) {
        channel.resize(written.value());
        channel.shrink_to_fit();
    }
    return converted;
}

} // namespace

std::size_t conversionCapacity(std::size_t frames, double sampleRate) {
    const double scaled = canonicalFormat.sampleRate / sampleRate * static_cast<double>(frames);
    return static_cast<std::size_t>(scaled) + conversionMargin;
}

Result<PcmBuffer, ConversionError> convertToCanonical(DecodedAudio audio) {
    const double sampleRate = audio.format.sampleRate;
    const bool convertible = !audio.channels.empty() && sampleRate >= lowestSampleRate &&
                             sampleRate <= highestSampleRate;
    if (!convertible)
        return ConversionError{ConversionError::Kind::noConverter, "no such conversion"};
    Channels channels = atMostStereo(std::move(audio));
    if (sampleRate == canonicalFormat.sampleRate)
        return asBuffer(std::move(channels));
    auto converted = resampled(channels, sampleRate);
    if (!converted)
        return converted.error();
    return asBuffer(std::move(converted).value());
}

} // namespace morvel
