// themeforge <parameter file or folder of them> <output folder>
//
// Renders every theme into a folder of its own, named by its id, within the output folder, on all
// cores; all parameter files are read before the first sound is written. Shows how far it has come:
// a bar on a terminal, else a line a theme. Exit code 0: all written; 1: a parameter file or a
// write failed, told in one line; 2: wrong usage.
#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/ProgressBar.h"
#include "tools/themeforge/ThemeFolder.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace morvel::forge;

std::vector<fs::path> parameterFiles(const fs::path& given) {
    std::error_code error;
    if (!fs::is_directory(given, error))
        return {given};
    std::vector<fs::path> files;
    for (fs::directory_iterator it(given, error), end; !error && it != end; it.increment(error))
        if (it->path().extension() == ".json")
            files.push_back(it->path());
    std::sort(files.begin(), files.end());
    return files;
}

std::optional<std::vector<Theme>> readThemes(const std::vector<fs::path>& files) {
    std::vector<Theme> themes;
    for (const auto& file : files) {
        auto read = readTheme(file);
        if (const auto* error = std::get_if<ParameterError>(&read)) {
            fmt::print(stderr, "themeforge: {}: {}\n", file.string(), error->description());
            return std::nullopt;
        }
        themes.push_back(std::move(std::get<Theme>(read)));
    }
    return themes;
}

bool forge(const std::vector<Theme>& themes, const fs::path& output) {
    std::size_t total = 0;
    for (const auto& theme : themes)
        total += soundCount(theme);
    ProgressDisplay display(stdout, isatty(STDOUT_FILENO) == 1, total);
    const unsigned threads = std::max(1U, std::thread::hardware_concurrency());
    for (const auto& theme : themes) {
        const auto error =
            writeThemeFolder(theme, output, threads, [&] { display.step(theme.id); });
        if (error) {
            display.end();
            fmt::print(stderr, "themeforge: {}\n", *error);
            return false;
        }
        display.line(fmt::format("{}: {} categories, {} sounds", theme.id, theme.categories.size(),
                                 soundCount(theme)));
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fmt::print(stderr, "usage: themeforge <parameter file or folder> <output folder>\n");
        return 2;
    }
    const auto files = parameterFiles(argv[1]);
    if (files.empty()) {
        fmt::print(stderr, "themeforge: {}: holds no parameter files\n", argv[1]);
        return 1;
    }
    const auto themes = readThemes(files);
    return themes && forge(*themes, argv[2]) ? 0 : 1;
}
