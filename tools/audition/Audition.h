// Types on a running Morvel, listens to what it plays, and compares.
#pragma once

#include "sound/SoundCategory.h"
#include "tools/audition/KeyInjector.h"
#include "tools/audition/MonitorRecorder.h"
#include "tools/audition/SoundMatcher.h"
#include "tools/audition/TypingScript.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace morvel::audition {

// A stroke as it was made.
struct MadeStroke {
    KeyStroke stroke;
    std::uint64_t hostNanos; // just before the key moved
};

// Types the script at its own pace, beginning at once, on the calling thread.
std::vector<MadeStroke> perform(KeyInjector& keys, const std::vector<KeyStroke>& script);

struct Comparison {
    std::size_t presses = 0;             // strokes that sounded as they must
    std::size_t releases = 0;            // the same
    std::vector<double> latenciesMs;     // from each stroke to the first frame of its sound
    std::vector<std::string> complaints; // one for each missing, wrong or superfluous sound

    double median() const { return percentile(0.5); }
    double percentile(double share) const;
};

// A sound that is later than this could be the next stroke's.
constexpr double latestSoundMs = 1000 * closestStrokes;

// Matches strokes and sounds one to one, in order of time. A sound that is less alike its sample
// than `leastCorrelation` is a complaint; a drop-out of the sound server costs some likeness,
// another category's sound has less. So is one that comes later than `latestMs` after its stroke,
// which may be more than `latestSoundMs` where sound is known to be late.
Comparison compare(const std::vector<MadeStroke>& strokes, const std::vector<HeardSound>& heard,
                   const MonitorRecording& recording, double leastCorrelation = 0.6,
                   double latestMs = latestSoundMs);

// Where the sound server had nothing to play in the middle of a sound: the first frame of every
// such hole. A recording with holes says how busy the machine was, not what Morvel played.
std::vector<std::size_t> dropOuts(std::span<const float> interleaved);

// How often nothing arrived for much longer than the frames that then came last: the machine or the
// sound server stood still, and when the sounds around that were made cannot be told.
std::size_t stalls(const MonitorRecording& recording);

struct Take {
    std::vector<MadeStroke> strokes;
    MonitorRecording recording;
};

// Types the script in short sections and records what `source` of the sound server plays. A section
// with drop-outs or stalls is told to `spoilt`, with their number, and typed again, a few times;
// the take with the fewest of them counts.
Take takeTyping(KeyInjector& keys, const std::vector<KeyStroke>& script, const std::string& source,
                const std::string& server,
                const std::function<void(std::size_t count)>& spoilt = {});

} // namespace morvel::audition
