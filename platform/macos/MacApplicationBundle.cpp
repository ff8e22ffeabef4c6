#include "platform/macos/MacApplicationBundle.h"

#include "platform/macos/CfObjects.h"

#include <system_error>

namespace morvel {

ApplicationBundle mainBundle(const std::optional<std::filesystem::path>& sourceThemes) {
    ApplicationBundle result{std::nullopt, {}, std::nullopt, sourceThemes};
    const CFBundleRef bundle = CFBundleGetMainBundle();
    if (bundle == nullptr)
        return result;
    result.executable = pathOf(CfOwned(CFBundleCopyExecutableURL(bundle)).get());
    result.path = pathOf(CfOwned(CFBundleCopyBundleURL(bundle)).get()).value_or("");
    result.identifier = textOf(CFBundleGetIdentifier(bundle));
    if (const auto resources = pathOf(CfOwned(CFBundleCopyResourcesDirectoryURL(bundle)).get())) {
        std::error_code error;
        if (const auto sounds = *resources / "Sounds"; std::filesystem::is_directory(sounds, error))
            result.themes = sounds;
    }
    return result;
}

} // namespace morvel
