// The main function of test programs about what a user may read: run by the superuser, who may read
// everything, they go on as nobody.

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <QCoreApplication>
#include <cstdlib>

int main(int argc, char** argv) {
    constexpr uid_t nobody = 65534;
    if (geteuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0))
        return EXIT_FAILURE;
    prctl(PR_SET_DUMPABLE, 1); // the leak checker looks into its own process
    QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
