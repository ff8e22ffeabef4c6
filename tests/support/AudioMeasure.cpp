#include "tests/support/AudioMeasure.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <numbers>
#include <sstream>

namespace morvel::measure {

namespace {

constexpr std::size_t headerBytes = 44;
constexpr double fullScale = 32768;
constexpr std::size_t comparedFrames = 4096;
constexpr std::size_t transformSize = 2 * comparedFrames; // no lag wraps round; past 150 ms

using Spectrum = std::vector<std::complex<double>>;

std::uint32_t number(const std::string& bytes, std::size_t at, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = count; i-- > 0;)
        value = value << 8u | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

double db(double amplitude) {
    return 20 * std::log10(std::max(amplitude, 1e-9));
}

std::vector<double> channelMix(const WavSound& sound, double left, double right) {
    std::vector<double> mix(sound.frames());
    for (std::size_t i = 0; i < mix.size(); ++i)
        mix[i] = (left * sound.samples[2 * i] + right * sound.samples[2 * i + 1]) / fullScale;
    return mix;
}

double energyOf(const std::vector<double>& signal) {
    double sum = 0;
    for (const double s : signal)
        sum += s * s;
    return sum;
}

// The mean of `width` values from each position on.
std::vector<double> runningMean(const std::vector<double>& values, std::size_t width) {
    std::vector<double> means;
    double sum = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        sum += values[i];
        if (i >= width)
            sum -= values[i - width];
        if (i + 1 >= width)
            means.push_back(std::max(sum, 0.0) / static_cast<double>(width));
    }
    return means;
}

std::size_t onsetFrame(const std::vector<double>& middle, std::size_t width) {
    std::vector<double> rectified(width / 2, 0.0); // centres the envelope on its frame
    for (const double s : middle)
        rectified.push_back(std::fabs(s));
    const auto envelope = runningMean(rectified, width);
    const double threshold = 0.1 * *std::max_element(envelope.begin(), envelope.end());
    const auto first = std::find_if(envelope.begin(), envelope.end(),
                                    [&](double value) { return value >= threshold; });
    return static_cast<std::size_t>(first - envelope.begin());
}

const Spectrum& turnsOfACircle() {
    static const Spectrum turns = [] {
        Spectrum result(transformSize / 2);
        for (std::size_t k = 0; k < result.size(); ++k)
            result[k] = std::polar(1.0, 2 * std::numbers::pi * static_cast<double>(k) /
                                            static_cast<double>(transformSize));
        return result;
    }();
    return turns;
}

// In place, iterative, decimation in time, of transformSize values; `direction` -1 forward, 1
// inverse (unscaled).
void transform(Spectrum& data, int direction) {
    const std::size_t n = data.size();
    const Spectrum& turns = turnsOfACircle();
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1u;
        for (; j & bit; bit >>= 1u)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(data[i], data[j]);
    }
    for (std::size_t size = 2; size <= n; size *= 2) {
        for (std::size_t start = 0; start < n; start += size) {
            for (std::size_t k = 0; k < size / 2; ++k) {
                const auto& turn = turns[k * (transformSize / size)];
                const std::complex<double> t(turn.real(), direction * turn.imag());
                const auto& b = data[start + k + size / 2];
                const std::complex<double> odd(t.real() * b.real() - t.imag() * b.imag(),
                                               t.real() * b.imag() + t.imag() * b.real());
                const auto even = data[start + k];
                data[start + k] = even + odd;
                data[start + k + size / 2] = even - odd;
            }
        }
    }
}

} // namespace

std::string readBytes(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

std::optional<WavSound> readWav(const std::filesystem::path& file) {
    const std::string bytes = readBytes(file);
    if (bytes.size() < headerBytes || bytes.compare(0, 4, "RIFF") != 0 ||
        bytes.compare(8, 8, "WAVEfmt ") != 0 || bytes.compare(36, 4, "data") != 0 ||
        number(bytes, 20, 2) != 1 || number(bytes, 34, 2) != 16 ||
        number(bytes, 40, 4) != bytes.size() - headerBytes ||
        number(bytes, 4, 4) != bytes.size() - 8)
        return std::nullopt;
    WavSound sound;
    sound.channels = static_cast<std::uint16_t>(number(bytes, 22, 2));
    sound.sampleRate = number(bytes, 24, 4);
    sound.bits = static_cast<std::uint16_t>(number(bytes, 34, 2));
    for (std::size_t at = headerBytes; at + 1 < bytes.size(); at += 2)
        sound.samples.push_back(static_cast<std::int16_t>(number(bytes, at, 2)));
    return sound;
}

Envelope measureEnvelope(const WavSound& sound) {
    const std::size_t millisecond = sound.sampleRate / 1000;
    const auto left = channelMix(sound, 1, 0);
    const auto right = channelMix(sound, 0, 1);
    const auto middle = channelMix(sound, 0.5, 0.5);
    const auto side = channelMix(sound, 0.5, -0.5);
    const auto loudest = [&](std::size_t from, std::size_t to) {
        double highest = 0;
        for (std::size_t i = from; i < to; ++i)
            highest = std::max({highest, std::fabs(left[i]), std::fabs(right[i])});
        return highest;
    };
    const std::size_t frames = sound.frames();
    std::vector<double> power;
    double sum = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        power.push_back(middle[i] * middle[i]);
        sum += left[i] + right[i];
    }
    const auto short_ = runningMean(power, millisecond);
    const double floor = 1e-4 * *std::max_element(short_.begin(), short_.end());
    const auto last =
        std::find_if(short_.rbegin(), short_.rend(), [&](double value) { return value > floor; });
    const auto end = static_cast<std::size_t>(short_.rend() - last);
    const std::size_t onset = onsetFrame(middle, std::max<std::size_t>(sound.sampleRate / 4000, 1));
    power.resize(std::max(frames, 50 * millisecond));
    const auto long_ = runningMean(power, 50 * millisecond);

    Envelope result{};
    const double peak = loudest(0, frames);
    result.peakDb = db(peak);
    result.dcOffset = sum / static_cast<double>(2 * frames);
    result.firstFrameDb = db(loudest(0, 1));
    result.lastFiveMsRelativeDb = db(loudest(frames - 5 * millisecond, frames) / peak);
    result.onsetMs = 1000.0 * static_cast<double>(onset) / sound.sampleRate;
    result.duration40Ms =
        1000.0 * static_cast<double>(end - std::min(end, onset)) / sound.sampleRate;
    result.sideToMidDb = db(std::sqrt(energyOf(side) / energyOf(middle)));
    result.loudest50MsDb = db(std::sqrt(*std::max_element(long_.begin(), long_.end())));
    return result;
}

double spectralCentroidHz(const WavSound& sound) {
    auto middle = channelMix(sound, 0.5, 0.5);
    middle.resize(std::min<std::size_t>(middle.size(), sound.sampleRate * 15 / 100));
    Spectrum spectrum(transformSize);
    std::copy(middle.begin(), middle.end(), spectrum.begin());
    transform(spectrum, -1);
    double moment = 0;
    double total = 0;
    for (std::size_t i = 1; i < transformSize / 2; ++i) {
        const double power = std::norm(spectrum[i]);
        moment += power * static_cast<double>(i);
        total += power;
    }
    return moment / total * sound.sampleRate / static_cast<double>(transformSize);
}

double decay20Ms(const WavSound& sound) {
    const auto middle = channelMix(sound, 0.5, 0.5);
    std::vector<double> power;
    for (const double s : middle)
        power.push_back(s * s);
    const auto short_ = runningMean(power, sound.sampleRate / 2000);
    const auto loudest =
        static_cast<std::size_t>(std::max_element(short_.begin(), short_.end()) - short_.begin());
    double left = 0;
    for (std::size_t i = loudest; i < power.size(); ++i)
        left += power[i];
    const double threshold = left / 100;
    std::size_t end = loudest;
    for (; end < power.size() && left > threshold; ++end)
        left -= power[end];
    return 1000 * static_cast<double>(end - loudest) / sound.sampleRate;
}

LoopSeam measureSeam(const WavSound& loop) {
    LoopSeam worst{};
    const std::size_t near = loop.sampleRate / 200;
    for (const auto& channel : {channelMix(loop, 1, 0), channelMix(loop, 0, 1)}) {
        std::vector<double> around(channel.end() - static_cast<std::ptrdiff_t>(near),
                                   channel.end());
        around.insert(around.end(), channel.begin(),
                      channel.begin() + static_cast<std::ptrdiff_t>(near));
        double largestStep = 0;
        double largestBend = 0;
        double seamStep = 0;
        double seamBend = 0;
        double before = 0;
        for (std::size_t i = 1; i < around.size(); ++i) {
            const double step = around[i] - around[i - 1];
            const double bend = i > 1 ? std::fabs(step - before) : 0;
            auto& stepsHere = i == near ? seamStep : largestStep;
            auto& bendsHere = i == near || i == near + 1 ? seamBend : largestBend;
            stepsHere = std::max(stepsHere, std::fabs(step));
            bendsHere = std::max(bendsHere, bend);
            before = step;
        }
        worst.step = std::max(worst.step, seamStep / largestStep);
        worst.bend = std::max(worst.bend, seamBend / largestBend);
    }
    return worst;
}

Fingerprint::Fingerprint(const WavSound& sound)
    : m_spectrum(transformSize) {
    auto middle = channelMix(sound, 0.5, 0.5);
    middle.resize(std::min(middle.size(), comparedFrames));
    const double norm = std::sqrt(energyOf(middle));
    for (std::size_t i = 0; i < middle.size(); ++i)
        m_spectrum[i] = middle[i] / norm;
    transform(m_spectrum, -1);
}

double Fingerprint::similarity(const Fingerprint& other) const {
    Spectrum product(transformSize);
    for (std::size_t i = 0; i < transformSize; ++i) {
        const auto& a = m_spectrum[i];
        const auto& b = other.m_spectrum[i];
        product[i] = {a.real() * b.real() + a.imag() * b.imag(),
                      a.imag() * b.real() - a.real() * b.imag()};
    }
    transform(product, 1);
    double highest = 0;
    for (const auto& value : product)
        highest = std::max(highest, std::fabs(value.real()));
    return highest / static_cast<double>(transformSize);
}

} // namespace morvel::measure
