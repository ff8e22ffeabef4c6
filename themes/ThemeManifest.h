// A theme folder's manifest.json: what it says, and how it is read.
//
// Reading is strict: a value of the wrong type anywhere makes the whole manifest unreadable. It is
// safe on any bytes: the size and the nesting of the file are limited, so memory and stack are
// bounded.
#pragma once

#include "platform/Result.h"
#include "sound/SoundCategory.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace morvel {

struct ThemeManifest {
    static constexpr std::int64_t supportedSchemaVersion = 1;

    // An honest manifest has a few kilobytes and is four levels deep.
    static constexpr std::size_t largestFile = std::size_t{1} << 20;
    static constexpr std::size_t deepestNesting = 64;

    // Theme-wide values for entries that give none of their own.
    struct Defaults {
        std::optional<float> gain;             // linear; absent: 1
        std::optional<float> pitchJitterCents; // absent: 0

        bool operator==(const Defaults&) const = default;
    };

    // What the manifest says about one category key. Absent stays absent; numbers are any finite
    // ones.
    struct Entry {
        std::optional<std::vector<std::string>> variants; // file names in the theme's folder
        std::optional<float> gain;                        // linear
        std::optional<float> pitchJitterCents;
        std::optional<bool> loop;

        bool operator==(const Entry&) const = default;
    };

    // Why a folder has no usable manifest.
    struct ManifestError {
        struct Missing {
            std::filesystem::path folder;
            bool operator==(const Missing&) const = default;
        };
        struct Unreadable {
            std::string text;
            bool operator==(const Unreadable&) const = default;
        };
        struct UnsupportedSchema {
            std::int64_t found = 0;
            std::int64_t supported = supportedSchemaVersion;
            bool operator==(const UnsupportedSchema&) const = default;
        };
        std::variant<Missing, Unreadable, UnsupportedSchema> reason;

        // For the log and the user; valid UTF-8.
        std::string description() const;

        bool operator==(const ManifestError&) const = default;
    };

    // Keys are as written in the file; of a key written twice the last counts.
    using Categories = std::map<std::string, Entry, std::less<>>;

    std::int64_t schemaVersion = 0;
    std::string id; // the author's; a theme goes by its folder's name instead
    std::string name;
    std::optional<std::string> author;
    std::optional<std::string> description;
    std::optional<Defaults> defaults;
    Categories categories;

    bool operator==(const ThemeManifest&) const = default;

    // Reads `folder`/manifest.json. A file that cannot be read for whatever reason is Missing;
    // one that is too large, not JSON, or of another shape is Unreadable; then the schema version
    // is checked, which has no lower bound.
    static Result<ThemeManifest, ManifestError> readManifest(const std::filesystem::path& folder);

    // The same for the bytes of a manifest (never Missing).
    static Result<ThemeManifest, ManifestError> decode(std::string_view json);

    // The categories in the order in which they are to be loaded: those under a current key before
    // all others, so that an explicit definition wins over a retired name. Points into *this.
    std::vector<const Categories::value_type*> walkOrder() const&;

    // The categories for which `folder` really holds a file that opens as audio, and the key group
    // categories whose root is one of them.
    std::set<SoundCategory> authoredCategories(const std::filesystem::path& folder) const;
};

// Whether a manifest may name this file: it stays in the theme's folder by having no slash and no
// two dots in a row.
bool isLegalVariantName(std::string_view name);

// An entry's values with the manifest's defaults put in.
struct EffectiveEntry {
    float gain = 1;
    float pitchJitterCents = 0;
    bool loops = false;
};
EffectiveEntry effectiveEntry(const ThemeManifest& manifest, const ThemeManifest::Entry& entry,
                              SoundCategory category);

} // namespace morvel
