// Measurements of short 16-bit WAV sounds, independent of the code that makes them.
#pragma once

#include <complex>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace morvel::measure {

struct WavSound {
    std::uint32_t sampleRate = 0;
    std::uint16_t channels = 0;
    std::uint16_t bits = 0;
    std::vector<std::int16_t> samples; // interleaved

    std::size_t frames() const { return channels == 0 ? 0 : samples.size() / channels; }
};

// Reads a PCM WAV file of 16 bits with a canonical 44-byte header; nothing for any other file.
std::optional<WavSound> readWav(const std::filesystem::path& file);
std::string readBytes(const std::filesystem::path& file);

// Levels are dB re full scale or re the peak, times ms.
struct Envelope {
    double peakDb;
    double dcOffset; // mean of all samples, full scale 1
    double firstFrameDb;
    double lastFiveMsRelativeDb; // re the peak
    double onsetMs;              // the 0.25 ms envelope first reaches a tenth of its highest
    double duration40Ms;         // from the onset until the 1 ms RMS stays 40 dB below its highest
    double sideToMidDb;
    double loudest50MsDb; // RMS of the middle, unweighted
};

// `sound` must be stereo and at least 10 ms long.
Envelope measureEnvelope(const WavSound& sound);

// Of the middle of a stereo sound: the mean frequency of the power spectrum of its first 150 ms,
// Hz.
double spectralCentroidHz(const WavSound& sound);

// How long after the loudest half millisecond of the middle begins the energy still to come has
// fallen by 20 dB, ms.
double decay20Ms(const WavSound& sound);

// What happens where a loop of two channels begins anew, against the roughest place within 5 ms
// before and after: above 1 the seam is rougher. A step is from one sample to the next, a bend from
// one step to the next.
struct LoopSeam {
    double step;
    double bend;
};

// `loop` must be at least 10 ms long, and not constant about the seam.
LoopSeam measureSeam(const WavSound& loop);

// The middle channel of a sound, ready to be compared with others.
class Fingerprint {
public:
    explicit Fingerprint(const WavSound& sound);

    // The highest normalised cross-correlation at any lag, 0 to 1, of the first 93 ms of both.
    double similarity(const Fingerprint& other) const;

private:
    std::vector<std::complex<double>> m_spectrum; // of the sound at unit energy
};

} // namespace morvel::measure
