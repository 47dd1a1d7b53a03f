#pragma once

#include <QFile>

#include <gtest/gtest.h>

#include <sys/stat.h>

/// Takes away the rights to a file and tells whether that keeps this user from reading it; a privileged one may all the
/// same.
inline bool canBeRefused(const QString& path)
{
    chmod(QFile::encodeName(path).constData(), 0);
    return !QFile(path).open(QIODevice::ReadOnly);
}

#define NEEDS_REFUSAL(path)                                                                                            \
    if (!canBeRefused(path))                                                                                           \
    GTEST_SKIP() << "this user may read everything"
