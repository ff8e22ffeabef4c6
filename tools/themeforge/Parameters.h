// What a sound designer writes: a theme as one JSON file, and the records it is read into.
//
// A theme file is one object:
//
//   id, name, author, description   the manifest's own texts; the id also names the folder
//   seed                            whole number; another seed is another take of the whole theme
//   defaults                        {"gain", "pitchJitterCents"}: the manifest's theme-wide values
//   room                            optional: the desk and the walls around every "housing" that
//                                   says "inRoom"
//   voices                          sounds by name; a voice may start from another with "like" and
//                                   state only what differs (null removes what it inherited)
//   categories                      by manifest key ("keyboard.space.down"): {"voice", "variants"},
//                                   optionally "with" (what differs from the voice), "gain",
//                                   "pitchJitterCents" and "loop" as in the manifest, and "take"
//
// The kind of a voice ("kind") says which record below describes it: "strike" (keys, switches,
// ticks), "pop" (bubbles) or "whir" (the turning dial). Every field is required unless marked
// optional; an unknown field is an error, so that a misspelt one cannot be overlooked.
//
// Units: times in ms, frequencies in Hz, levels in dB. Random choices are of two sorts. The design
// of a category (which frequencies its bodies ring at) is drawn once and shared by its variants, as
// one key keeps its voice; what differs between two presses (noise, timing, small detunings within
// `variation`) is drawn for each variant.
//
// "take" is any word, empty if left out, and its letters mean nothing: together with the seed and
// the category's key it names the numbers that are drawn. Another word is another throw of the same
// dice for this category alone, as if its sounds were recorded once more. So a designer rejects
// what chance made of good parameters (modes that fall together and ring, a variant too like its
// neighbour or like another key) without turning a parameter; words are tried until the sounds keep
// the ranges of their role, stay apart from the theme's others, and please.
#pragma once

#include "sound/SoundCategory.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace morvel::forge {

// "exciter": the blow itself, half smooth pulse and half noise.
struct Exciter {
    double contactMs;  // width of the smooth pulse: shorter is harder
    double decayMs;    // time in which the noise falls to 1/e
    double noiseShare; // 0 to 1, by energy: 0 all pulse, 1 all noise
    double lowPassHz;  // nothing much above this reaches the bodies
};

// "impacts": when parts meet. The first sets the beginning of the sound and belongs at 0.
struct Impact {
    double atMs;
    double levelDb;     // relative to an impact at 0 dB
    double toneOctaves; // optional, 0: how much harder (above 0) or softer the parts are that meet
};

// Damped modes spread evenly over the octaves between two frequencies.
struct ModeGroup {
    int modes;
    double lowHz;
    double highHz;
    double q; // pi x frequency x time to fall to 1/e: 8 is dull, 25 rings
};

// "bodies", by name (case, plate, cap, air ...): what rings when it is struck.
struct Body : ModeGroup {
    double levelDb; // energy of the whole group, comparable with those of the other parts
};

// "rattle" (optional): the stabiliser of a long key, a wire that chatters after the blow.
struct Rattle {
    int hits;       // spread at random over the span
    double startMs; // after the beginning of the sound
    double spanMs;  // later hits are softer, by 12 dB at the end of the span
    double levelDb; // energy of all hits, as for a body
    ModeGroup wire; // "wire"
};

// "spring" (optional): a few thin partials that ring on; heard as a steel spring when 34 dB or more
// below the blow, as a bell when louder.
struct Spring {
    int partials;
    double lowHz;
    double highHz;
    double q;
    double levelDb; // energy, as for a body
};

// "scrape" (optional): parts that slide past each other: a breath of noise, or a ratchet.
struct Scrape {
    double startMs; // after the beginning of the sound
    double spanMs;  // it swells and fades within this
    double lowHz;   // the noise lies between these
    double highHz;
    double grainHz;    // teeth a second
    double grainShare; // 0 to 1: 0 an even breath, 1 nothing between the teeth
    double levelDb;    // energy, as for a body
};

// "bell" (optional): struck once, each partial a pair that beats slowly. Higher partials fade
// sooner.
struct BellPartial {
    double ratio; // to "hz"
    double levelDb;
};

struct Bell {
    double atMs;
    double hz;
    double attackMs;
    double decayMs; // of a partial at "hz": time to fall to 1/e
    double levelDb; // energy, as for a body
    std::vector<BellPartial> partials;
};

// "room" of the theme: the reflections of the desk and the walls, the same for every sound in it.
struct Room {
    int reflections;
    double firstMs; // the reflections lie between these, later ones softer
    double lastMs;
    double levelDb;   // energy of them all, against the dry sound
    double lowPassHz; // of the first; later ones are duller, the last by an octave
};

// "housing": what the case of the keyboard makes of the sound: early reflections, opposite in the
// two channels so that a mono listener loses nothing, and a diffuse tail.
struct Housing {
    double earlyLevelDb;  // side against middle
    double earlySpreadMs; // the reflections lie between 0.5 ms and this
    double tailLevelDb;   // beginning of the tail against the peak of the dry sound
    double tailRt60Ms;    // time in which the tail falls by 60 dB
    double tailLowHz;     // the tail's noise lies between these; its upper half fades sooner
    double tailHighHz;
    std::optional<Room> room; // "inRoom" (optional, false): the theme's
};

// "output": the finished file.
struct Output {
    double lengthMs;
    double fadeMs; // ends 6 ms before the end of the file
    double highPassHz;
    double lowPassHz;
    double loudnessDb;    // A-weighted, loudest 50 ms
    double peakCeilingDb; // a sound that would peak higher is turned down to it
};

// "variation": how far two variants of one category may lie apart.
struct Variation {
    double pitchPercent;
    double levelDb;     // of modes, impacts and parts among each other
    double timePercent; // of the impacts' times; of a bubble's sweep and decay
    double loudnessDb;
};

struct Strike {
    double tuning; // every frequency of the bodies and the wire is multiplied by it
    Exciter exciter;
    std::vector<Impact> impacts;
    double directDb; // energy of the unresonated blow, as for a body
    std::map<std::string, Body> bodies;
    std::optional<Rattle> rattle;
    std::optional<Spring> spring;
    std::optional<Scrape> scrape;
    std::optional<Bell> bell;
    Housing housing;
    Output output;
    Variation variation;
};

// Bubbles: each a sine that sweeps while it decays, opened by a breath of noise.
struct Pop {
    int count;            // more than one makes a run of bubbles
    double spacingMs;     // from one to the next
    double riseSemitones; // of the last above the first
    double startHz;       // sweep of the first bubble
    double endHz;
    double sweepMs;
    double attackMs;
    double decayMs;    // time to fall to 1/e
    double overtoneDb; // of the second harmonic
    double breathDb;   // of the opening noise, against the peak of the sine
    double breathHz;   // its centre
    double breathDecayMs;
    Housing housing;
    Output output;
    Variation variation;
};

// A seamless loop: noise of a bearing, swelling gently, with the grain of what turns. Cycles are
// fitted to the length so that a whole number goes in.
struct Whir {
    double lowHz; // band of the noise
    double highHz;
    double swellHz;  // times a second that the noise swells
    double swellDb;  // between softest and loudest
    double grainHz;  // grains a second
    double grainDb;  // energy of the grains against that of the noise
    ModeGroup grain; // "grain"
    double width;    // 0 to 1: share of the noise that differs between the channels, by amplitude
    double lengthMs;
    double loudnessDb;
};

using Voice = std::variant<Strike, Pop, Whir>;

struct CategorySound {
    SoundCategory category;
    Voice voice;
    int variants;
    std::string take;
    std::optional<double> gain;
    std::optional<double> pitchJitterCents;
    std::optional<bool> loop;
};

struct Theme {
    std::string id; // letters, digits, '-' and '_' only
    std::string name;
    std::string author;
    std::string description;
    std::uint64_t seed;
    double gain;
    double pitchJitterCents;
    std::vector<CategorySound> categories; // in the vocabulary's order
};

// One line that says where in the file, as a dotted path, and what is wrong with it.
struct ParameterError {
    std::string where; // empty: the file as a whole
    std::string what;

    std::string description() const;
};

std::variant<Theme, ParameterError> parseTheme(const std::string& json);
std::variant<Theme, ParameterError> readTheme(const std::filesystem::path& file);

} // namespace morvel::forge
