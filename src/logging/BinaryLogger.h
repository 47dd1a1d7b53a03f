#pragma once

#include "logging/FileLogger.h"

#include <vector>

/// Writes and reads the compact binary log, ".blf": integers only, a fixed set of columns, one row per logged second.
class BinaryLogger : public FileLogger
{
    Q_OBJECT

public:
    /// `interval` is the smallest distance of two rows in seconds.
    BinaryLogger(const QString& directory, int interval, QObject* parent);

    /// False when the file cannot be opened. A medium that is full is no failure: the head then goes before the first
    /// row that it takes.
    bool start(bool continueLog) override;
    /// To be called before the logger goes: its destructor does not end the log.
    bool stop() override;
    QString getFileExtension() override;
    QString getBaseName() override;
    void setBaseName(const QString& objL_baseName) override;

    /// The bare file name of the log with that index.
    static QString fileNameForIndex(uint32_t logIndex, const QString& baseName);
    /// Plays the file into `target`, which is started and stopped. False when it is no binary log; a row that is cut
    /// off is delivered with zeros. After a failure in the rows `target` may be left running.
    static bool read(const QString& path, FileLogger* target);

public slots:
    /// False when no log runs or the row came before its time. A repeated second and a time that runs backwards are
    /// written.
    bool log(uint32_t u32L_timestamp, QMap<int32_t, DataValue> objL_values) override;

private:
    static p7zemo_module_t traceModule();

    struct Column
    {
        uint16_t varId;
        uint8_t varType;
        uint8_t varSize;
        qsizetype offset; ///< in a row
    };

    bool startFile(bool continueLog);
    void findColumns();
    bool logRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values);
    QByteArray head() const;
    void assembleRow(uint32_t u32L_timestamp, const QMap<int32_t, DataValue>& objL_values);

    uint32_t lastLoggedTime = 0;
    int32_t interval;
    QString baseName;
    std::vector<Column> columns; ///< of the running log, in the order of a row
    QByteArray row;              ///< one buffer for all rows
};
