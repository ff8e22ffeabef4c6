// The one interface between the audio engine and whoever holds the sounds.
#pragma once

#include "audio/sample/PcmBuffer.h"
#include "sound/SoundCategory.h"

#include <memory>
#include <optional>

namespace morvel {

struct ResolvedSample {
    std::shared_ptr<const PcmBuffer> buffer; // one variant; never null
    float gain = 1;                          // linear
    float pitchJitterCents = 0;              // half-width of the random spread; 0 or less: none
};

class SampleResolving {
public:
    virtual ~SampleResolving() = default;

    // One variant of `category`, chosen anew on every call; nothing when there is no sound for it.
    // Called once a play on the playing thread (any but the audio thread), possibly by several
    // threads at once: an implementation only reads, never blocks and never allocates.
    virtual std::optional<ResolvedSample> sample(SoundCategory category) const = 0;
};

} // namespace morvel
