// audition: types a paragraph on the X server of the environment, records what the default sink
// plays meanwhile, and tells whether every key sounded as it must, and how soon.

#include "audio/sample/AudioFileWriter.h"
#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "themes/SoundTheme.h"
#include "tools/audition/Audition.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <fstream>
#include <iostream>

namespace {

using namespace morvel;
using namespace morvel::audition;

constexpr const char* defaultText =
    "Morvel turns every key into an instrument. Type as you always do,\n"
    "with Capitals,\ttabs, and the odd typpo\b\bo; hold ⌃c, ⌥x or ⌘v, leave with ⎋\n"
    "or shout ⇪loud⇪ and be quiet again.\n";

std::vector<SoundCategory> keyboardCategories() {
    std::vector<SoundCategory> result;
    for (const SoundCategory category : allSoundCategories())
        if (module(category) == SoundModule::keyboard && group(category))
            result.push_back(category);
    return result;
}

std::string oneLine(std::string text) {
    for (const auto& [from, to] :
         {std::pair<std::string, std::string>{"\n", "⏎"}, {"\t", "⇥"}, {"\b", "⌫"}})
        for (auto at = text.find(from); at != std::string::npos; at = text.find(from, at))
            text.replace(at, from.size(), to);
    return text;
}

int runAudition(const std::string& text, const std::string& themesFolder,
                const std::string& themeID, const std::string& wav) {
    SimulatedLog log;
    SystemRandom random;
    const ThemeCatalog catalog(themesFolder, {}, log);
    const auto theme = SoundTheme::load(themeID, catalog, log, random);
    if (!theme) {
        std::cerr << "audition: " << theme.error().description() << '\n';
        return 2;
    }
    KeyInjector keys;
    const auto [strokes, recording] =
        takeTyping(keys, typingScript(text), "@DEFAULT_MONITOR@", {}, [](std::size_t count) {
            std::cerr << fmt::format(
                "audition: the sound server dropped out or stood still {} times; once more\n",
                count);
        });

    auto file = AudioFileWriter::create(wav, AudioFileWriter::Encoding::pcm24);
    if (!file || file->writeInterleaved(recording.interleaved) || file->close()) {
        std::cerr << "audition: cannot write " << wav << '\n';
        return 2;
    }
    const auto categories = keyboardCategories();
    const std::vector<HeardSound> heard =
        SoundMatcher(*theme.value(), categories).listen(recording.interleaved);
    const Comparison comparison = compare(strokes, heard, recording);
    std::size_t presses = 0;
    std::size_t releases = 0;
    for (const MadeStroke& made : strokes)
        if (made.stroke.sound)
            ++(made.stroke.pressed ? presses : releases);
    for (const std::string& complaint : comparison.complaints)
        std::cerr << "audition: " << complaint << '\n';
    std::cout << "typed:   " << oneLine(text) << '\n'
              << fmt::format("sounded: {} of {} presses, {} of {} releases\n", comparison.presses,
                             presses, comparison.releases, releases)
              << fmt::format("latency: median {:.1f} ms, 95th percentile {:.1f} ms from key to "
                             "sound\n",
                             comparison.median(), comparison.percentile(0.95));
    return comparison.complaints.empty() && comparison.presses == presses &&
                   comparison.releases == releases
               ? 0
               : 1;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("Types on a running Morvel and listens to it");
    std::string text = defaultText;
    std::string themes;
    std::string theme = "mechanical";
    std::string wav = "typing.wav";
    app.add_option("--text", text, "What to type");
    app.add_option("--themes", themes, "Folder of the built-in themes")->required();
    app.add_option("--theme", theme, "The theme that Morvel plays");
    app.add_option("--out", wav, "Where the recording goes");
    CLI11_PARSE(app, argc, argv);
    try {
        return runAudition(text, themes, theme, wav);
    } catch (const std::exception& error) {
        std::cerr << "audition: " << error.what() << '\n';
        return 2;
    }
}
