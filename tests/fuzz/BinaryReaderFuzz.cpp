#include "FakePlatform.h"
#include "FuzzFile.h"

#include "logging/BinaryLogger.h"
#include "logging/FileLogger.h"

#include <QDataStream>
#include <QFile>
#include <QTextStream>

#include <cstdlib>

namespace
{

// Takes rows and keeps none.
class Sink : public FileLogger
{
public:
    Sink()
        : FileLogger(QString(), CsvLog, nullptr)
    {
    }
    bool start(bool /*continueLog*/) override
    {
        return true;
    }
    bool stop() override
    {
        return true;
    }
    bool log(uint32_t /*timestamp*/, QMap<int32_t, DataValue> /*values*/) override
    {
        ++rows;
        return true;
    }
    QString getFileExtension() override
    {
        return {};
    }
    QString getBaseName() override
    {
        return {};
    }
    void setBaseName(const QString& /*baseName*/) override
    {
    }

    size_t rows = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    prepareProcess();
    const FakePlatform platform;
    static const FuzzFile file(QStringLiteral("log.blf"));
    file.write(data, size);
    Sink sink;
    const bool readable = BinaryLogger::read(file.path(), &sink);
    // A row takes four bytes at least, but for one that is cut off.
    if (sink.rows > size / 4 + 1 || (!readable && sink.rows > 0))
    {
        abort();
    }
    return 0;
}
