// themeforge <parameter file or folder of them> <output folder>
//
// Renders every theme into a folder of its own, named by its id, within the output folder. Exit
// code 0: all written; 1: a parameter file or a write failed, told in one line; 2: wrong usage.
#include "tools/themeforge/Parameters.h"
#include "tools/themeforge/ThemeFolder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
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

bool forge(const fs::path& file, const fs::path& output) {
    const auto read = readTheme(file);
    if (const auto* error = std::get_if<ParameterError>(&read)) {
        fmt::print(stderr, "themeforge: {}: {}\n", file.string(), error->description());
        return false;
    }
    const auto& theme = std::get<Theme>(read);
    if (const auto error = writeThemeFolder(theme, output)) {
        fmt::print(stderr, "themeforge: {}\n", *error);
        return false;
    }
    fmt::print("{}: {} categories\n", theme.id, theme.categories.size());
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
    return std::all_of(files.begin(), files.end(),
                       [&](const fs::path& file) { return forge(file, argv[2]); })
               ? 0
               : 1;
}
