#include "logging/FileLogger.h"

#include "NameInUse.h"
#include "Trace.h"

#include <zemo/SystemClient.h>

#include <QDataStream>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QMutexLocker>
#include <QTextStream>

#include <algorithm>

namespace
{

constexpr uint32_t LastNumber = 1000001;

} // namespace

FileLogger::FileLogger(const QString& objL_directory, int iL_type, QObject* parent)
    : Logger(iL_type, 0, parent)
    , directory(objL_directory)
{
    traceModule();
}

FileLogger::~FileLogger() = default;

p7zemo_module_t FileLogger::traceModule()
{
    static const p7zemo_module_t objS_module = p7zemo_traceRegisterModule(traceHandle(), "FileLogger");
    return objS_module;
}

void FileLogger::flush()
{
    // A replay flushes on its own thread behind its last row, when the tick may be writing already.
    const QMutexLocker objL_locker(&fileMutex);
    flushFile();
}

void FileLogger::flushFile()
{
    if (file && file->isOpen())
    {
        file->flush();
    }
    if (textStream)
    {
        textStream->flush();
    }
    lastFlushMs = QDateTime::currentMSecsSinceEpoch();
}

bool FileLogger::isRunning()
{
    return file && (dataStream || textStream);
}

QString FileLogger::makeFileNamePattern(QString baseName, const QString& extension)
{
    if (!baseName.isEmpty())
    {
        baseName += QLatin1Char('-');
    }
    return baseName + zemo::system::SystemClient::instance->getSerial() + QStringLiteral("-%1") + extension;
}

QString FileLogger::formatLogFileName(const QString& baseName, const QString& extension, uint32_t number)
{
    return makeFileNamePattern(baseName, extension).arg(number);
}

std::pair<QString, uint32_t> FileLogger::getLogFileName(const QString& directory, const QString& baseName,
                                                        const QString& extension)
{
    const QString objL_pattern = makeFileNamePattern(baseName, extension);
    const QDir objL_directory(directory);
    for (uint32_t u32L_number = 1;; ++u32L_number)
    {
        const QString objL_path = QDir(objL_directory.filePath(objL_pattern.arg(u32L_number))).absolutePath();
        ZEMO_TRACE(traceModule(), 1, "Trying %s", qUtf8Printable(objL_path));
        if (!isNameInUse(objL_path) || u32L_number == LastNumber)
        {
            return {objL_path, u32L_number};
        }
    }
}

QStringList FileLogger::getParameterTitles()
{
    const QMutexLocker objL_locker(&fileMutex);
    QStringList objL_titles;
    for (const Metadata& objL_parameter : std::as_const(parameters))
    {
        objL_titles.append(objL_parameter.name.text());
    }
    return objL_titles;
}

void FileLogger::updateParameters(QMap<int32_t, Metadata> objL_logParameters)
{
    const QMutexLocker objL_locker(&fileMutex);
    if (!isRunning())
    {
        ZEMO_TRACE(traceModule(), 1, "Not running");
        parameters = objL_logParameters;
        return;
    }
    // Only a new id is worth a new file: a log whose parameters went away goes on with its old columns.
    if (!hasNewParameter(objL_logParameters))
    {
        ZEMO_TRACE(traceModule(), 1, "Not restarting");
        return;
    }
    ZEMO_TRACE(traceModule(), 1, "Restarting");
    stop();
    parameters = objL_logParameters;
    start(false);
}

bool FileLogger::hasNewParameter(const QMap<int32_t, Metadata>& objL_logParameters) const
{
    return std::any_of(objL_logParameters.keyBegin(), objL_logParameters.keyEnd(),
                       [this](int32_t s32L_id) { return !parameters.contains(s32L_id); });
}

QString FileLogger::nextLogFilePath(bool continueLog)
{
    if (continueLog && !fileName.isEmpty())
    {
        return fileName;
    }
    const auto [objL_path, u32L_number] = getLogFileName(directory, getBaseName(), getFileExtension());
    setLogIndex(u32L_number - 1);
    return objL_path;
}

bool FileLogger::openBinaryFile(bool continueLog)
{
    const bool bL_usable = openFile(dataStream, {}, continueLog);
    if (dataStream)
    {
        dataStream->setVersion(QDataStream::Qt_5_6);
    }
    return bL_usable;
}

bool FileLogger::openTextFile(bool continueLog)
{
    return openFile(textStream, QIODevice::Text, continueLog);
}

template <class Stream>
bool FileLogger::openFile(std::unique_ptr<Stream>& objL_stream, QIODevice::OpenMode objL_mode, bool continueLog)
{
    if (isRunning())
    {
        return true;
    }
    makeFile(continueLog);
    if (!file->open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered | objL_mode))
    {
        return true;
    }
    objL_stream = std::make_unique<Stream>(file.get());
    if (objL_stream->status() != Stream::Ok)
    {
        file->close();
        file.reset();
        return false;
    }
    return true;
}

// The file has no buffer of its own: rows come whole and are flushed one by one anyway, and a buffer would keep what a
// full or pulled medium did not take, to write it in the wrong place later.
void FileLogger::makeFile(bool continueLog)
{
    // What a failed open left behind.
    dataStream.reset();
    textStream.reset();
    fileName = nextLogFilePath(continueLog);
    file = std::make_unique<QFile>(fileName);
    endsInCutRow = false;
    writeFailing = false;
    unwrittenHead.clear();
}

bool FileLogger::closeFile()
{
    if (!isRunning())
    {
        return true;
    }
    flushFile();
    file->close();
    dataStream.reset();
    textStream.reset();
    file.reset();
    fileName.clear();
    return true;
}

void FileLogger::writeTextHead(const QString& objL_head)
{
    unwrittenHead = objL_head.toUtf8();
    writeTextRow(QString());
}

void FileLogger::writeBinaryHead(const QByteArray& objL_head)
{
    unwrittenHead = objL_head;
    writeBinaryRow(QByteArray());
}

// Head and row go to the stream in one piece, so that none of it can wait in a stream that failed.
void FileLogger::writeTextRow(const QString& objL_row)
{
    write(*textStream, [&](QTextStream& objL_stream)
          { objL_stream << (unwrittenHead.isEmpty() ? objL_row : QString::fromUtf8(unwrittenHead) + objL_row); });
}

void FileLogger::writeBinaryRow(const QByteArray& objL_row)
{
    write(*dataStream,
          [&](QDataStream& objL_stream)
          {
              const QByteArray objL_bytes = unwrittenHead.isEmpty() ? objL_row : unwrittenHead + objL_row;
              objL_stream.writeRawData(objL_bytes.constData(), static_cast<int>(objL_bytes.size()));
          });
}

template <class Stream, class Give> void FileLogger::write(Stream& objL_stream, Give fnL_give)
{
    if (!cutToWholeRows())
    {
        return;
    }
    wholeLength = file->pos();
    fnL_give(objL_stream);
    flushFile();
    const bool bL_whole = objL_stream.status() == Stream::Ok;
    // A stream that failed once would keep all that is written to it from then on.
    objL_stream.resetStatus();
    noteWrite(bL_whole);
}

bool FileLogger::cutToWholeRows()
{
    endsInCutRow = endsInCutRow && !file->resize(wholeLength);
    return !endsInCutRow;
}

void FileLogger::noteWrite(bool bL_whole)
{
    if (bL_whole)
    {
        unwrittenHead.clear();
    }
    else
    {
        endsInCutRow = true;
        cutToWholeRows();
    }
    if (bL_whole != writeFailing)
    {
        return;
    }
    writeFailing = !bL_whole;
    if (writeFailing)
    {
        ZEMO_TRACE(traceModule(), 4, "Writing to '%s' failed", qUtf8Printable(fileName));
    }
    else
    {
        ZEMO_TRACE(traceModule(), 1, "Writing to '%s' works again", qUtf8Printable(fileName));
    }
}
