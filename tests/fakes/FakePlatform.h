#pragma once

#include <p7zemo.h>
#include <zemo/AlarmInfo.h>
#include <zemo/ChangeLogEntry.h>
#include <zemo/DataValue.h>
#include <zemo/Metadata.h>
#include <zemo/PanelText.h>
#include <zemo/PowerLogRecord.h>

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <string>
#include <vector>

/// One message that reached the trace.
struct FakeTraceLine
{
    std::string module; ///< empty for a null handle
    uint32_t level;
    uint32_t line;
    std::string file;
    std::string function;
    std::string text; ///< formatted
};

/// The platform's state that the faked clients serve, one for the process. Make one in a test (it resets everything and
/// sets the client singletons), fill its fields, act. Fields are set before the daemon's threads run, or with lock();
/// the clients take the same lock while they read and call `onCall` without it.
class FakePlatform
{
public:
    FakePlatform();
    ~FakePlatform();
    static FakePlatform& instance();

    // What the services answer.
    QString serial = QStringLiteral("123456");
    QString deviceName = QStringLiteral("Pump station 7");
    QMap<int, zemo::data::Metadata> metadata; ///< every parameter that getMetadata knows
    QMap<int, zemo::data::DataValue> values;  ///< what getValues answers
    QList<int> defaultLog;                    ///< ids out of `metadata`
    QList<int> modbusParams;                  ///< ids out of `metadata`
    QList<zemo::data::ChangeLogEntry> changeLog;
    QMap<unsigned int, QString> texts;
    QList<zemo::system::AlarmInfo> alarms;
    QList<zemo::data::PowerLogRecord> hourlyPower;
    QList<zemo::data::PowerLogRecord> quarterlyPower;
    QByteArray settings;
    bool acceptRestore = true;
    QStringList drives;

    /// Called on the caller's thread at the start of every client operation with its name ("getValues"), before it is
    /// answered and without the lock; a test blocks or changes things here.
    std::function<void(const char* operation)> onCall;

    // What was asked.
    struct Call
    {
        std::string operation;
        QList<int> ids;
        QString locale;
        long long first = 0; ///< count, save type or start, by the operation
        long long second = 0;
    };
    std::vector<Call> calls();
    int callCount(const std::string& operation);
    /// The latest call of `operation`, or one with no name if there was none.
    Call lastCall(const std::string& operation);
    QByteArray restoredSettings();

    /// Adds a parameter with an integer value to `metadata` and `values`.
    zemo::data::Metadata& addParameter(int id, const QString& name, const QString& unit = QString(),
                                       long long value = 0, unsigned char varSize = zemo::data::VarSizeInt32);

    /// The drive list changes and every UsbClient raises its signal.
    void insertDrive(const QString& path);
    void removeDrive(const QString& path);
    /// DataManagementClient raises restoreSettingsStarted / restoreSettingsFinished.
    void emitRestoreStarted();
    void emitRestoreFinished(bool ok);

    // The trace.
    std::vector<FakeTraceLine> trace();
    void clearTrace();
    /// The texts of all messages at `level` of `module`.
    std::vector<std::string> traceTexts(const std::string& module, uint32_t level);
    /// How often a message of exactly this kind was traced.
    int traceCount(const std::string& module, uint32_t level, const std::string& function, const std::string& text);

    /// Everything that reached the fakes, in one order: calls of the trace library and of the application shell with
    /// their arguments, client operations by their name, messages as "level module: text".
    std::vector<std::string> history();
    /// Adds to the history of the present platform, if there is one.
    static void addHistory(const std::string& entry);

    /// Guards every field against the clients.
    void lock();
    void unlock();

    // Used by the fakes themselves.
    void record(const Call& call);
    void addTrace(const FakeTraceLine& line);
    void setRestored(const QByteArray& settings);

private:
    struct Private;
    Private* d;
};
