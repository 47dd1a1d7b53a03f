#pragma once

#include "logging/FileLogger.h"
#include "logging/LocalTimeText.h"

/// Writes the tab-separated text log: a heading line, then one line per logged moment in local time.
class CSVLogger : public FileLogger
{
    Q_OBJECT

public:
    /// `interval` is the smallest distance of two rows in seconds.
    CSVLogger(const QString& directory, int interval, QObject* parent);
    ~CSVLogger() override;

    /// False when the file cannot be opened. A medium that is full is no failure: the heading then goes before the
    /// first row that it takes.
    bool start(bool continueLog) override;
    /// Takes no mutex: no log of this logger may be under way on another thread.
    bool stop() override;
    QString getFileExtension() override;
    QString getBaseName() override;
    void setBaseName(const QString& objL_baseName) override;
    int getInterval() const;

public slots:
    /// False when no log runs or the row was skipped: it came before its time, or the clock has stepped back by less
    /// than a minute.
    bool log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values) override;

private:
    bool isSkipped(uint32_t u32L_timestamp) const;
    QString headingLine() const;
    void assembleRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values);

    uint32_t lastLoggedTime = 0;
    int32_t interval;
    QString baseName;
    LocalTimeText timeText;
    QString row; ///< one buffer for all rows
};
