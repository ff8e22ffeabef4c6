// From any decoded audio to the canonical format. Pure computation on the calling thread (no
// threads of its own); any thread but the audio thread.
#pragma once

#include "audio/sample/AudioFileReader.h"
#include "audio/sample/PcmBuffer.h"
#include "platform/Result.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace morvel {

// The sample rates that are converted: from far below a telephone's to twice the highest that
// converters are built for.
inline constexpr double lowestSampleRate = 1000;
inline constexpr double highestSampleRate = 768000;

// Headroom of the converted buffer beyond its scaled length.
inline constexpr std::size_t conversionMargin = 4096;

struct ConversionError {
    enum class Kind : std::uint8_t {
        noConverter, // no channel, or a rate outside the range above
        noMemory,    // the result's buffer could not be allocated
        failed,      // the converter's own error, in `text`
    };
    Kind kind = Kind::failed;
    std::string text;
};

// The scaled length of `frames` frames at `sampleRate`, rounded down, plus conversionMargin: how
// much room a conversion gets.
std::size_t conversionCapacity(std::size_t frames, double sampleRate);

// Audio already in the canonical format comes back as it is, sample for sample.
//
// Otherwise channels first: mono goes to both sides unchanged. Three to six and eight channels are
// taken to be in the order of a WAV file (front left, front right, centre, low frequencies, then
// pairs behind; four are front and back, five have no low-frequency channel) and mixed down as
// film sound is: centre and back channels join at -3 dB, the low-frequency channel is left out.
// Any other number alternates between left and right. A mix is scaled so that it cannot pass full
// scale. Then the rate, by a linear-phase converter with 20 bits of precision.
Result<PcmBuffer, ConversionError> convertToCanonical(DecodedAudio audio);

} // namespace morvel
