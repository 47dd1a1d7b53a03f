#pragma once

#include "PacedClock.h"
#include "PinnedFiles.h"
#include "ProcessFigures.h"
#include "Rig.h"

#include <QDateTime>

/// How long the daemon's clock runs, from when, and how many times as fast as ours (but as fast as ours while a
/// snapshot is written, which takes no less time for a quick clock).
struct SoakPlan
{
    QDateTime start;
    qint64 seconds = 0;
    int speed = 60;
    int historyHours = 72;  ///< how far the daemon's history in memory reaches back
    bool everyTick = false; ///< every one is wanted, else four of five: others may want the processor at the same time
};

/// What came of it.
struct SoakReport
{
    qint64 ticks = 0;      ///< seconds of the daemon's clock, each of which is a tick
    qint64 missed = 0;     ///< by how many fewer times than that the platform was asked for values
    qint64 seconds = 0;    ///< between the first and the last row of each run of the main log
    qint64 withoutRow = 0; ///< those of them; a tick may fall into the second before or after its own
    qint64 longestGap = 0;
    std::chrono::milliseconds stoodStill{0};  ///< the clock, as the machine let nothing run
    std::chrono::milliseconds longestStop{0}; ///< the longest piece of it
    std::chrono::milliseconds takenByHost{0}; ///< of the processor's time, where the machine is a virtual one
    int midnights = 0;                        ///< how many the main log went through
    int runs = 0;                             ///< of the main log, each on a stick that had just come in
    int snapshots = 0;
    int energyHours = 0;
    ProcessFigures first; ///< after the first stick
    ProcessFigures last;
    ProcessFigures highest;             ///< each figure's own highest
    double settledMebibytes = 0;        ///< resident once the whole history was replaced by a newer one; 0 before
    double highestSettledMebibytes = 0; ///< resident since then, at most
    QStringList problems;               ///< none if all is well

    QString ticksText() const;
};

/// Days in the life of the daemon, with a quick clock: a main and a custom log on a stick that is changed every two
/// hours, snapshots to the stick and to internal memory, an entry of the energy log each hour. A line on standard
/// output tells of every hour.
class Soak
{
public:
    explicit Soak(const SoakPlan& plan);

    SoakReport run();

private:
    bool begin();
    void live();
    /// Until then, or until there is no daemon any more. False when time doesn't go on.
    bool waitFor(const QDateTime& due);
    void act(int step);
    void pinFiles();
    void changeStick();
    void beginLogs();
    void endLogs();
    void judgeStick();
    void judgeMainLog(const QStringList& files);
    void judgeRows(const QList<QDateTime>& rows);
    void judgeMidnight(const QString& before, const QString& after);
    void takeSnapshots();
    void takeSnapshot();
    void takeInternalSnapshot();
    void addEnergyHour();
    void countEnergyHours();
    void noteTicksToTheOne();
    void noteTicks();
    void noteFigures();
    void noteSettledMemory();
    void printProgress();
    void judgeFigures();

    bool answer(const QDBusPendingReply<bool>& call);
    void demand(bool held, const QString& what);
    QDateTime now() const;

    SoakPlan plan;
    Rig rig;
    PacedClock clock;
    PinnedFiles pinned;
    QDateTime firstDue;
    qint64 firstAsked = 0;
    std::chrono::steady_clock::time_point begun;
    std::chrono::milliseconds takenAtFirst{0};
    SoakReport report;
    QString stick;
    int sticks = 0;
    std::optional<uint> internalLog;
    QList<QDateTime> energyHours;
};
