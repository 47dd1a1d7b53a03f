#include "LogFile.h"

#include "FakePlatform.h"
#include "FakeSync.h"

#include <gtest/gtest.h>

static_assert(noexcept(LogFileDeleter()(nullptr)));

TEST(LogFile, LettingAFileGoClosesItBeforeItSyncs)
{
    const FakePlatform platform;
    const QTemporaryDir folder;
    const QString path = folder.filePath("file");
    const FakeSync sync("cp " + path.toUtf8() + " " + path.toUtf8() + ".seen");
    LogFilePtr file(new QFile(path));
    file->open(QIODevice::WriteOnly);
    file->write("buffered");

    file.reset();

    EXPECT_EQ(sync.runs(), 1);
    EXPECT_FALSE(sync.sawOpen(path));
    QFile seen(path + ".seen");
    ASSERT_TRUE(seen.open(QIODevice::ReadOnly));
    EXPECT_EQ(seen.readAll(), "buffered");
}

TEST(LogFile, GoingOutOfScopeIsEnough)
{
    const FakePlatform platform;
    const FakeSync sync;

    {
        const LogFilePtr file(new QFile);
    }

    EXPECT_EQ(sync.runs(), 1);
}

TEST(LogFile, APointerToNothingDoesNotSync)
{
    const FakePlatform platform;
    const FakeSync sync;
    LogFilePtr file;

    file.reset();

    EXPECT_EQ(sync.runs(), 0);
}
