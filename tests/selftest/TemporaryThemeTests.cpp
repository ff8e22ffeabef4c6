#include "selftest/keygroup/TemporaryTheme.h"
#include "tests/themes/ThemeFolder.h"
#include "themes/ThemeManifest.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace morvel {
namespace {

namespace fs = std::filesystem;

TEST(TemporaryTheme, TakesTheFirstFreeNameAndIsGoneWithItsEnd) {
    const TemporaryFolder folder;
    const fs::path themes = folder.folder("Themes");
    writeClick(folder.folder("sounds") / "a.wav");
    fs::create_directory(themes / "mine");
    fs::create_symlink("nowhere", themes / "mine-2");
    {
        const auto theme = TemporaryTheme::write(themes, folder / "sounds",
                                                 {"mine", "Mine", {{"keyboard.down", {"a.wav"}}}});
        ASSERT_TRUE(theme) << theme.error();
        EXPECT_EQ(theme->id(), "mine-3");
        const auto manifest = ThemeManifest::readManifest(themes / "mine-3");
        ASSERT_TRUE(manifest);
        EXPECT_EQ(manifest->id, "mine");
        EXPECT_EQ(manifest->name, "Mine");
        EXPECT_EQ(manifest->authoredCategories(themes / "mine-3").size(), 12u);
    }
    EXPECT_TRUE(fs::is_directory(themes / "mine"));
    EXPECT_TRUE(fs::is_symlink(themes / "mine-2"));
    EXPECT_FALSE(fs::exists(themes / "mine-3"));
}

} // namespace
} // namespace morvel
