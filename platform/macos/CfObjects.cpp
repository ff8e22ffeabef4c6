#include "platform/macos/CfObjects.h"

#include <cstdint>
#include <vector>

namespace morvel {

namespace {

constexpr CFIndex longestPath = 4096;

const std::uint8_t* bytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

} // namespace

CfOwned<CFStringRef> cfString(std::string_view text) {
    return CfOwned(CFStringCreateWithBytes(kCFAllocatorDefault, bytesOf(text),
                                           static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8,
                                           false));
}

std::optional<std::string> textOf(CFStringRef string) {
    if (string == nullptr)
        return std::nullopt;
    const CFIndex size =
        CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer(static_cast<std::size_t>(size));
    if (!CFStringGetCString(string, buffer.data(), size, kCFStringEncodingUTF8))
        return std::nullopt;
    return std::string(buffer.data());
}

CfOwned<CFURLRef> cfFolderUrl(const std::filesystem::path& folder) {
    const std::string& path = folder.native();
    return CfOwned(CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, bytesOf(path), static_cast<CFIndex>(path.size()), true));
}

std::optional<std::filesystem::path> pathOf(CFURLRef url) {
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(longestPath));
    if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, buffer.data(), longestPath))
        return std::nullopt;
    return std::filesystem::path(reinterpret_cast<const char*>(buffer.data()));
}

} // namespace morvel
