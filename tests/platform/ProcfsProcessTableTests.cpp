#include "platform/linux/ProcfsProcessTable.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace morvel {
namespace {

namespace fs = std::filesystem;

// A child process that has given itself `name` and waits until it is destroyed.
class NamedChild {
public:
    explicit NamedChild(const char* name) {
        std::array<int, 2> ready{};
        if (::pipe(ready.data()) != 0)
            return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::prctl(PR_SET_NAME, name);
            [[maybe_unused]] const auto written = ::write(ready[1], "x", 1);
            for (;;)
                ::pause();
        }
        char byte = 0;
        named_ = ::read(ready[0], &byte, 1) == 1;
        ::close(ready[0]);
        ::close(ready[1]);
    }
    ~NamedChild() {
        if (pid_ <= 0)
            return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    NamedChild(const NamedChild&) = delete;
    NamedChild& operator=(const NamedChild&) = delete;

    std::int32_t pid() const { return pid_; }
    bool named() const { return named_; }

private:
    pid_t pid_ = -1;
    bool named_ = false;
};

TEST(ProcfsProcessTable, FindsTheParentOfAProcessWithANastyName) {
    const ProcfsProcessTable table;
    for (const char* name : {"a) S 1 (b", "x) R 1 2 3", "((()))", " ", "new\nline) S 7", "\xff)"}) {
        const NamedChild child(name);
        ASSERT_TRUE(child.named());
        EXPECT_EQ(table.parentPid(child.pid()), ::getpid()) << name;
    }
}

TEST(ProcfsProcessTable, KnowsItselfAndItsExecutable) {
    const ProcfsProcessTable table;
    EXPECT_EQ(table.ownPid(), ::getpid());
    EXPECT_EQ(table.executablePath(table.ownPid()), fs::read_symlink("/proc/self/exe").string());
    EXPECT_EQ(table.parentPid(table.ownPid()), ::getppid());
}

TEST(ProcfsProcessTable, AProcessThatIsNotThereHasNothing) {
    const ProcfsProcessTable table;
    std::int32_t gone = 0;
    {
        const NamedChild child("short");
        gone = child.pid();
    }
    for (const std::int32_t pid : {gone, 0, -1, std::int32_t{2147483647}}) {
        EXPECT_EQ(table.executablePath(pid), std::nullopt) << pid;
        EXPECT_EQ(table.parentPid(pid), std::nullopt) << pid;
    }
}

TEST(ProcfsProcessTable, RepairsAPathThatIsNotUtf8) {
    const TemporaryFolder procfs;
    fs::create_directories(procfs / "7");
    fs::create_symlink("/opt/b\xff"
                       "d/tool",
                       procfs / "7/exe");
    EXPECT_EQ(ProcfsProcessTable(procfs.path()).executablePath(7), "/opt/b\xef\xbf\xbd"
                                                                   "d/tool");
}

TEST(ProcfsProcessTable, ABrokenStatTellsNoParent) {
    const TemporaryFolder procfs;
    const ProcfsProcessTable table(procfs.path());
    for (const char* text : {"", "7", "7 (x", "7 (x)", "7 (x) S", "7 (x) S ", "7 (x) S y 1",
                             "7 (x) S 99999999999 1"}) {
        writeText(procfs / "7/stat", text);
        EXPECT_EQ(table.parentPid(7), std::nullopt) << text;
    }
    writeText(procfs / "7/stat", "7 (x) S 5 5 5 0");
    EXPECT_EQ(table.parentPid(7), 5);
}

} // namespace
} // namespace morvel
