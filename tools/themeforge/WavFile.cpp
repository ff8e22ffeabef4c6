#include "tools/themeforge/WavFile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace morvel::forge {

namespace {

constexpr std::uint16_t channelCount = 2;
constexpr std::uint16_t bytesPerSample = 2;
constexpr std::uint32_t headerBytes = 44;
constexpr double fullScale = 32767;

void appendNumber(std::string& bytes, std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<char>(value >> (8 * i) & 0xffu));
}

void appendSample(std::string& bytes, double sample, Random& dither) {
    const double triangular = dither.uniform() + dither.uniform() - 1;
    const double step = std::floor(sample * fullScale + triangular + 0.5);
    const auto value = static_cast<std::int32_t>(std::clamp(step, -fullScale, fullScale));
    appendNumber(bytes, static_cast<std::uint32_t>(value), bytesPerSample);
}

} // namespace

std::string wavBytes(const StereoSignal& sound, Random dither) {
    constexpr std::uint16_t frameBytes = channelCount * bytesPerSample;
    constexpr auto rate = static_cast<std::uint32_t>(sampleRate);
    const auto dataBytes = static_cast<std::uint32_t>(sound.length() * frameBytes);
    std::string bytes;
    bytes.reserve(headerBytes + dataBytes);
    bytes += "RIFF";
    appendNumber(bytes, headerBytes - 8 + dataBytes, 4);
    bytes += "WAVEfmt ";
    appendNumber(bytes, 16, 4);
    appendNumber(bytes, 1, 2); // PCM
    appendNumber(bytes, channelCount, 2);
    appendNumber(bytes, rate, 4);
    appendNumber(bytes, rate * frameBytes, 4);
    appendNumber(bytes, frameBytes, 2);
    appendNumber(bytes, bytesPerSample * 8, 2);
    bytes += "data";
    appendNumber(bytes, dataBytes, 4);
    for (std::size_t i = 0; i < sound.length(); ++i) {
        appendSample(bytes, sound.left[i], dither);
        appendSample(bytes, sound.right[i], dither);
    }
    return bytes;
}

} // namespace morvel::forge
