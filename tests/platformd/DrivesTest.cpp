#include "Drives.h"

#include <gtest/gtest.h>

using platformd::isDrivePath;

TEST(Drives, APathOfLettersDigitsAndTheFourSignsIsTaken)
{
    EXPECT_TRUE(isDrivePath(QStringLiteral("/media/usb0")));
    EXPECT_TRUE(isDrivePath(QStringLiteral("/run/Media_1/a.b-c")));
}

TEST(Drives, ARelativePathIsRefused)
{
    EXPECT_FALSE(isDrivePath(QStringLiteral("media/usb0")));
    EXPECT_FALSE(isDrivePath(QString()));
}

TEST(Drives, ASeparatorAtTheEndIsRefused)
{
    EXPECT_FALSE(isDrivePath(QStringLiteral("/media/usb0/")));
    EXPECT_FALSE(isDrivePath(QStringLiteral("/")));
}

TEST(Drives, WhatAShellWouldReadOtherwiseIsRefused)
{
    for (const char* path :
         {"/media/usb 0", "/media/$(id)", "/media/a;b", "/media/'a'", "/media/usb0\n", "/media/a\\b"})
    {
        EXPECT_FALSE(isDrivePath(QString::fromLatin1(path))) << path;
    }
}

TEST(Drives, LettersOfOtherAlphabetsAreRefused)
{
    EXPECT_FALSE(isDrivePath(QStringLiteral("/media/st\u00f6psel")));
}
