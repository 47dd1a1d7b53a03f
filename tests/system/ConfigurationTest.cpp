#include "SmallPlatform.h"
#include "SystemTest.h"

namespace
{

class Configuration : public SystemTest
{
protected:
    /// What the module "Main" traces up to the start of the platform's part. Needs no platform, as there is none.
    QStringList traceWith(const QByteArray& text)
    {
        rig.setConfiguration(text);
        return trace();
    }

    QStringList trace()
    {
        EXPECT_TRUE(rig.startBus() && rig.startDaemon());
        EXPECT_TRUE(rig.daemon.waitForTrace("Starting app"));
        return rig.daemon.summaries("Main");
    }

    /// The value behind a label of the configuration's trace.
    QString value(const QString& label)
    {
        for (const QString& summary : rig.daemon.summaries("Main"))
            for (const QString& line : summary.split('\n'))
                if (line.trimmed().startsWith(label))
                    return line.section('\t', -1);
        return {};
    }
};

} // namespace

TEST_F(Configuration, WithoutAFileNothingIsSaidAboutItAndTheDefaultsHold)
{
    const QStringList traced = trace();

    ASSERT_EQ(traced.size(), 2);
    EXPECT_TRUE(traced[0].startsWith("notice Main: Current configuration:  RAM\n"));
    EXPECT_EQ(value("Max default parameters"), "100");
    EXPECT_EQ(value("Path"), "/var/zemo/var/log/zemologd");
}

TEST_F(Configuration, AnEmptyFileIsLoadedAndTheDefaultsHold)
{
    const QStringList traced = traceWith("");

    EXPECT_EQ(traced.value(0), "notice Main: loaded /etc/zemologd.conf");
    EXPECT_EQ(value("Max default parameters"), "100");
    EXPECT_EQ(value("Interval 1min"), "259200 secs");
}

TEST_F(Configuration, AMisspeltKeyIsASyntaxErrorOfItsLineAndTheRestCounts)
{
    const QStringList traced = traceWith("[ram]\nmax-default = 3\nmax-manuel = 4\ninterval-1sec = 5\n");

    EXPECT_EQ(traced.value(0), "err Main: syntax error: /etc/zemologd.conf:3");
    EXPECT_EQ(value("Max default parameters"), "3");
    EXPECT_EQ(value("Max manual parameters"), "20");
    EXPECT_EQ(value("Interval 1sec"), "5 secs");
}

TEST_F(Configuration, AWordForANumberIsZeroAndNotReported)
{
    const QStringList traced = traceWith("[usb]\nhistory = three days\n");

    EXPECT_EQ(traced.value(0), "notice Main: loaded /etc/zemologd.conf");
    EXPECT_EQ(value("History secs"), "0 secs");
}

TEST_F(Configuration, APathOf150CharactersIsCutTo99AndNotReported)
{
    const QByteArray path = "/" + QByteArray(98, 'a') + QByteArray(51, 'b');

    const QStringList traced = traceWith("[internal]\npath = " + path + "\n");

    EXPECT_EQ(traced.value(0), "notice Main: loaded /etc/zemologd.conf");
    EXPECT_EQ(value("Path"), QString::fromLatin1(path.left(99)));
}

TEST_F(Configuration, AFileOfGarbageIsASyntaxErrorAndTheDaemonComesUp)
{
    QByteArray garbage = "\xff\xfe\x01[[[\n=\n";
    garbage += QByteArray(5000, '\0') + QByteArray(5000, 'x') + "\n[ram\nmax-default = 1\n";

    const QStringList traced = traceWith(garbage);

    EXPECT_TRUE(traced.value(0).startsWith("err Main: syntax error: /etc/zemologd.conf:"));
    EXPECT_EQ(rig.logd().isUsbLogActive().value(), false);
}

TEST_F(Configuration, IsNotReadAgainWhileTheDaemonRuns)
{
    rig.setScenario(smallPlatform);
    rig.setConfiguration("[ram]\nmax-default = 3\n");
    ASSERT_TRUE(rig.start());

    rig.setConfiguration("[ram]\nmax-default = 9\n");
    rig.settle();

    EXPECT_EQ(value("Max default parameters"), "3");
    EXPECT_EQ(rig.daemon.stop(), 0);
    EXPECT_EQ(rig.daemon.summaries("Main").filter("Current configuration").size(), 1);
}
