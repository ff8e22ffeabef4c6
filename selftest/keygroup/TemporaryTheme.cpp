#include "selftest/keygroup/TemporaryTheme.h"

#include "platform/Files.h"
#include "themes/ThemeManifest.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <system_error>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

constexpr int mostNames = 100;

std::string manifestOf(const TemporaryTheme::Content& content) {
    nlohmann::json categories;
    for (const auto& [key, variants] : content.categories)
        categories[key] = {{"variants", variants}};
    return nlohmann::json{{"schemaVersion", ThemeManifest::supportedSchemaVersion},
                          {"id", content.id},
                          {"name", content.name},
                          {"categories", categories}}
        .dump(2);
}

// Creating is what finds out whether a name is free: nobody can come in between.
Result<fs::path, std::string> newFolder(const fs::path& parent, const std::string& name) {
    std::error_code error;
    for (int number = 1; number <= mostNames; ++number) {
        const fs::path folder = parent / (number == 1 ? name : name + "-" + std::to_string(number));
        if (fs::create_directory(folder, error))
            return folder;
        if (error && error != std::errc::file_exists)
            break;
    }
    return error ? error.message() : std::string("no free folder name");
}

std::optional<std::string> copyFile(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::copy_file(from, to, error);
    return error ? std::optional(from.filename().string() + ": " + error.message()) : std::nullopt;
}

} // namespace

Result<TemporaryTheme, std::string>
TemporaryTheme::write(const fs::path& themes, const fs::path& sounds, const Content& content) {
    const auto folder = newFolder(themes, content.id);
    if (!folder)
        return folder.error();
    TemporaryTheme theme(folder.value());
    for (const auto& [key, variants] : content.categories)
        for (const std::string& variant : variants)
            if (auto problem = copyFile(sounds / variant, theme.folder_ / variant))
                return *std::move(problem);
    if (auto problem = replaceFile(theme.folder_ / "manifest.json", manifestOf(content)))
        return *std::move(problem);
    return theme;
}

TemporaryTheme::~TemporaryTheme() {
    if (folder_.empty())
        return;
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

TemporaryTheme::TemporaryTheme(TemporaryTheme&& other) noexcept
    : folder_(std::exchange(other.folder_, {})) {}

} // namespace morvel
