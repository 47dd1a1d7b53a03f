#include "FakePlatform.h"

#include "FakeUsbClients.h"

#include <zemo/AlarmsClient.h>
#include <zemo/DataManagementClient.h>
#include <zemo/MenusClient.h>
#include <zemo/PowerLogClient.h>
#include <zemo/SystemClient.h>

#include <QRecursiveMutex>

#include <algorithm>
#include <cassert>
#include <mutex>

namespace
{
FakePlatform* currentPlatform = nullptr;
} // namespace

struct FakePlatform::Private
{
    std::recursive_mutex mutex;
    std::vector<Call> calls;
    std::vector<FakeTraceLine> trace;
    std::vector<std::string> history;
    QByteArray restored;
    zemo::data::DataManagementClient dataManagement;
    zemo::data::PowerLogClient powerLog;
    zemo::menus::MenusClient menus;
    zemo::system::SystemClient system;
    zemo::system::AlarmsClient alarms;
};

FakePlatform::FakePlatform()
    : d(new Private)
{
    assert(!currentPlatform);
    currentPlatform = this;
    zemo::data::DataManagementClient::instance = &d->dataManagement;
    zemo::data::PowerLogClient::instance_ = &d->powerLog;
    zemo::menus::MenusClient::instance = &d->menus;
    zemo::system::SystemClient::instance = &d->system;
    zemo::system::AlarmsClient::instance = &d->alarms;
}

FakePlatform::~FakePlatform()
{
    zemo::data::DataManagementClient::instance = nullptr;
    zemo::data::PowerLogClient::instance_ = nullptr;
    zemo::menus::MenusClient::instance = nullptr;
    zemo::system::SystemClient::instance = nullptr;
    zemo::system::AlarmsClient::instance = nullptr;
    currentPlatform = nullptr;
    delete d;
}

FakePlatform& FakePlatform::instance()
{
    assert(currentPlatform);
    return *currentPlatform;
}

void FakePlatform::lock()
{
    d->mutex.lock();
}

void FakePlatform::unlock()
{
    d->mutex.unlock();
}

void FakePlatform::record(const Call& call)
{
    std::function<void(const char*)> hook;
    {
        const std::lock_guard guard(*this);
        d->calls.push_back(call);
        d->history.push_back(call.operation);
        hook = onCall;
    }
    if (hook)
    {
        hook(call.operation.c_str());
    }
}

std::vector<FakePlatform::Call> FakePlatform::calls()
{
    const std::lock_guard guard(*this);
    return d->calls;
}

int FakePlatform::callCount(const std::string& operation)
{
    const std::lock_guard guard(*this);
    return static_cast<int>(
        std::count_if(d->calls.begin(), d->calls.end(), [&](const Call& call) { return call.operation == operation; }));
}

FakePlatform::Call FakePlatform::lastCall(const std::string& operation)
{
    const std::lock_guard guard(*this);
    const auto found =
        std::find_if(d->calls.rbegin(), d->calls.rend(), [&](const Call& call) { return call.operation == operation; });
    return found == d->calls.rend() ? Call() : *found;
}

QByteArray FakePlatform::restoredSettings()
{
    const std::lock_guard guard(*this);
    return d->restored;
}

void FakePlatform::setRestored(const QByteArray& blob)
{
    const std::lock_guard guard(*this);
    d->restored = blob;
}

zemo::data::Metadata& FakePlatform::addParameter(int id, const QString& name, const QString& unit, long long value,
                                                 unsigned char varSize)
{
    const std::lock_guard guard(*this);
    zemo::data::Metadata& entry = metadata[id];
    entry.varId = static_cast<uint16_t>(id);
    entry.varSize = varSize;
    entry.name = zemo::localization::PanelText(name, 1);
    entry.unit = unit;
    zemo::data::DataValue sample;
    sample.setVarId(static_cast<unsigned short>(id));
    sample.setVarSize(varSize);
    sample.setIntValue(value);
    sample.setIsOk(true);
    values[id] = sample;
    return entry;
}

void FakePlatform::insertDrive(const QString& path)
{
    {
        const std::lock_guard guard(*this);
        drives.append(path);
    }
    emitDriveInserted(path);
}

void FakePlatform::removeDrive(const QString& path)
{
    {
        const std::lock_guard guard(*this);
        drives.removeAll(path);
    }
    emitDriveRemoved(path);
}

void FakePlatform::emitRestoreStarted()
{
    emit d->dataManagement.restoreSettingsStarted();
}

void FakePlatform::emitRestoreFinished(bool ok)
{
    emit d->dataManagement.restoreSettingsFinished(ok);
}

std::vector<FakeTraceLine> FakePlatform::trace()
{
    const std::lock_guard guard(*this);
    return d->trace;
}

void FakePlatform::clearTrace()
{
    const std::lock_guard guard(*this);
    d->trace.clear();
}

void FakePlatform::addTrace(const FakeTraceLine& line)
{
    const std::lock_guard guard(*this);
    d->trace.push_back(line);
    d->history.push_back(std::to_string(line.level) + " " + line.module + ": " + line.text);
}

std::vector<std::string> FakePlatform::traceTexts(const std::string& module, uint32_t level)
{
    std::vector<std::string> found;
    for (const FakeTraceLine& line : trace())
    {
        if (line.module == module && line.level == level)
        {
            found.push_back(line.text);
        }
    }
    return found;
}

int FakePlatform::traceCount(const std::string& module, uint32_t level, const std::string& function,
                             const std::string& text)
{
    const std::vector<FakeTraceLine> lines = trace();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [&](const FakeTraceLine& line) {
                                              return line.module == module && line.level == level &&
                                                     line.function == function && line.text == text;
                                          }));
}

std::vector<std::string> FakePlatform::history()
{
    const std::lock_guard guard(*this);
    return d->history;
}

void FakePlatform::addHistory(const std::string& entry)
{
    if (currentPlatform)
    {
        const std::lock_guard guard(*currentPlatform);
        currentPlatform->d->history.push_back(entry);
    }
}
