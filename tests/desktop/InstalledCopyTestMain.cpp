// The main function of test programs whose user is an ordinary one: run by the superuser, they go
// on as nobody, who need not be able to read the build. The copy of the program that
// MORVEL_INSTALLED_COPY names is the user's own.

#include "tests/desktop/InstalledCopy.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdlib>

namespace {

bool becomeOrdinary(const std::filesystem::path& folder) {
    constexpr uid_t nobody = 65534;
    if (geteuid() != 0)
        return true;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (lchown(entry.path().c_str(), nobody, nobody) != 0)
            return false;
    return chown(folder.c_str(), nobody, nobody) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0;
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();
    const morvel::TemporaryFolder folder;
    const auto program = morvel::test::installCopy(folder.path(), {"default", "mechanical"});
    setenv("MORVEL_INSTALLED_COPY", program.c_str(), 1);
    setenv("HOME", folder.path().c_str(), 1); // libraries look for cookies there
    if (!becomeOrdinary(folder.path()))
        return EXIT_FAILURE;
    prctl(PR_SET_DUMPABLE, 1); // the leak checker looks into its own process
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
