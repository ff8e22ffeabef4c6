#include "tools/audition/SoundMatcher.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace morvel::audition {

namespace {

// The attack tells categories apart and is over before the next key of a fast typist.
constexpr std::size_t coarseWindow = 400; // frames, 9 ms
constexpr std::size_t fineWindow = 700;   // frames, 16 ms
constexpr double coarseCents = 8;
constexpr std::ptrdiff_t coarseReach = 26; // frames that a trigger may be off
constexpr std::size_t finalists = 4;
constexpr double convincing = 0.97; // correlation of a match beyond doubt
// Times the sample, at the volume its theme gives it. A second sound of a key would be as loud as
// the first; what is far below is what a subtraction has left.
constexpr double quietest = 0.5;

// A windowed sinc of 2 * reach taps for each of many places between two frames. The nearest is off
// by an eight-thousandth of a frame at most, which leaves less than -60 dB.
class Sinc {
public:
    static constexpr std::ptrdiff_t reach = 16;
    static constexpr std::ptrdiff_t width = 2 * reach;

    static const Sinc& table() {
        static const Sinc made;
        return made;
    }

    // From the tap of the frame reach - 1 before the place's to that of the frame reach after it.
    const float* at(double fraction) const {
        return &taps_[static_cast<std::size_t>(std::lround(fraction * static_cast<double>(places)) *
                                               width)];
    }

private:
    static constexpr std::ptrdiff_t places = 4096;

    Sinc()
        : taps_(static_cast<std::size_t>((places + 1) * width)) {
        for (std::ptrdiff_t place = 0; place <= places; ++place)
            for (std::ptrdiff_t k = 1 - reach; k <= reach; ++k) {
                const double distance = static_cast<double>(place) / static_cast<double>(places) -
                                        static_cast<double>(k);
                taps_[static_cast<std::size_t>(place * width + k + reach - 1)] =
                    static_cast<float>(tap(distance));
            }
    }

    static double tap(double distance) {
        const double share = distance / (reach + 0.5);
        const double lobe = 1 - share * share;
        const double angle = std::numbers::pi * distance;
        return (std::abs(distance) < 1e-9 ? 1 : std::sin(angle) / angle) * lobe * lobe * lobe;
    }

    std::vector<float> taps_;
};

double dot(const float* a, const float* b, std::size_t count) {
    // Four sums, so that the compiler may work on them side by side.
    float sums[4] = {};
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (std::size_t lane = 0; lane < 4; ++lane)
            sums[lane] += a[i + lane] * b[i + lane];
    for (; i < count; ++i)
        sums[0] += a[i] * b[i];
    return static_cast<double>(sums[0]) + sums[1] + sums[2] + sums[3];
}

double interpolated(std::span<const float> x, double position) {
    const double whole = std::floor(position);
    const float* const taps = Sinc::table().at(position - whole);
    const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(whole) + 1 - Sinc::reach;
    const std::ptrdiff_t first = std::max<std::ptrdiff_t>(start, 0);
    const std::ptrdiff_t end = std::min(std::ssize(x), start + Sinc::width);
    if (first >= end)
        return 0;
    return dot(&x[static_cast<std::size_t>(first)], taps + (first - start),
               static_cast<std::size_t>(end - first));
}

// The first `count` frames of `sample` played at `rate`.
std::vector<float> played(std::span<const float> sample, double rate, std::size_t count) {
    std::vector<float> result(count);
    for (std::size_t n = 0; n < count; ++n)
        result[n] = static_cast<float>(interpolated(sample, static_cast<double>(n) * rate));
    return result;
}

struct Likeness {
    double correlation;
    double level;
};

Likeness likeness(const float* heard, const std::vector<float>& sample, std::size_t count) {
    const double product = dot(heard, sample.data(), count);
    const double heardPower = dot(heard, heard, count);
    const double samplePower = dot(sample.data(), sample.data(), count);
    if (heardPower <= 0 || samplePower <= 0)
        return {0, 0};
    return {product / std::sqrt(heardPower * samplePower), product / samplePower};
}

// The place of the largest value of `f` in [low, high], by golden section.
double maximum(double low, double high, const std::function<double(double)>& f) {
    constexpr double ratio = 0.6180339887498949;
    double a = high - ratio * (high - low);
    double b = low + ratio * (high - low);
    double fa = f(a);
    double fb = f(b);
    for (int i = 0; i < 18; ++i) {
        if (fa < fb) {
            low = a;
            a = b;
            fa = fb;
            b = low + ratio * (high - low);
            fb = f(b);
        } else {
            high = b;
            b = a;
            fb = fa;
            a = high - ratio * (high - low);
            fa = f(a);
        }
    }
    return (low + high) / 2;
}

Likeness likenessAt(std::span<const float> residual, std::span<const float> sample,
                    std::size_t start, double rate, std::size_t window) {
    if (start + window > residual.size())
        return {0, 0};
    return likeness(&residual[start], played(sample, rate, window), window);
}

double centsToRate(double cents) {
    return std::exp2(cents / 1200);
}

} // namespace

SoundMatcher::SoundMatcher(const SoundTheme& theme, std::span<const SoundCategory> categories) {
    float quietestAttack = 1;
    for (const SoundCategory category : categories) {
        const auto found = theme.categories().find(category);
        if (found == theme.categories().end())
            continue;
        for (const auto& buffer : found->second.buffers) {
            Template sample{category, found->second.gain, found->second.pitchJitterCents, {}, 0,
                            {}};
            const auto& [left, right] = buffer->channels;
            for (std::size_t n = 0; n < left.size(); ++n)
                sample.mono.push_back((left[n] + right[n]) / 2);
            float attack = 0;
            for (std::size_t n = 0; n < std::min<std::size_t>(sample.mono.size(), 220); ++n)
                attack = std::max(attack, std::abs(sample.mono[n]));
            quietestAttack = std::min(quietestAttack, attack * found->second.gain);
            templates_.push_back(std::move(sample));
        }
    }
    // 16 dB below the quietest beginning: above the remains of subtracted sounds.
    threshold_ = quietestAttack * 0.16F;
    for (Template& sample : templates_) {
        const auto first = std::find_if(sample.mono.begin(), sample.mono.end(),
                                        [this](float x) { return std::abs(x) > threshold_; });
        sample.onset = static_cast<std::size_t>(first - sample.mono.begin());
        const int steps = static_cast<int>(std::ceil(sample.jitterCents / coarseCents));
        for (int step = -steps; step <= steps; ++step) {
            const double rate = centsToRate(step * coarseCents);
            sample.attacks.push_back({rate, played(sample.mono, rate, coarseWindow)});
        }
    }
}

SoundMatcher::Fit SoundMatcher::coarseFit(const Template& sample, std::span<const float> residual,
                                          std::size_t trigger) {
    Fit best;
    for (const Attack& attack : sample.attacks) {
        const auto expected = static_cast<std::ptrdiff_t>(trigger) -
                              std::lround(static_cast<double>(sample.onset) / attack.rate);
        for (std::ptrdiff_t start = expected - coarseReach; start <= expected + coarseReach;
             ++start) {
            if (start < 0 || static_cast<std::size_t>(start) + coarseWindow > residual.size())
                continue;
            const Likeness found =
                likeness(&residual[static_cast<std::size_t>(start)], attack.frames, coarseWindow);
            if (found.correlation > best.correlation)
                best = {&sample, static_cast<std::size_t>(start), attack.rate, found.correlation,
                        found.level};
        }
    }
    return best;
}

SoundMatcher::Fit SoundMatcher::bestFit(std::span<const float> residual,
                                        std::size_t trigger) const {
    std::vector<Fit> fits;
    for (const Template& sample : templates_)
        if (const Fit fit = coarseFit(sample, residual, trigger); fit.sample != nullptr)
            fits.push_back(fit);
    const auto byCorrelation = [](const Fit& a, const Fit& b) {
        return a.correlation > b.correlation;
    };
    std::sort(fits.begin(), fits.end(), byCorrelation);
    Fit best;
    for (const auto& [count, reach] : {std::pair(finalists, 2), std::pair(4 * finalists, 4)}) {
        for (std::size_t i = 0; i < std::min(count, fits.size()); ++i)
            if (const Fit fit = refined(residual, fits[i], reach);
                fit.correlation > best.correlation)
                best = fit;
        if (best.correlation > convincing)
            break; // else look wider
    }
    return best;
}

// What an imperfect subtraction left, after a drop-out of the sound server say, may trigger the
// search just before a sound begins; the sound itself is then found a little later.
SoundMatcher::Fit SoundMatcher::bestFitNear(std::span<const float> residual,
                                            std::size_t trigger) const {
    constexpr std::size_t stride = coarseReach;
    constexpr std::size_t farthest = 12 * stride; // frames, 7 ms
    Fit best = bestFit(residual, trigger);
    if (best.sample == nullptr || best.level < quietest * best.sample->gain)
        return best;
    for (std::size_t later = stride; later <= farthest && best.correlation < convincing;
         later += stride)
        if (const Fit fit = bestFit(residual, trigger + later); fit.correlation > best.correlation)
            best = fit;
    return best;
}

// A sound begins with a whole frame; only its rate is continuous.
SoundMatcher::Fit SoundMatcher::refined(std::span<const float> residual, const Fit& coarse,
                                        std::ptrdiff_t reach) {
    constexpr int gridSteps = 4;
    constexpr double gridCents =
        coarseCents / gridSteps; // near enough for the search that follows to have one summit
    const std::span<const float> sample = coarse.sample->mono;
    Fit best;
    const auto consider = [&](std::size_t start, double rate) {
        const Likeness found = likenessAt(residual, sample, start, rate, fineWindow);
        if (found.correlation > best.correlation)
            best = {coarse.sample, start, rate, found.correlation, found.level};
        return found.correlation;
    };
    const auto middle = static_cast<std::ptrdiff_t>(coarse.start);
    const auto first = static_cast<std::size_t>(std::max<std::ptrdiff_t>(middle - reach, 0));
    const auto last = std::min(static_cast<std::size_t>(middle + reach),
                               residual.size() - std::min(fineWindow, residual.size()));
    for (int step = -gridSteps; step <= gridSteps; ++step) {
        const double rate = coarse.rate * centsToRate(step * gridCents);
        const auto attack = played(sample, rate, fineWindow); // the same wherever it begins
        for (std::size_t start = first; start <= last; ++start) {
            const Likeness found = likeness(&residual[start], attack, fineWindow);
            if (found.correlation > best.correlation)
                best = {coarse.sample, start, rate, found.correlation, found.level};
        }
    }
    const double low = best.rate * centsToRate(-gridCents);
    const double high = best.rate * centsToRate(gridCents);
    const std::size_t start = best.start;
    consider(start, maximum(low, high, [&](double rate) { return consider(start, rate); }));
    return best;
}

std::vector<HeardSound> SoundMatcher::listen(std::span<const float> interleaved) const {
    std::vector<float> residual(interleaved.size() / 2 + fineWindow);
    for (std::size_t n = 0; n < interleaved.size() / 2; ++n)
        residual[n] = (interleaved[2 * n] + interleaved[2 * n + 1]) / 2;

    std::vector<HeardSound> heard;
    constexpr std::size_t settled = 88; // frames, 2 ms: no two keys are nearer
    for (std::size_t n = 0; n < interleaved.size() / 2; ++n) {
        if (std::abs(residual[n]) <= threshold_)
            continue;
        const Fit fit = bestFitNear(residual, n);
        if (fit.sample == nullptr)
            break;
        n += settled;
        if (fit.level < quietest * fit.sample->gain)
            continue;
        heard.push_back({fit.start, fit.sample->category, fit.correlation, fit.rate, fit.level});
        const auto length =
            static_cast<std::size_t>(static_cast<double>(fit.sample->mono.size()) / fit.rate) + 16;
        const std::size_t count = std::min(length, residual.size() - fit.start);
        const auto sound = played(fit.sample->mono, fit.rate, count);
        for (std::size_t i = 0; i < count; ++i)
            residual[fit.start + i] -= static_cast<float>(fit.level) * sound[i];
    }
    return heard;
}

} // namespace morvel::audition
