#include "platform/linux/Descriptor.h"
#include "platform/linux/ReadAhead.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

namespace morvel {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t bytes = 1 << 20;

// The part of a file that is in the system's cache.
double cachedPart(const std::filesystem::path& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    void* const memory = ::mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED)
        return 0;
    std::vector<unsigned char> pages(bytes / static_cast<std::size_t>(::getpagesize()));
    const bool known = ::mincore(memory, bytes, pages.data()) == 0;
    ::munmap(memory, bytes);
    const auto cached = std::ranges::count_if(pages, [](unsigned char page) { return page & 1; });
    return known ? static_cast<double>(cached) / static_cast<double>(pages.size()) : 0;
}

// On the disk, and nowhere else.
void evict(const std::filesystem::path& path) {
    const Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    ::fsync(file.get());
    ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
}

TEST(ReadAhead, FilesAreInTheCacheBeforeSomebodyReadsThem) {
    const TemporaryFolder folder;
    const std::vector files = {folder.path() / "first", folder.path() / "missing",
                               folder.path() / "last"};
    for (const auto& file : {files.front(), files.back()}) {
        writeText(file, std::string(bytes, 'x'));
        evict(file);
    }
    if (cachedPart(files.back()) > 0)
        GTEST_SKIP() << "this file system is in memory itself";
    const std::jthread reading = readAhead(files);
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    const auto all = [&] { return cachedPart(files.front()) + cachedPart(files.back()) == 2; };
    while (!all() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield(); // a cache tells nobody of what it holds
    EXPECT_TRUE(all());
}

TEST(ReadAhead, EndsAtOnceWhereNothingIsToBeRead) {
    readAhead({}).join();
    readAhead({"/nonexistent/file"}).join();
}

} // namespace
} // namespace morvel
