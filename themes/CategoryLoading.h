// Loading the categories that a manifest lists; a step of SoundTheme::load.
#pragma once

#include "platform/Log.h"
#include "themes/SoundTheme.h"
#include "themes/ThemeManifest.h"
#include "themes/VariantDecoder.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace morvel {

// One use: construct, run(), take the results.
class CategoryLoading {
public:
    // All are kept by reference.
    CategoryLoading(const std::string& themeID, const ThemeManifest& manifest,
                    const std::filesystem::path& folder, Log& log);

    void run();

    std::map<SoundCategory, SoundTheme::LoadedCategory> takeCategories();
    // Variants that were decoded, each listing counted.
    int bufferCount() const { return bufferCount_; }

private:
    std::vector<std::string> filesOfCurrentKeys() const;
    void loadEntry(const std::string& key, const ThemeManifest::Entry& entry);
    bool admits(const std::string& key, const ManifestKeyResolution& resolution);
    std::vector<std::shared_ptr<const PcmBuffer>> buffersOf(const ThemeManifest::Entry& entry);

    const std::string& themeID_;
    const ThemeManifest& manifest_;
    Log& log_;
    VariantDecoder decoder_;
    std::map<SoundCategory, SoundTheme::LoadedCategory> categories_;
    int bufferCount_ = 0;
};

} // namespace morvel
