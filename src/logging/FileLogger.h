#pragma once

#include "logging/Logger.h"

#include <p7zemo.h>

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <QStringList>

#include <memory>
#include <utility>

class QDataStream;
class QFile;
class QTextStream;

/// A log in one file of one directory. Calling order: construct, updateParameters, start, log any number of times,
/// stop, and then deleteLater. The directory must exist.
///
/// A row that the medium does not take (full, pulled) is lost, and nothing of it stays in the file or in memory; the
/// first row that is taken again goes behind the last whole one. The trace tells when that begins and when it ends.
class FileLogger : public Logger
{
    Q_OBJECT

public:
    FileLogger(const QString& objL_directory, int iL_type, QObject* parent);
    ~FileLogger() override;

    void flush() override;

    /// With its dot.
    virtual QString getFileExtension() = 0;
    /// The first part of the file's name. What is set counts from the next new file on.
    virtual QString getBaseName() = 0;
    virtual void setBaseName(const QString& objL_baseName) = 0;
    /// Whether a file is open and takes rows; false also after a start that could not open it. Takes no lock: no start,
    /// stop or updateParameters may be under way on another thread.
    virtual bool isRunning();

    /// Name, serial number and "%1" for the number, then the extension.
    static QString makeFileNamePattern(QString baseName, const QString& extension);
    static QString formatLogFileName(const QString& baseName, const QString& extension, uint32_t number);
    /// The path of the first file of that name that does not exist, and its number, from 1. Past 1000000 existing files
    /// the path of an existing one.
    static std::pair<QString, uint32_t> getLogFileName(const QString& directory, const QString& baseName,
                                                       const QString& extension);

    /// Names of the parameters, in column order.
    QStringList getParameterTitles();

public slots:
    /// Idle: takes the set. Running: goes on in a new file if the set has an id that is not in the log, and otherwise
    /// changes nothing. Only ids are compared.
    void updateParameters(QMap<int32_t, Metadata> objL_logParameters) override;

protected:
    /// The path for the next open; sets logIndex.
    QString nextLogFilePath(bool continueLog);
    /// True also when the file could not be opened: isRunning tells. False when the stream is not usable.
    bool openBinaryFile(bool continueLog);
    bool openTextFile(bool continueLog);
    /// True whatever the state.
    bool closeFile();

    /// Write the head of the file, whole or not at all, and flush. A head that the medium did not take goes before the
    /// next row. Running, with the stream of that kind; call under fileMutex.
    void writeTextHead(const QString& objL_head);
    void writeBinaryHead(const QByteArray& objL_head);
    /// Write one row, whole or not at all, and flush. The same holds.
    void writeTextRow(const QString& objL_row);
    void writeBinaryRow(const QByteArray& objL_row);

    QString directory;
    QString fileName; ///< empty while no file is in use
    int64_t lastFlushMs = 0;
    QMap<int32_t, Metadata> parameters; ///< its order is the column order
    QRecursiveMutex fileMutex;          // rank 4
    std::unique_ptr<QFile> file;
    std::unique_ptr<QDataStream> dataStream;
    std::unique_ptr<QTextStream> textStream;

private:
    static p7zemo_module_t traceModule();

    void makeFile(bool continueLog);
    template <class Stream>
    bool openFile(std::unique_ptr<Stream>& objL_stream, QIODevice::OpenMode objL_mode, bool continueLog);
    bool hasNewParameter(const QMap<int32_t, Metadata>& objL_logParameters) const;
    template <class Stream, class Give> void write(Stream& objL_stream, Give fnL_give);
    bool cutToWholeRows();
    void noteWrite(bool bL_whole);
    void flushFile();

    int64_t wholeLength = 0;   ///< length of the file up to its last whole row
    bool endsInCutRow = false; ///< the file is longer than wholeLength
    bool writeFailing = false; ///< the last row was lost
    QByteArray unwrittenHead;  ///< head of the file that the medium did not take, as it is to stand in the file
};
