// The audio files of one theme, each decoded once however often it is listed.
#pragma once

#include "themes/VariantDecoding.h"

#include <cstddef>
#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

namespace morvel {

// One thread calls; the files are decoded by several.
class VariantDecoder {
public:
    // How much audio one theme may hold: 13 minutes of canonical audio, far beyond a set of key
    // sounds. Failed files count for what was decoded of them, so that a folder full of links to
    // one huge file is no way to keep the program busy.
    static constexpr std::size_t budget = std::size_t{256} << 20;

    // The folder is kept by reference.
    explicit VariantDecoder(const std::filesystem::path& folder)
        : folder_(folder) {}

    // Decodes these files on two processors, until the budget is used up. They have to be asked
    // for in this order and before all others: what is refused for the budget's sake must not
    // depend on which thread was faster.
    void decodeAhead(const std::vector<std::string>& names);

    // The file of that name in the folder, decoded now if it was not ahead. Once the budget is
    // used up all that follow are refused.
    const LoadedBuffer& decoded(const std::string& name);

private:
    DecodedVariant take(const std::string& name);
    LoadedBuffer withinBudget(DecodedVariant variant);

    const std::filesystem::path& folder_;
    std::unordered_map<std::string, DecodedVariant> ahead_;
    std::unordered_map<std::string, LoadedBuffer> decoded_;
    std::size_t left_ = budget; // bytes
};

} // namespace morvel
