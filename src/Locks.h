#pragma once

// The locks of the daemon, in their rank: a lock is taken only while holding locks that stand above it.
//
// | Rank | Lock                     | Guards                                   | Threads                            |
// |------|--------------------------|------------------------------------------|------------------------------------|
// | 1    | LogDaemon::stateMutex    | the other members of LogDaemon, but for  | main, queueThread                  |
// |      |                          | energyLogDb and the power log's          |                                    |
// | 2    | RAMLogger::listLock      | the history: parameterList and all under | queueThread (tick), main (refresh, |
// |      |                          | it                                       | replay)                            |
// | 3    | Logger::logMutex         | one logger against a second log call     | queueThread, main                  |
// | 4    | FileLogger::fileMutex    | one file logger's file and parameters    | queueThread, main                  |
// | -    | exportMutex (power log)  | the flag exportActive, for a few         | main, the power log export thread  |
// |      |                          | instructions; nothing is taken under it  |                                    |
//
// The database queue is the only lock of EnergyLogDB: callers block on it. No lock above is held by a caller there.
//
// stateMutex is open around getDefaultLog, getMetadata and getValues and around raising usbLogStarted, usbLogStopped,
// customUsbLogStarted, customUsbLogStopped and hasSettingsOnUSBChanged: an operation that does either has a guard of
// its own or takes its caller's as an argument, opens it, acts and closes it again, so a caller must expect members to
// have changed. The serial number is asked for with stateMutex held where a log gets a new file (but for the start of a
// custom one, snapshots and conversions) and where an internal log is removed: a platform that is silent just then
// holds up the tick.
// A guard opens the mutex only if it is the one lock on it that the thread holds, so such an operation is never called
// by a method that has locked on its own account as well.
// valuesUpdated is raised with stateMutex held: the loggers' log slots run inside the tick. So are saveSettings and
// restoreSettings, which are queued and only leave a note.
//
// One exception to the order: FileLogger::updateParameters takes fileMutex and then, through BinaryLogger::stop,
// logMutex. log takes them the other way round. It is safe because a binary log gets its parameters before it starts
// and none while it runs. A text log does get some while it runs: its stop takes no mutex, and both calls come under
// stateMutex.
//
// saveSysInfoToUsb reads usbPath without stateMutex, and reading it while a drive comes or goes is a race.
// Every lock waits for ever. There is no path for a lock that cannot be had.
