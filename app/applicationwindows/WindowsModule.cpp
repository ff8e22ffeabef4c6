#include "app/applicationwindows/WindowsModule.h"

#include <fmt/format.h>

#include <QLibrary>
#include <QString>
#include <algorithm>
#include <system_error>

namespace morvel {

Result<std::unique_ptr<ApplicationWindows>, std::string>
loadWindowsModule(const std::vector<std::filesystem::path>& files, const std::string& version,
                  const ApplicationWindows::Services& services) {
    const auto exists = [](const std::filesystem::path& file) {
        std::error_code error;
        return std::filesystem::exists(file, error);
    };
    const auto file = std::ranges::find_if(files, exists);
    if (file == files.end())
        return std::string("there is no module for them");
    QLibrary library(QString::fromStdString(file->string()));
    library.setLoadHints(QLibrary::PreventUnloadHint);
    if (!library.load())
        return library.errorString().toStdString();
    const auto versionOf =
        reinterpret_cast<decltype(&morvelWindowsVersion)>(library.resolve("morvelWindowsVersion"));
    const auto make =
        reinterpret_cast<decltype(&morvelMakeWindows)>(library.resolve("morvelMakeWindows"));
    if (versionOf == nullptr || make == nullptr)
        return fmt::format("{} holds none", file->string());
    if (version != versionOf())
        return fmt::format("{} is of version {}, not {}", file->string(), versionOf(), version);
    return std::unique_ptr<ApplicationWindows>(make(services));
}

} // namespace morvel
