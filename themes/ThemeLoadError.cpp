#include "themes/ThemeLoadError.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

namespace morvel {

std::string ThemeLoadError::description() const {
    if (const auto* unknown = std::get_if<ThemeNotFound>(&reason))
        return fmt::format("No theme folder named '{}' in the bundle or in {}", unknown->id,
                           asValidUtf8(unknown->userThemesDirectory.native()));
    if (const auto* manifest = std::get_if<Manifest>(&reason))
        return manifest->error.description();
    return fmt::format("Theme '{}' has no category whose samples could be decoded",
                       std::get<NoPlayableCategories>(reason).id);
}

std::string BufferLoadError::description() const {
    return std::visit([](const auto& error) { return std::string(error.description()); }, reason);
}

} // namespace morvel
