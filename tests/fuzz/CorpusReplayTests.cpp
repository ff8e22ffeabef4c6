// Every file of the fuzzers' corpus, in the ordinary builds too: what was once found stays found.
#include "tests/fuzz/FuzzEntryPoints.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace morvel {
namespace {

void replay(const char* kind, void (*entryPoint)(std::span<const std::uint8_t>)) {
    int count = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(std::filesystem::path(FUZZ_CORPUS) / kind)) {
        SCOPED_TRACE(file.path().filename());
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> content{std::istreambuf_iterator<char>(stream), {}};
        const std::vector<std::uint8_t> bytes(content.begin(), content.end());
        entryPoint(bytes);
        ++count;
    }
    EXPECT_GE(count, 5);
}

TEST(FuzzCorpus, OfManifestsKeepsEveryPromise) {
    replay("manifest", fuzzManifest);
}

TEST(FuzzCorpus, OfAudioFilesKeepsEveryPromise) {
    replay("audio", fuzzAudioFile);
}

} // namespace
} // namespace morvel
