#pragma once

// The locks of the daemon, in their rank: a lock is taken only while holding locks that stand above it.
//
// | Rank | Lock                     | Guards                                   | Threads                            |
// |------|--------------------------|------------------------------------------|------------------------------------|
// | 1    | LogDaemon::stateMutex    | every other member of LogDaemon          | main, queueThread                  |
// | 2    | RAMLogger::listLock      | the history: parameterList and all under | queueThread (tick), main (refresh, |
// |      |                          | it                                       | replay)                            |
// | 3    | Logger::logMutex         | one logger against a second log call     | queueThread, main                  |
// | 4    | FileLogger::fileMutex    | one file logger's file and parameters    | queueThread, main                  |
// | -    | exportMutex (power log)  | the flag exportActive, for a few         | main, the power log export thread  |
// |      |                          | instructions; nothing is taken under it  |                                    |
//
// The database queue is the only lock of EnergyLogDB: callers block on it. No lock above is held by a caller there.
//
// stateMutex is open around every call to a service and around raising usbLogStarted, usbLogStopped,
// customUsbLogStarted, customUsbLogStopped and hasSettingsOnUSBChanged: an operation that does either takes the
// caller's guard as an argument, opens it, acts and closes it again, so a caller must expect members to have changed.
// That opens it only if the guard's is the one lock that the thread holds, so such an operation is never called by a
// method that has locked on its own account as well.
// valuesUpdated is raised with stateMutex held: the loggers' log slots run inside the tick. So are saveSettings and
// restoreSettings, which are queued and only leave a note.
//
// Exceptions to the order:
// - FileLogger::updateParameters takes fileMutex and then, through BinaryLogger::stop, logMutex. log takes them the
//   other way round. It is safe because log and updateParameters of one logger come from one thread: a USB logger is
//   moved to queueThread right after construction and both arrive there or under stateMutex.
// - Every lock waits for ever. There is no path for a lock that cannot be had.
