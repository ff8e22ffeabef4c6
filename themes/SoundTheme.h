// A theme made playable: every sound decoded once, in the engine's format.
//
// Built completely or not at all and never changed afterwards: any thread may read it. Loading runs
// on the caller's thread, blocks on the disk, and touches nothing shared.
#pragma once

#include "audio/sample/SampleResolving.h"
#include "platform/Log.h"
#include "platform/RandomSource.h"
#include "platform/Result.h"
#include "sound/SoundCategory.h"
#include "themes/ThemeCatalog.h"
#include "themes/ThemeDescriptor.h"
#include "themes/ThemeLoadError.h"
#include "themes/VariantDecoding.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace morvel {

class SoundTheme : public SampleResolving {
public:
    using LoadError = ThemeLoadError;

    struct LoadedCategory {
        std::vector<std::shared_ptr<const PcmBuffer>> buffers; // never empty; one a variant
        float gain = 1;                                        // linear
        float pitchJitterCents = 0;
        bool loops = false; // the manifest's word; its player decides
    };

    // Where a category's sound comes from.
    enum class Resolution : std::uint8_t {
        exact,     // the theme's own
        viaRoot,   // a key group category, by the theme's own root
        inherited, // by the fallback theme
        unresolved,
    };

    // How the 32 categories resolve; the counts add up to that.
    struct ResolutionBreakdown {
        int exact = 0;
        int viaRoot = 0;
        int inherited = 0;
        int unresolved = 0;

        bool operator==(const ResolutionBreakdown&) const = default;
    };

    using Loaded = Result<std::shared_ptr<const SoundTheme>, LoadError>;

    // Loads the theme of `descriptor` (only its id and directory count) onto an already loaded
    // fallback, which may be null. Sounds that fail are logged and left out. `random` must outlive
    // the theme; `log` is used during the call only.
    static Loaded load(const ThemeDescriptor& descriptor,
                       std::shared_ptr<const SoundTheme> fallbackTheme, Log& log,
                       RandomSource& random);

    // The same with the Default theme, loaded anew, as the fallback. Should that be missing or
    // broken, there is just none; the Default theme itself has none. Of the fallback only the
    // categories are kept that the theme can ever ask it for: the rest would take memory for
    // nothing.
    static Loaded load(const ThemeDescriptor& descriptor, const ThemeCatalog& catalog, Log& log,
                       RandomSource& random);

    // The same for the theme that the catalogue knows by this id.
    static Loaded load(std::string_view themeID, const ThemeCatalog& catalog, Log& log,
                       RandomSource& random);

    // Decodes one audio file into the canonical format.
    static LoadedBuffer loadBuffer(const std::filesystem::path& file);

    const std::string& id() const { return parts_.id; }
    const std::string& name() const { return parts_.name; }
    const std::optional<std::string>& author() const { return parts_.author; }
    const std::map<SoundCategory, LoadedCategory>& categories() const { return parts_.categories; }
    // Where this theme was loaded with the Default theme, that one holds only what this one cannot
    // answer itself: it is not to be played for its own sake.
    const std::shared_ptr<const SoundTheme>& fallbackTheme() const { return parts_.fallbackTheme; }

    // A random variant of the category itself, else of the theme's root for it, else what the
    // fallback theme answers. Gain and jitter are those of the category that supplied the buffer.
    std::optional<ResolvedSample> sample(SoundCategory category) const override;

    // Whether the theme has the category or its root without asking the fallback.
    bool resolvesLocally(SoundCategory category) const;

    // The categories that resolve locally.
    std::set<SoundCategory> authoredCategories() const;

    Resolution resolution(SoundCategory category) const;
    ResolutionBreakdown resolutionBreakdown() const;

private:
    struct Parts {
        std::string id;
        std::string name;
        std::optional<std::string> author;
        std::map<SoundCategory, LoadedCategory> categories;
        std::shared_ptr<const SoundTheme> fallbackTheme;
    };

    SoundTheme(Parts parts, RandomSource& random);

    const LoadedCategory* own(SoundCategory category) const;
    const LoadedCategory* ownRoot(SoundCategory category) const;
    const LoadedCategory* donor(SoundCategory category) const;

    // The theme on a fallback of only what it asks for. The fallback must have none itself.
    static std::shared_ptr<const SoundTheme>
    onTrimmedFallback(std::shared_ptr<const SoundTheme> theme);

    Parts parts_;
    RandomSource& random_;
};

} // namespace morvel
