#include "platform/linux/LinuxApplicationBundle.h"

#include <string>
#include <string_view>
#include <system_error>

namespace morvel {

namespace fs = std::filesystem;

namespace {

std::optional<fs::path> bundleAbove(const fs::path& executable) {
    for (fs::path folder = executable.parent_path(); folder.has_relative_path();
         folder = folder.parent_path())
        if (folder.filename().string().ends_with(".app"))
            return folder;
    return std::nullopt;
}

} // namespace

std::optional<fs::path> runningExecutable(const fs::path& link) {
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    if (error || target.empty())
        return std::nullopt;
    constexpr std::string_view replacedMark = " (deleted)";
    std::string text = target.string();
    if (text.ends_with(replacedMark) && !fs::exists(target, error))
        text.resize(text.size() - replacedMark.size());
    return text;
}

ApplicationBundle applicationBundle(const std::optional<fs::path>& executable,
                                    const std::optional<fs::path>& sourceThemes) {
    ApplicationBundle bundle{executable, {}, std::nullopt, sourceThemes};
    if (!executable)
        return bundle;
    const auto folder = bundleAbove(*executable);
    bundle.path = folder.value_or(executable->parent_path());
    if (!folder)
        return bundle;
    std::error_code error;
    const fs::path identity =
        *folder / "share/applications" / (std::string(applicationIdentifier) + ".desktop");
    if (fs::is_regular_file(identity, error))
        bundle.identifier = applicationIdentifier;
    if (const fs::path sounds = *folder / "share/Sounds"; fs::is_directory(sounds, error))
        bundle.themes = sounds;
    return bundle;
}

} // namespace morvel
