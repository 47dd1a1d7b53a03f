#include "Platform.h"

#include "Drives.h"

#include <algorithm>
#include <utility>

namespace platformd
{

namespace
{

zemo::localization::PanelText panelText(const LocalText& text, const QString& locale)
{
    return {text.in(locale), 1};
}

zemo::data::Metadata describe(const Parameter& parameter, const QString& locale)
{
    zemo::data::Metadata result;
    result.varId = static_cast<uint16_t>(parameter.id);
    result.varType = parameter.type;
    result.varSize = parameter.size;
    result.decimals = parameter.decimals;
    result.auxByte = parameter.aux;
    result.registerKind = parameter.registerKind;
    result.modbusAddress = parameter.address;
    result.name = zemo::localization::PanelText(parameter.name.in(locale), parameter.panel);
    result.numericAttr1 = parameter.attributes[0];
    result.numericAttr2 = parameter.attributes[1];
    result.numericAttr3 = parameter.attributes[2];
    result.unit = parameter.unit;
    for (const LocalText& text : parameter.texts)
    {
        result.valueTexts.append({text.in(locale)});
    }
    return result;
}

template <typename Wanted>
QMap<int, zemo::data::Metadata> describeAll(const Scenario& scenario, const QString& locale, Wanted wanted)
{
    QMap<int, zemo::data::Metadata> result;
    for (const Parameter& parameter : scenario.parameters)
    {
        if (wanted(parameter))
        {
            result.insert(parameter.id, describe(parameter, locale));
        }
    }
    return result;
}

zdatetime_t plainTime(const QDateTime& time)
{
    zdatetime_t result{};
    result.year = static_cast<uint16_t>(time.date().year());
    result.month = static_cast<uint8_t>(time.date().month());
    result.day = static_cast<uint8_t>(time.date().day());
    result.hour = static_cast<uint8_t>(time.time().hour());
    result.minute = static_cast<uint8_t>(time.time().minute());
    result.second = static_cast<uint8_t>(time.time().second());
    return result;
}

zemo::data::DataValue makeValue(const Parameter& parameter, qint64 number, const QString& text)
{
    zemo::data::DataValue result;
    result.setVarId(static_cast<unsigned short>(parameter.id));
    result.setVarType(parameter.type);
    result.setVarSize(parameter.size);
    result.setIntValue(number);
    result.setStringValue(text);
    result.setIsOk(true);
    return result;
}

zemo::system::AlarmInfo describe(const Alarm& alarm, const QString& locale)
{
    QList<zemo::system::AlarmExtraInfo> extra;
    for (const AlarmNote& note : alarm.extra)
    {
        extra.append({panelText(note.label, locale), panelText(note.value, locale)});
    }
    const zdatetime_t time = plainTime(alarm.time);
    return {zemo::time::DateTime(&time), panelText(alarm.name, locale), alarm.number, panelText(alarm.source, locale),
            extra};
}

bool isInteger(const QVariant& value)
{
    switch (value.typeId())
    {
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

} // namespace

Platform::Platform(std::shared_ptr<const Scenario> scenario, Clock clock, QObject* parent)
    : QObject(parent)
    , m_clock(std::move(clock))
    , m_scenario(std::move(scenario))
    , m_drives(m_scenario->drives)
{
    takeOver();
}

QMap<int, zemo::data::DataValue> Platform::values(const QList<int>& ids) const
{
    const qint64 time = m_clock();
    QMap<int, zemo::data::DataValue> result;
    for (const int id : ids)
    {
        const auto parameter = m_scenario->parameters.constFind(id);
        if (parameter != m_scenario->parameters.constEnd() && !m_dropped.contains(id))
        {
            if (const auto value = valueOf(*parameter, time))
            {
                result.insert(id, *value);
            }
        }
    }
    return result;
}

std::optional<zemo::data::DataValue> Platform::valueOf(const Parameter& parameter, qint64 time) const
{
    if (parameter.hasText())
    {
        const auto held = m_held.constFind(parameter.id);
        return makeValue(parameter, 0, held != m_held.constEnd() ? held->toString() : textAt(parameter.signal, time));
    }
    const std::optional<qint64> number = numberOf(parameter, time);
    return number ? std::optional(makeValue(parameter, *number, {})) : std::nullopt;
}

std::optional<qint64> Platform::numberOf(const Parameter& parameter, qint64 time) const
{
    const auto held = m_held.constFind(parameter.id);
    if (held != m_held.constEnd())
    {
        return held->toLongLong();
    }
    if (parameter.signal.kind == Signal::Kind::Modbus)
    {
        return m_readings->value(parameter.id);
    }
    return wrapToSize(numberAt(parameter.signal, parameter.id, time), parameter.size);
}

QMap<int, zemo::data::Metadata> Platform::metadata(const QList<int>& ids, const QString& locale) const
{
    const QSet<int> wanted(ids.begin(), ids.end());
    return describeAll(*m_scenario, localeName(locale),
                       [&wanted](const Parameter& parameter) { return wanted.contains(parameter.id); });
}

QMap<int, zemo::data::Metadata> Platform::defaultLog(const QString& locale) const
{
    return describeAll(*m_scenario, localeName(locale),
                       [this](const Parameter& parameter) { return m_defaultLog.contains(parameter.id); });
}

QMap<int, zemo::data::Metadata> Platform::modbusParams(const QString& locale) const
{
    return describeAll(*m_scenario, localeName(locale),
                       [](const Parameter& parameter)
                       { return parameter.registerKind != zemo::data::ModbusNoRegister; });
}

QList<zemo::data::ChangeLogEntry> Platform::changeLog(int count, const QString& locale) const
{
    const QString name = localeName(locale);
    QList<zemo::data::ChangeLogEntry> result;
    for (const Change& change : m_scenario->changeLog.mid(0, std::max(count, 0)))
    {
        const auto parameter = m_scenario->parameters.constFind(change.id);
        result.append(
            {makeValue(*parameter, change.number, change.text), describe(*parameter, name), plainTime(change.time)});
    }
    return result;
}

QList<zemo::system::AlarmInfo> Platform::alarms(int count, const QString& locale) const
{
    const QString name = localeName(locale);
    QList<zemo::system::AlarmInfo> result;
    for (const Alarm& alarm : m_scenario->alarms.mid(0, std::max(count, 0)))
    {
        result.append(describe(alarm, name));
    }
    return result;
}

QMap<unsigned int, zemo::localization::PanelText> Platform::texts(const QList<unsigned int>& ids,
                                                                  const QString& locale) const
{
    const QString name = localeName(locale);
    QMap<unsigned int, zemo::localization::PanelText> result;
    for (const unsigned int id : ids)
    {
        const auto text = m_scenario->texts.constFind(id);
        if (text != m_scenario->texts.constEnd())
        {
            result.insert(id, panelText(*text, name));
        }
    }
    return result;
}

QList<zemo::data::PowerLogRecord> Platform::hourlyPower() const
{
    return m_scenario->hourlyPower.all(m_clock());
}

QList<zemo::data::PowerLogRecord> Platform::quarterlyPower() const
{
    return m_scenario->quarterlyPower.all(m_clock());
}

QList<zemo::data::PowerLogRecord> Platform::hourlyPower(qint64 start, qint64 end) const
{
    return m_scenario->hourlyPower.period(m_clock(), start, end);
}

QList<zemo::data::PowerLogRecord> Platform::quarterlyPower(qint64 start, qint64 end) const
{
    return m_scenario->quarterlyPower.period(m_clock(), start, end);
}

const QByteArray& Platform::settings() const
{
    return m_settings;
}

bool Platform::restore(const QByteArray& settings)
{
    emit restoreSettingsStarted();
    if (m_scenario->acceptRestore)
    {
        m_settings = settings;
    }
    emit restoreSettingsFinished(m_scenario->acceptRestore);
    return m_scenario->acceptRestore;
}

const QString& Platform::serial() const
{
    return m_scenario->serial;
}

const QString& Platform::deviceName() const
{
    return m_scenario->deviceName;
}

const QStringList& Platform::drives() const
{
    return m_drives;
}

QString Platform::insertDrive(const QString& path)
{
    if (!isDrivePath(path))
    {
        return QStringLiteral("\"%1\": %2").arg(path, drivePathRule());
    }
    if (m_drives.contains(path))
    {
        return QStringLiteral("the drive %1 is present already").arg(path);
    }
    m_drives.append(path);
    emit driveInserted(path);
    return {};
}

QString Platform::removeDrive(const QString& path)
{
    if (!m_drives.removeOne(path))
    {
        return QStringLiteral("there is no drive \"%1\"").arg(path);
    }
    emit driveRemoved(path);
    return {};
}

void Platform::setMounted(const QStringList& paths)
{
    const QStringList before = std::exchange(m_mounted, paths);
    for (const QString& path : before)
    {
        // It may have been removed by hand before, or refused when it came.
        if (!paths.contains(path))
        {
            (void)removeDrive(path);
        }
    }
    for (const QString& path : paths)
    {
        const QString mistake = before.contains(path) ? QString() : insertDrive(path);
        if (!mistake.isEmpty())
        {
            qWarning("%s", qUtf8Printable(mistake));
        }
    }
}

QString Platform::setValue(int id, const QVariant& value)
{
    const auto parameter = m_scenario->parameters.constFind(id);
    if (parameter == m_scenario->parameters.constEnd())
    {
        return refuseUnknown(id);
    }
    const bool isString = value.typeId() == QMetaType::QString;
    if (parameter->hasText() ? !isString : !isInteger(value))
    {
        return QStringLiteral("parameter %1 takes %2")
            .arg(id)
            .arg(parameter->hasText() ? QStringLiteral("a string") : QStringLiteral("an integer"));
    }
    m_held.insert(id, isString ? value : QVariant(value.toLongLong()));
    m_dropped.remove(id);
    return {};
}

QString Platform::releaseValue(int id)
{
    m_held.remove(id);
    m_dropped.remove(id);
    return refuseUnknown(id);
}

QString Platform::dropValue(int id)
{
    QString mistake = refuseUnknown(id);
    if (mistake.isEmpty())
    {
        m_held.remove(id);
        m_dropped.insert(id);
    }
    return mistake;
}

QString Platform::setDefaultLog(const QList<int>& ids)
{
    for (const int id : ids)
    {
        QString mistake = refuseUnknown(id);
        if (!mistake.isEmpty())
        {
            return mistake;
        }
    }
    m_defaultLog = QSet<int>(ids.begin(), ids.end());
    return {};
}

QString Platform::setLanguage(const QString& locale)
{
    if (!isLocaleName(locale))
    {
        return QStringLiteral("\"%1\" is no locale name such as \"en_GB\"").arg(locale);
    }
    m_language = locale;
    return {};
}

void Platform::replaceScenario(std::shared_ptr<const Scenario> scenario)
{
    m_scenario = std::move(scenario);
    takeOver();
    QStringList drives = m_scenario->drives;
    for (const QString& path : m_mounted)
    {
        if (isDrivePath(path) && !drives.contains(path))
        {
            drives.append(path);
        }
    }
    exchangeDrives(drives);
}

void Platform::takeOver()
{
    m_language = m_scenario->language;
    m_settings = m_scenario->settings;
    m_readings.reset();
    m_readings = std::make_unique<ModbusReadings>(*m_scenario);
    m_held.clear();
    m_dropped.clear();
    m_defaultLog.clear();
    for (const Parameter& parameter : m_scenario->parameters)
    {
        if (parameter.inDefaultLog)
        {
            m_defaultLog.insert(parameter.id);
        }
    }
}

void Platform::exchangeDrives(const QStringList& drives)
{
    const QStringList before = std::exchange(m_drives, drives);
    for (const QString& path : before)
    {
        if (!drives.contains(path))
        {
            emit driveRemoved(path);
        }
    }
    for (const QString& path : drives)
    {
        if (!before.contains(path))
        {
            emit driveInserted(path);
        }
    }
}

QString Platform::localeName(const QString& locale) const
{
    return locale == QLatin1String("default") ? m_language : locale;
}

QString Platform::refuseUnknown(int id) const
{
    return m_scenario->parameters.contains(id) ? QString() : QStringLiteral("there is no parameter %1").arg(id);
}

} // namespace platformd
