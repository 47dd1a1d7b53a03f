#pragma once

#include "FakeClock.h"
#include "Rig.h"

#include <gtest/gtest.h>

/// What Qt's strings look like in a failure.
void PrintTo(const QString& text, std::ostream* stream);
void PrintTo(const QStringList& texts, std::ostream* stream);

/// A test with a run of its own. When it fails, it tells what daemon and platform have written.
class SystemTest : public testing::Test
{
protected:
    void TearDown() override;

    Rig rig;
};

/// For what proot can't do: strace's injection, sticks that fill up.
#define REQUIRE_BUBBLEWRAP()                                                                                           \
    if (Rig::sandboxKind() != QLatin1String("bwrap"))                                                                  \
    GTEST_SKIP() << "needs bubblewrap, and here is " << qUtf8Printable(Rig::sandboxKind())
