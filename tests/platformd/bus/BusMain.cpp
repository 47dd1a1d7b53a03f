#include "Surroundings.h"

#include <zemo/ZemoApplication.h>

#include <gtest/gtest.h>

namespace
{

constexpr unsigned long long allFunctions = 0x40800801092;

// Comes up with the first test, so that listing the tests needs no bus.
class BusAndClients : public testing::Environment
{
public:
    explicit BusAndClients(zemo::ZemoApplication& application)
        : m_application(application)
    {
    }

    void SetUp() override
    {
        ASSERT_TRUE(theBus().start(scratchFolder()));
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", theBus().address().toUtf8());
        m_application.startFunctionality(allFunctions);
    }

private:
    zemo::ZemoApplication& m_application;
};

} // namespace

PrivateBus& theBus()
{
    static PrivateBus bus;
    return bus;
}

QString scratchFolder()
{
    static const QTemporaryDir folder;
    return folder.path();
}

QString writeScenario(const QByteArray& json)
{
    QFile file(scratchFolder() + QStringLiteral("/scenario.json"));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(json);
    return file.fileName();
}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    zemo::ZemoApplication application(argc, argv);
    testing::AddGlobalTestEnvironment(new BusAndClients(application));
    return RUN_ALL_TESTS();
}
