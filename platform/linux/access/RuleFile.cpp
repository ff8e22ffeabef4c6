#include "platform/linux/access/RuleFile.h"

#include "platform/Result.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/access/KeyboardRule.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

constexpr std::array folders = {"etc", "udev", "rules.d"};
constexpr mode_t readableByAll = 0644;

using Texts = std::span<const std::string_view>;

enum class Place { empty, current, earlier };

std::string problem(const std::filesystem::path& path, std::string_view reason) {
    return path.string() + ": " + std::string(reason);
}

std::string lastProblem(const std::filesystem::path& path) {
    return problem(path, std::generic_category().message(errno));
}

struct RulesFolder {
    Descriptor descriptor;
    std::filesystem::path rule; // for messages
};

Result<RulesFolder, std::string> openFolder(const std::filesystem::path& root) {
    constexpr int asFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    std::filesystem::path path = root;
    Descriptor folder(::open(root.c_str(), asFolder));
    for (const char* name : folders) {
        if (!folder)
            return lastProblem(path);
        path /= name;
        folder = Descriptor(::openat(folder.get(), name, asFolder | O_NOFOLLOW));
    }
    if (!folder)
        return lastProblem(path);
    return RulesFolder{std::move(folder), path / keyboardRuleName()};
}

bool isRegular(const struct stat& status) {
    return S_ISREG(status.st_mode);
}

std::size_t longestOf(Texts texts) {
    std::size_t longest = 0;
    for (const std::string_view text : texts)
        longest = std::max(longest, text.size());
    return longest;
}

// Reads no more than tells.
Result<Place, std::string> placeOf(const RulesFolder& folder, Texts texts) {
    const Descriptor file(::openat(folder.descriptor.get(), keyboardRuleName().c_str(),
                                   O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0)
        return lastProblem(folder.rule);
    if (!isRegular(status))
        return problem(folder.rule, "not a regular file, left alone");
    std::string content(longestOf(texts) + 1, '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const ssize_t count = ::read(file.get(), content.data() + length, content.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return lastProblem(folder.rule);
        if (count == 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    content.resize(length);
    const auto text = std::ranges::find(texts, std::string_view(content));
    if (text == texts.end())
        return problem(folder.rule, "not written by this program or changed since, left alone");
    return text == texts.begin() ? Place::current : Place::earlier;
}

// Looked at before it is opened: opening a device can have effects of its own.
Result<Place, std::string> lookedAt(const RulesFolder& folder, Texts texts) {
    struct stat status {};
    if (::fstatat(folder.descriptor.get(), keyboardRuleName().c_str(), &status,
                  AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT)
            return Place::empty;
        return lastProblem(folder.rule);
    }
    if (!isRegular(status))
        return problem(folder.rule, "not a regular file, left alone");
    return placeOf(folder, texts);
}

struct RulePlace {
    RulesFolder folder;
    Place place = Place::empty;
};

Result<RulePlace, std::string> findPlace(const std::filesystem::path& root, Texts texts) {
    auto folder = openFolder(root);
    if (!folder)
        return folder.error();
    const auto place = lookedAt(folder.value(), texts);
    if (!place)
        return place.error();
    return RulePlace{std::move(folder).value(), place.value()};
}

bool writeAll(int file, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Of this process alone, and with an ending that udev passes over.
std::string temporaryName() {
    return (std::filesystem::path(".") += keyboardRuleName() + "." + std::to_string(::getpid()))
        .string();
}

Descriptor createTemporary(const RulesFolder& folder) {
    constexpr int anew = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const std::string name = temporaryName();
    Descriptor file(::openat(folder.descriptor.get(), name.c_str(), anew, S_IRUSR | S_IWUSR));
    if (file || errno != EEXIST)
        return file;
    // A process that has long ended bore our number.
    ::unlinkat(folder.descriptor.get(), name.c_str(), 0);
    return Descriptor(::openat(folder.descriptor.get(), name.c_str(), anew, S_IRUSR | S_IWUSR));
}

} // namespace

AccessProblem writeKeyboardRule(const std::filesystem::path& root) {
    return writeRule(root, keyboardRuleTexts());
}

AccessProblem removeKeyboardRule(const std::filesystem::path& root) {
    return removeRule(root, keyboardRuleTexts());
}

AccessProblem writeRule(const std::filesystem::path& root, Texts texts) {
    const auto found = findPlace(root, texts);
    if (!found)
        return found.error();
    const auto& [folder, place] = found.value();
    if (place == Place::current)
        return std::nullopt;
    const int number = folder.descriptor.get();
    const Descriptor file = createTemporary(folder);
    if (!file)
        return lastProblem(folder.rule);
    // A folder can give what is made in it a group of its own.
    if (!writeAll(file.get(), texts.front()) ||
        ::fchown(file.get(), ::geteuid(), ::getegid()) != 0 ||
        ::fchmod(file.get(), readableByAll) != 0 || ::fsync(file.get()) != 0 ||
        ::renameat(number, temporaryName().c_str(), number, keyboardRuleName().c_str()) != 0) {
        const std::string reason = lastProblem(folder.rule);
        ::unlinkat(number, temporaryName().c_str(), 0);
        return reason;
    }
    ::fsync(number);
    return std::nullopt;
}

AccessProblem removeRule(const std::filesystem::path& root, Texts texts) {
    const auto found = findPlace(root, texts);
    if (!found)
        return found.error();
    const auto& [folder, place] = found.value();
    if (place == Place::empty)
        return std::nullopt;
    if (::unlinkat(folder.descriptor.get(), keyboardRuleName().c_str(), 0) != 0)
        return lastProblem(folder.rule);
    ::fsync(folder.descriptor.get());
    return std::nullopt;
}

} // namespace morvel
