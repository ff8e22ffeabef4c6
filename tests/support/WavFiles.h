// WAV files for tests, sound and otherwise.
#pragma once

#include "audio/sample/AudioFileWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace morvel {

// Writes interleaved samples as a float WAV.
inline void writeWav(const std::filesystem::path& file, AudioFormat format,
                     const std::vector<float>& interleaved) {
    auto writer = AudioFileWriter::create(file, AudioFileWriter::Encoding::float32, format);
    ASSERT_TRUE(writer) << writer.error().description();
    const auto written = writer->writeInterleaved(interleaved);
    ASSERT_FALSE(written) << written->description();
    ASSERT_FALSE(writer->close());
}

// A sine of the given frequency at half of full scale, the same on every channel.
inline std::vector<float> sine(AudioFormat format, std::size_t frames, double frequency = 1000) {
    std::vector<float> samples;
    for (std::size_t i = 0; i < frames; ++i) {
        const double turn = frequency * static_cast<double>(i) / format.sampleRate;
        samples.insert(samples.end(), format.channels,
                       static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * turn)));
    }
    return samples;
}

// A short stereo click in the canonical format whose every sample is `level`, to be told apart.
inline void writeClick(const std::filesystem::path& file, float level = 0.25F,
                       std::size_t frames = 64) {
    writeWav(file, canonicalFormat, std::vector<float>(2 * frames, level));
}

// The plainest header of a 16-bit WAV, with whatever numbers it is told; followed by `data`.
struct WavHeader {
    std::uint16_t channels = 2;
    std::uint32_t sampleRate = 44100;
    std::uint32_t dataBytes = 0; // as the header claims

    std::string with(const std::string& data) const {
        std::string bytes = "RIFF" + little(36 + dataBytes, 4) + "WAVEfmt " + little(16, 4);
        bytes += little(1, 2) + little(channels, 2) + little(sampleRate, 4);
        bytes += little(sampleRate * channels * 2, 4) + little(channels * 2U, 2) + little(16, 2);
        return bytes + "data" + little(dataBytes, 4) + data;
    }

private:
    static std::string little(std::uint32_t value, int bytes) {
        std::string text;
        for (int i = 0; i < bytes; ++i)
            text += static_cast<char>((value >> (8 * i)) & 0xff);
        return text;
    }
};

} // namespace morvel
