#include "InSandbox.h"

#include <zemo/ZemoApplication.h>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    moveIntoSandbox(argv);
    testing::InitGoogleTest(&argc, argv);
    zemo::ZemoApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
