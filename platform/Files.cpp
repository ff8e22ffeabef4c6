#include "platform/Files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace morvel {

namespace fs = std::filesystem;

namespace {

// As many links in a row as the kernel follows.
constexpr int longestLinkChain = 40;
constexpr int mostSetAside = 1000;
constexpr int mostTemporaries = 10;
constexpr std::string_view temporaryMark = "XXXXXX";

class Descriptor {
public:
    explicit Descriptor(int number)
        : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    // Some file systems report a failed write only here.
    bool close() { return ::close(std::exchange(number_, -1)) == 0; }

private:
    int number_;
};

std::string description(int error) {
    return std::generic_category().message(error);
}

FileContent unreadable(std::string problem) {
    return {FileContent::Kind::unreadable, {}, std::move(problem)};
}

FileContent refused(int error) {
    if (error == ENOENT || error == ENOTDIR)
        return {};
    return unreadable(description(error));
}

bool writeAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = ::write(descriptor, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// The rename reaches the disk with the folder; the content is safe either way, so a file system
// that cannot synchronise a folder is no error.
void synchroniseFolder(const fs::path& folder) {
    const Descriptor descriptor{::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (descriptor.isOpen())
        ::fsync(descriptor.number());
}

std::optional<std::string> createFolders(const fs::path& folder) {
    fs::path partial;
    for (const fs::path& part : folder) {
        partial /= part;
        if (::mkdir(partial.c_str(), 0700) == 0)
            continue;
        const int error = errno;
        struct stat status {};
        if (::stat(partial.c_str(), &status) != 0)
            return fmt::format("{}: {}", partial.string(), description(error));
        if (!S_ISDIR(status.st_mode))
            return fmt::format("{}: {}", partial.string(), description(ENOTDIR));
    }
    return std::nullopt;
}

fs::path folderOf(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

std::string temporaryPrefix(const fs::path& target) {
    std::string prefix(1, '.');
    prefix += target.filename().string();
    prefix += '.';
    return prefix;
}

bool isLocked(int descriptor) {
    return ::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// A file beside `target`, mode 0600, locked for as long as it is open: one that nobody holds is
// what a crash has left. `path` gets its name; -1 and errno where there is none.
int createTemporary(const fs::path& target, std::string& path) {
    for (int tries = 1;; ++tries) {
        path = (folderOf(target) / (temporaryPrefix(target) + std::string(temporaryMark))).string();
        const int file = ::mkostemp(path.data(), O_CLOEXEC);
        struct stat status {};
        // Between its creation and its locking somebody may have cleaned it away.
        if (file < 0 || tries == mostTemporaries ||
            (!isLocked(file) && ::fstat(file, &status) == 0 && status.st_nlink > 0))
            return file;
        ::close(file);
    }
}

} // namespace

FileContent readFile(const fs::path& path, std::size_t longest) {
    // Looked at before it is opened: opening a device can have effects of its own.
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return refused(errno);
    if (!S_ISREG(status.st_mode))
        return unreadable("it is not a regular file");
    // Another program may have put a pipe there since; an open for reading would wait for a writer.
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (!file.isOpen())
        return refused(errno);
    if (::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode))
        return unreadable("it is not a regular file");

    FileContent result{FileContent::Kind::content, {}, {}};
    char buffer[16384];
    for (;;) {
        const ssize_t count = ::read(file.number(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return unreadable(description(errno));
        if (count == 0)
            return result;
        result.text.append(buffer, static_cast<std::size_t>(count));
        if (result.text.size() > longest)
            return unreadable(fmt::format("it is longer than {} bytes", longest));
    }
}

fs::path linkTarget(const fs::path& path) {
    fs::path target = path;
    for (int links = 0; links < longestLinkChain; ++links) {
        std::error_code error;
        const fs::path next = fs::read_symlink(target, error);
        if (error)
            return target;
        target = next.is_absolute() ? next : folderOf(target) / next;
    }
    return path;
}

std::optional<std::string> replaceFile(const fs::path& path, std::string_view content) {
    const fs::path target = linkTarget(path);
    const fs::path folder = folderOf(target);
    if (auto problem = createFolders(folder))
        return problem;

    std::string temporary;
    Descriptor file{createTemporary(target, temporary)};
    if (!file.isOpen())
        return fmt::format("{}: {}", folder.string(), description(errno));
    const Descriptor lock{::fcntl(file.number(), F_DUPFD_CLOEXEC, 0)}; // until it is renamed
    if (!writeAll(file.number(), content) || ::fsync(file.number()) != 0 || !file.close() ||
        ::rename(temporary.c_str(), target.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        return fmt::format("{}: {}", target.string(), description(error));
    }
    synchroniseFolder(folder);
    return std::nullopt;
}

void removeUnfinished(const fs::path& path) {
    const fs::path target = linkTarget(path);
    const std::string prefix = temporaryPrefix(target);
    std::error_code error;
    for (fs::directory_iterator entry(folderOf(target), error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!name.starts_with(prefix) || name.size() != prefix.size() + temporaryMark.size())
            continue;
        const Descriptor file{
            ::open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
        struct stat status {};
        if (file.isOpen() && ::fstat(file.number(), &status) == 0 && S_ISREG(status.st_mode) &&
            ::flock(file.number(), LOCK_EX | LOCK_NB) == 0)
            ::unlink(entry->path().c_str());
    }
}

SetAside setAside(const fs::path& path) {
    const fs::path target = linkTarget(path);
    struct stat status {};
    const bool regular = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    const fs::path& moved = regular ? target : path;
    for (int number = 1; number <= mostSetAside; ++number) {
        fs::path name = moved;
        name += number == 1 ? std::string(".damaged") : fmt::format(".damaged.{}", number);
        if (::lstat(name.c_str(), &status) == 0)
            continue;
        if (::rename(moved.c_str(), name.c_str()) == 0)
            return {name, {}};
        return {std::nullopt, description(errno)};
    }
    return {std::nullopt, "too many damaged copies lie beside it"};
}

} // namespace morvel
