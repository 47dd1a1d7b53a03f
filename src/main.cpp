#include "LogConfig.h"
#include "LogDaemonCtrl.h"
#include "Trace.h"

#include <zemo/Watchdog.h>
#include <zemo/ZemoApplication.h>

#include <ini.h>

namespace
{

const char* const ConfigFile = "/etc/zemologd.conf";

// The platform functions that the daemon needs: they bring up the clients that it uses.
constexpr unsigned long long PlatformFunctions = 0x40800801092;

constexpr char ConfigurationFormat[] = "Current configuration:  RAM\n"
                                       "    Max default parameters\t%d\n"
                                       "    Max manual parameters\t%d\n"
                                       "    Interval 1min\t\t%d secs\n"
                                       "    Interval 10sec\t\t%d secs\n"
                                       "    Interval 1sec\t\t%d secs\n"
                                       "  USB\n"
                                       "    History secs\t\t%d secs\n"
                                       "    Future secs\t\t\t%d secs\n"
                                       "  INT\n"
                                       "    History secs\t\t%d secs\n"
                                       "    Future secs\t\t\t%d secs\n"
                                       "    Path\t\t\t%s\n";

} // namespace

// All of the process's own messages come from here, so that they carry the name "main".
int main(int argc, char** argv)
{
    p7zemo_thread_t pL_mainThread = openTrace();
    p7zemo_module_t pL_module = p7zemo_getDefaultTraceModule();

    LogConfig& objL_config = logConfig();
    setDefaults(objL_config);
    const int iL_parsed = ini_parse(ConfigFile, configIniHandler, &objL_config);
    if (iL_parsed == 0)
    {
        ZEMO_TRACE(pL_module, 2, "loaded %s", ConfigFile);
    }
    else if (iL_parsed > 0)
    {
        ZEMO_TRACE(pL_module, 4, "syntax error: %s:%d", ConfigFile, iL_parsed);
    }
    ZEMO_TRACE(pL_module, 2, ConfigurationFormat, objL_config.maxDefault, objL_config.maxManual,
               objL_config.intervalMinute, objL_config.interval10Sec, objL_config.interval1Sec, objL_config.usbHistory,
               objL_config.usbFuture, objL_config.internalHistory, objL_config.internalFuture,
               objL_config.internalPath);

    zemo::ZemoApplication objL_application(argc, argv);
    objL_application.startFunctionality(PlatformFunctions);
    LogDaemonCtrl::start();
    // Only now, so that the service counts as up when its name and object are on the bus. It is gone before its parent,
    // the application, in which it therefore leaves nothing to delete.
    zemo::system::Watchdog objL_watchdog(true, &objL_application);
    ZEMO_TRACE(pL_module, 2, "Starting app");
    const int iL_result = QCoreApplication::exec();
    LogDaemonCtrl::stop();
    ZEMO_TRACE(pL_module, 2, "App finished");

    closeTrace(pL_mainThread); // before the two destructors, which have no trace any more
    return iL_result;
}
