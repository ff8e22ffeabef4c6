// soundbook <folder of themes> <output folder> [theme id...]
//
// Writes <id>.png, the theme's contact sheet, and <id>.flac, its typing demo, for the themes named
// or for all. Exit code 0: all written; 1: a theme failed, told in one line; 2: wrong usage.
//
// A program of its own: the synthesiser beside it stays free of windows and fonts, and what is
// drawn here is what Morvel itself loads, whoever made the theme.
#include "platform/SystemRandom.h"
#include "platform/simulated/SimulatedLog.h"
#include "tools/soundbook/ContactSheet.h"
#include "tools/soundbook/FlacFile.h"
#include "tools/soundbook/TypingDemo.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <QGuiApplication>
#include <cstdio>

namespace {

namespace fs = std::filesystem;
using namespace morvel;
using namespace morvel::soundbook;

std::optional<std::string> drawSheet(const ThemeDescriptor& descriptor, const fs::path& file) {
    SimulatedLog log;
    SystemRandom random;
    // Without a fallback: the sheet shows what the theme itself has.
    const auto theme = SoundTheme::load(descriptor, nullptr, log, random);
    if (!theme)
        return theme.error().description();
    const ContactSheet sheet(*theme.value(),
                             QString::fromStdString(descriptor.description.value_or("")));
    constexpr int smallest = 0; // "quality" of a format that loses nothing
    if (!sheet.draw().save(QString::fromStdString(file.string()), "PNG", smallest))
        return fmt::format("{} cannot be written", file.string());
    return std::nullopt;
}

std::optional<std::string> recordDemo(const ThemeDescriptor& descriptor,
                                      const ThemeCatalog& catalog, const fs::path& file) {
    SimulatedLog log;
    const auto demo = typingDemo(descriptor, catalog, log);
    if (!demo)
        return demo.error().description();
    return writeFlac(file, demo->interleaved);
}

bool write(const ThemeDescriptor& theme, const ThemeCatalog& catalog, const fs::path& output) {
    auto failure = drawSheet(theme, output / (theme.id + ".png"));
    if (!failure)
        failure = recordDemo(theme, catalog, output / (theme.id + ".flac"));
    if (failure)
        fmt::print(stderr, "soundbook: {}: {}\n", theme.id, *failure);
    else
        fmt::print("{}\n", theme.id);
    return !failure;
}

int writeBook(const fs::path& themes, const fs::path& output, const std::vector<std::string>& ids) {
    SimulatedLog log;
    const ThemeCatalog catalog(themes, {}, log);
    std::vector<ThemeDescriptor> wanted;
    for (const std::string& id : ids) {
        const auto theme = catalog.descriptor(id);
        if (!theme) {
            fmt::print(stderr, "soundbook: {}: no such theme in {}\n", id, themes.string());
            return 1;
        }
        wanted.push_back(*theme);
    }
    if (ids.empty())
        wanted = catalog.discover();
    if (wanted.empty()) {
        fmt::print(stderr, "soundbook: {}: holds no themes\n", themes.string());
        return 1;
    }
    std::error_code error;
    fs::create_directories(output, error);
    bool allWritten = true;
    for (const ThemeDescriptor& theme : wanted)
        allWritten = write(theme, catalog, output) && allWritten;
    return allWritten ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App arguments("Draws themes and lets them be heard");
    std::string themes;
    std::string output;
    std::vector<std::string> ids;
    arguments.add_option("themes", themes, "Folder of themes, the Default theme among them")
        ->required();
    arguments.add_option("output", output, "Where pictures and demos go")->required();
    arguments.add_option("ids", ids, "The themes; all, if there is none");
    try {
        arguments.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return arguments.exit(error) == 0 ? 0 : 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    return writeBook(themes, output, ids);
}
