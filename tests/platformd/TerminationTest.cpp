#include "Termination.h"
#include "NothingCanBeOpened.h"

#include <gtest/gtest.h>

#include <csignal>

TEST(Termination, WithoutADescriptorForTheSignalsTheProgramEndsAtOnceAndSaysSo)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the undefined sanitizer beside it looks at objects through a pipe, which takes descriptors";
#endif
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto begin = []
    {
        const NothingCanBeOpened guard;
        const platformd::Termination termination;
    };

    EXPECT_EXIT(begin(), testing::KilledBySignal(SIGABRT),
                "no descriptor for the signals that end the process: Too many open files");
}
