// Reads values from the platform as the daemon does on each tick. usage: zemologd-bench-values COUNT CALLS
#include "ProcessorTime.h"

#include <zemo/DataManagementClient.h>
#include <zemo/ZemoApplication.h>

int main(int argc, char** argv)
{
    zemo::ZemoApplication application(argc, argv);
    application.startFunctionality(0x40800801092);
    const QStringList arguments = QCoreApplication::arguments();
    QList<int> ids;
    for (int i = 0; i < arguments.value(1).toInt(); ++i)
    {
        ids.append(1000 + i);
    }
    printProcessorTime(arguments.value(2).toInt(),
                       [&ids]
                       {
                           if (zemo::data::DataManagementClient::instance->getValues(ids).size() != ids.size())
                           {
                               qFatal("the platform has not answered with all values");
                           }
                       });
    return 0;
}
