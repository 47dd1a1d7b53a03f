#include "../unit/InSandbox.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv)
{
    // A database syncs at every step, and thousands of its runs are to be through within minutes.
    setenv("TMPDIR", "/dev/shm", 0);
    moveIntoSandbox(argv);
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
