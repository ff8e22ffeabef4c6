#include "tools/themeforge/Bell.h"
#include "tools/themeforge/Exciter.h"
#include "tools/themeforge/Housing.h"
#include "tools/themeforge/Modal.h"
#include "tools/themeforge/Scrape.h"
#include "tools/themeforge/Voices.h"

namespace morvel::forge {

namespace {

constexpr double rattleDropDb = 12; // from the first hit of a rattle to the last

void addPart(Signal& sound, Signal part, double levelDb) {
    normaliseEnergy(part);
    add(sound, part, fromDb(levelDb));
}

Signal rattleOf(const Strike& voice, std::size_t length, Random& design, Random& take) {
    const Rattle& rattle = *voice.rattle;
    Signal hits(length);
    for (int i = 0; i < rattle.hits; ++i) {
        const double place = (i + take.uniform()) / rattle.hits;
        const double level = -rattleDropDb * place + voice.variation.levelDb * take.bipolar();
        add(hits, blow(voice.exciter, take), fromDb(level),
            frames(rattle.startMs + rattle.spanMs * place));
    }
    return ring(hits, designModes(rattle.wire, voice.tuning, voice.variation, design, take));
}

} // namespace

StereoSignal render(const Strike& voice, Draws draws) {
    Random& design = draws.design;
    Random& take = draws.take;
    const std::size_t length = frames(voice.output.lengthMs);
    const Variation& variation = voice.variation;
    const Signal blows = excitation(voice.exciter, voice.impacts, variation, length, take);
    const auto strayed = [&](double levelDb) {
        return levelDb + variation.levelDb * take.bipolar();
    };

    Signal dry(length);
    addPart(dry, blows, strayed(voice.directDb));
    for (const auto& [name, body] : voice.bodies) {
        const auto modes = designModes(body, voice.tuning, variation, design, take);
        addPart(dry, ring(blows, modes), strayed(body.levelDb));
    }
    if (voice.rattle)
        addPart(dry, rattleOf(voice, length, design, take), strayed(voice.rattle->levelDb));
    if (voice.spring) {
        const auto partials = designPartials(*voice.spring, variation, design, take);
        addPart(dry, ring(blows, partials), strayed(voice.spring->levelDb));
    }
    if (voice.scrape)
        addPart(dry, scrape(*voice.scrape, length, take), strayed(voice.scrape->levelDb));
    if (voice.bell)
        addPart(dry, strike(*voice.bell, length, take), strayed(voice.bell->levelDb));

    const double loudness = voice.output.loudnessDb + variation.loudnessDb * take.bipolar();
    StereoSignal result = house(dry, voice.housing, draws);
    finish(result, voice.output, loudness);
    return result;
}

} // namespace morvel::forge
