#include "tools/themeforge/VoiceParameters.h"

#include <fmt/format.h>

#include <tuple>
#include <utility>

namespace morvel::forge {

namespace {

constexpr double highestHz = 20000;
constexpr double longestMs = 10000;
constexpr double lowestDb = -120;
constexpr double highestDb = 40;

double level(ParameterReader& in, const char* key) {
    return in.number(key, lowestDb, highestDb);
}

double frequency(ParameterReader& in, const char* key) {
    return in.number(key, 1, highestHz);
}

double time(ParameterReader& in, const char* key) {
    return in.number(key, 0, longestMs);
}

// The two ends of a band, the higher not below the lower.
std::pair<double, double> band(ParameterReader& in, const char* lowKey, const char* highKey) {
    const double low = frequency(in, lowKey);
    const double high = frequency(in, highKey);
    if (high < low)
        in.fail(highKey, fmt::format("must not lie below {}", lowKey));
    return {low, high};
}

Exciter exciter(ParameterReader in) {
    Exciter e{};
    e.contactMs = in.number("contactMs", 0.05, 10);
    e.decayMs = in.number("decayMs", 0.05, 100);
    e.noiseShare = in.number("noiseShare", 0, 1);
    e.lowPassHz = frequency(in, "lowPassHz");
    in.finish();
    return e;
}

void readModes(ParameterReader& in, ModeGroup& group) {
    group.modes = in.integer("modes", 1, 64);
    std::tie(group.lowHz, group.highHz) = band(in, "lowHz", "highHz");
    group.q = in.number("q", 0.5, 2000);
}

ModeGroup modeGroup(ParameterReader in) {
    ModeGroup group{};
    readModes(in, group);
    in.finish();
    return group;
}

Body body(ParameterReader in) {
    Body b{};
    readModes(in, b);
    b.levelDb = level(in, "levelDb");
    in.finish();
    return b;
}

Rattle rattle(ParameterReader in) {
    Rattle r{};
    r.hits = in.integer("hits", 1, 100);
    r.startMs = time(in, "startMs");
    r.spanMs = time(in, "spanMs");
    r.levelDb = level(in, "levelDb");
    r.wire = modeGroup(in.child("wire"));
    in.finish();
    return r;
}

Spring spring(ParameterReader in) {
    Spring s{};
    s.partials = in.integer("partials", 1, 32);
    std::tie(s.lowHz, s.highHz) = band(in, "lowHz", "highHz");
    s.q = in.number("q", 0.5, 2000);
    s.levelDb = level(in, "levelDb");
    in.finish();
    return s;
}

Scrape scrape(ParameterReader in) {
    Scrape s{};
    s.startMs = time(in, "startMs");
    s.spanMs = in.number("spanMs", 1, longestMs);
    std::tie(s.lowHz, s.highHz) = band(in, "lowHz", "highHz");
    s.grainHz = in.number("grainHz", 0, 1000);
    s.grainShare = in.number("grainShare", 0, 1);
    s.levelDb = level(in, "levelDb");
    in.finish();
    return s;
}

Bell bell(ParameterReader in, ErrorSlot& error) {
    Bell b{};
    b.atMs = time(in, "atMs");
    b.hz = frequency(in, "hz");
    b.attackMs = in.number("attackMs", 0.05, 100);
    b.decayMs = in.number("decayMs", 1, longestMs);
    b.levelDb = level(in, "levelDb");
    const auto& list = in.array("partials");
    for (std::size_t i = 0; i < list.size(); ++i) {
        ParameterReader item(list[i], in.pathOf(fmt::format("partials[{}]", i)), error);
        BellPartial partial{};
        partial.ratio = item.number("ratio", 0.1, 20);
        partial.levelDb = level(item, "levelDb");
        item.finish();
        b.partials.push_back(partial);
    }
    in.finish();
    return b;
}

Housing housing(ParameterReader in, const std::optional<Room>& room) {
    Housing h{};
    h.earlyLevelDb = level(in, "earlyLevelDb");
    h.earlySpreadMs = in.number("earlySpreadMs", 0.6, 50);
    h.tailLevelDb = level(in, "tailLevelDb");
    h.tailRt60Ms = in.number("tailRt60Ms", 1, longestMs);
    std::tie(h.tailLowHz, h.tailHighHz) = band(in, "tailLowHz", "tailHighHz");
    if (in.has("inRoom") && in.boolean("inRoom")) {
        h.room = room;
        if (!room)
            in.fail("inRoom", "needs a room of the theme");
    }
    in.finish();
    return h;
}

Output output(ParameterReader in) {
    Output o{};
    o.lengthMs = in.number("lengthMs", 20, longestMs);
    o.fadeMs = time(in, "fadeMs");
    std::tie(o.highPassHz, o.lowPassHz) = band(in, "highPassHz", "lowPassHz");
    o.loudnessDb = in.number("loudnessDb", lowestDb, 0);
    o.peakCeilingDb = in.number("peakCeilingDb", lowestDb, -1);
    in.finish();
    return o;
}

Variation variation(ParameterReader in) {
    Variation v{};
    v.pitchPercent = in.number("pitchPercent", 0, 50);
    v.levelDb = in.number("levelDb", 0, 24);
    v.timePercent = in.number("timePercent", 0, 90);
    v.loudnessDb = in.number("loudnessDb", 0, 12);
    in.finish();
    return v;
}

std::vector<Impact> impacts(ParameterReader& in, ErrorSlot& error) {
    std::vector<Impact> result;
    const auto& list = in.array("impacts");
    for (std::size_t i = 0; i < list.size(); ++i) {
        ParameterReader item(list[i], in.pathOf(fmt::format("impacts[{}]", i)), error);
        Impact impact{};
        impact.atMs = time(item, "atMs");
        impact.levelDb = level(item, "levelDb");
        if (item.has("toneOctaves"))
            impact.toneOctaves = item.number("toneOctaves", -4, 4);
        item.finish();
        result.push_back(impact);
    }
    if (result.empty())
        in.fail("impacts", "must name at least one impact");
    return result;
}

Strike strike(ParameterReader& in, const std::optional<Room>& room, ErrorSlot& error) {
    Strike s{};
    s.tuning = in.number("tuning", 0.1, 10);
    s.exciter = exciter(in.child("exciter"));
    s.impacts = impacts(in, error);
    s.directDb = level(in, "directDb");
    const auto& bodies = in.object("bodies");
    for (const auto& [name, value] : bodies.items())
        s.bodies.emplace(name, body({value, in.pathOf("bodies." + name), error}));
    if (in.has("rattle"))
        s.rattle = rattle(in.child("rattle"));
    if (in.has("spring"))
        s.spring = spring(in.child("spring"));
    if (in.has("scrape"))
        s.scrape = scrape(in.child("scrape"));
    if (in.has("bell"))
        s.bell = bell(in.child("bell"), error);
    s.housing = housing(in.child("housing"), room);
    s.output = output(in.child("output"));
    s.variation = variation(in.child("variation"));
    return s;
}

Pop pop(ParameterReader& in, const std::optional<Room>& room) {
    Pop p{};
    p.count = in.integer("count", 1, 100);
    p.spacingMs = time(in, "spacingMs");
    p.riseSemitones = in.number("riseSemitones", -48, 48);
    p.startHz = frequency(in, "startHz");
    p.endHz = frequency(in, "endHz");
    p.sweepMs = in.number("sweepMs", 0.1, longestMs);
    p.attackMs = in.number("attackMs", 0.05, 100);
    p.decayMs = in.number("decayMs", 0.1, longestMs);
    p.overtoneDb = level(in, "overtoneDb");
    p.breathDb = level(in, "breathDb");
    p.breathHz = frequency(in, "breathHz");
    p.breathDecayMs = in.number("breathDecayMs", 0.1, 1000);
    p.housing = housing(in.child("housing"), room);
    p.output = output(in.child("output"));
    p.variation = variation(in.child("variation"));
    return p;
}

Whir whir(ParameterReader& in) {
    Whir w{};
    std::tie(w.lowHz, w.highHz) = band(in, "lowHz", "highHz");
    w.swellHz = in.number("swellHz", 0, 100);
    w.swellDb = in.number("swellDb", 0, 40);
    w.grainHz = in.number("grainHz", 0, 1000);
    w.grainDb = level(in, "grainDb");
    w.grain = modeGroup(in.child("grain"));
    w.width = in.number("width", 0, 1);
    w.lengthMs = in.number("lengthMs", 100, longestMs);
    w.loudnessDb = in.number("loudnessDb", lowestDb, 0);
    return w;
}

} // namespace

Room readRoom(ParameterReader in) {
    Room r{};
    r.reflections = in.integer("reflections", 1, 64);
    r.firstMs = in.number("firstMs", 0.1, 100);
    r.lastMs = in.number("lastMs", 0.1, 200);
    r.levelDb = level(in, "levelDb");
    r.lowPassHz = frequency(in, "lowPassHz");
    if (r.lastMs < r.firstMs)
        in.fail("lastMs", "must not lie before firstMs");
    in.finish();
    return r;
}

Voice readVoice(const nlohmann::json& object, const std::string& path,
                const std::optional<Room>& room, ErrorSlot& error) {
    ParameterReader in(object, path, error);
    const std::string kind = in.text("kind");
    Voice voice;
    if (kind == "strike")
        voice = strike(in, room, error);
    else if (kind == "pop")
        voice = pop(in, room);
    else if (kind == "whir")
        voice = whir(in);
    else
        in.fail("kind", "must be \"strike\", \"pop\" or \"whir\"");
    in.finish();
    return voice;
}

} // namespace morvel::forge
