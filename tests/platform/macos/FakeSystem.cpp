// Launch Services, libproc, the clock, folders, memory.

#include "tests/platform/macos/FakeObjects.h"

#include <algorithm>
#include <cstring>

using namespace morvel;

extern "C" {

OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* launched) {
    EXPECT_EQ(launched, nullptr);
    FakeMac::current().opened.push_back(fakeOf<FakeUrl>(url)->text);
    return FakeMac::current().openStatus;
}

int proc_pidpath(int pid, void* buffer, std::uint32_t size) {
    const auto& processes = FakeMac::current().processes;
    const auto found = processes.find(pid);
    if (found == processes.end())
        return 0;
    const std::string& path = found->second.path;
    const std::size_t length = std::min<std::size_t>(path.size(), size);
    std::memcpy(buffer, path.data(), length);
    return static_cast<int>(length);
}

int proc_pidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int size) {
    EXPECT_EQ(flavor, 3);
    EXPECT_EQ(argument, 0U);
    EXPECT_EQ(size, 136);
    const auto& processes = FakeMac::current().processes;
    const auto found = processes.find(pid);
    if (found == processes.end())
        return 0;
    static_cast<proc_bsdinfo*>(buffer)->pbi_ppid = found->second.parent;
    return found->second.answered;
}

std::uint64_t mach_absolute_time() {
    return FakeMac::current().ticks;
}

int mach_timebase_info(mach_timebase_info_data_t* info) {
    *info = {FakeMac::current().numerator, FakeMac::current().denominator};
    return 0;
}

sysdir_search_path_enumeration_state
sysdir_start_search_path_enumeration(sysdir_search_path_directory_t directory,
                                     sysdir_search_path_domain_mask_t mask) {
    EXPECT_EQ(mask, SYSDIR_DOMAIN_MASK_USER);
    return directory;
}

sysdir_search_path_enumeration_state
sysdir_get_next_search_path_enumeration(sysdir_search_path_enumeration_state state, char* path) {
    const auto& folders = FakeMac::current().folders;
    const auto found = folders.find(state);
    if (found == folders.end())
        return 0;
    std::memcpy(path, found->second.c_str(), found->second.size() + 1);
    return state;
}

std::size_t malloc_zone_pressure_relief(malloc_zone_t* zone, std::size_t) {
    EXPECT_EQ(zone, nullptr);
    return 0;
}

} // extern "C"
