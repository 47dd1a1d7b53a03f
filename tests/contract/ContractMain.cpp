#include "PlatformUnderTest.h"

#include <zemo/ZemoApplication.h>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    [[maybe_unused]] const Surroundings surroundings;
    zemo::ZemoApplication application(argc, argv);
    application.startFunctionality(0x40800801092);
    return RUN_ALL_TESTS();
}
