#include "tools/themeforge/Scrape.h"

#include "tools/themeforge/Filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace morvel::forge {

namespace {

constexpr double toothSharpness = 5; // how many times a tooth falls to 1/e before the next
constexpr double toothLevelDb = 3;   // how far teeth differ

} // namespace

Signal scrape(const Scrape& scrape, std::size_t length, Random& take) {
    Signal result(length);
    const std::size_t start = std::min(length, frames(scrape.startMs));
    const std::size_t span = std::min(length - start, frames(scrape.spanMs));
    const double teeth = scrape.grainHz * scrape.spanMs / 1000;
    std::vector<double> heights(static_cast<std::size_t>(teeth) + 1);
    for (double& height : heights)
        height = fromDb(toothLevelDb * take.bipolar());
    for (std::size_t i = 0; i < span; ++i) {
        const double place = static_cast<double>(i) / static_cast<double>(span);
        const double tooth = std::floor(place * teeth);
        const double grain = heights[static_cast<std::size_t>(tooth)] *
                             std::exp(-toothSharpness * (place * teeth - tooth));
        const double swell = std::sin(std::numbers::pi * place);
        result[start + i] =
            take.bipolar() * swell * swell * (1 - scrape.grainShare + scrape.grainShare * grain);
    }
    Biquad::highPass(scrape.lowHz).process(result);
    Biquad::lowPass(scrape.highHz).process(result);
    return result;
}

} // namespace morvel::forge
