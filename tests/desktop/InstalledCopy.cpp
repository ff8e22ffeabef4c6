#include "tests/desktop/InstalledCopy.h"

#include "platform/ApplicationBundle.h"
#include "tests/support/TemporaryFolder.h"

namespace morvel::test {

namespace fs = std::filesystem;

fs::path installCopy(const fs::path& folder, const std::vector<std::string>& themes) {
    const fs::path bundle = folder / "Morvel.app";
    fs::create_directories(bundle / "bin");
    fs::create_directories(bundle / "share/Sounds");
    // With what it loads from its own folder.
    for (const auto& entry : fs::directory_iterator(fs::path(MORVEL_PROGRAM).parent_path()))
        if (entry.path() == MORVEL_PROGRAM || entry.path().extension() == ".so")
            fs::copy_file(entry.path(), bundle / "bin" / entry.path().filename(),
                          fs::copy_options::overwrite_existing);
    for (const std::string& theme : themes)
        fs::copy(fs::path(MORVEL_SOURCE_THEMES) / theme, bundle / "share/Sounds" / theme,
                 fs::copy_options::recursive);
    writeText(bundle / "share/applications" / (std::string(applicationIdentifier) + ".desktop"),
              "[Desktop Entry]\nType=Application\nName=Morvel\nExec=morvel\n");
    return bundle / "bin/morvel";
}

} // namespace morvel::test
