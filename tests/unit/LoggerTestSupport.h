#pragma once

#include "Files.h"
#include "FullMedium.h"
#include "Mutexes.h"
#include "TimeZone.h"

#include <zemo/DataValue.h>
#include <zemo/Metadata.h>

#include <QCoreApplication>
#include <QDir>
#include <QMap>
#include <QString>

#include <malloc.h>

#include <cstdint>
#include <initializer_list>
#include <utility>

/// Carries out what this thread's objects were told by deleteLater.
inline void deleteDeferred()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

inline int openDescriptors()
{
    return static_cast<int>(QDir("/proc/self/fd").entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size());
}

/// Bytes of the heap that are in use. Sanitizers keep a heap of their own, which this knows nothing of.
inline size_t heapInUse()
{
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

inline zemo::data::DataValue integerValue(long long value)
{
    zemo::data::DataValue result;
    result.setIntValue(value);
    result.setIsOk(true);
    return result;
}

inline QMap<int32_t, zemo::data::DataValue> integerValues(std::initializer_list<std::pair<int32_t, long long>> values)
{
    QMap<int32_t, zemo::data::DataValue> result;
    for (const auto& [id, value] : values)
    {
        result.insert(id, integerValue(value));
    }
    return result;
}

inline zemo::data::Metadata parameter(uint16_t varId, uint8_t varSize, uint8_t varType = zemo::data::VarTypeInteger)
{
    zemo::data::Metadata result;
    result.varId = varId;
    result.varSize = varSize;
    result.varType = varType;
    result.name = zemo::localization::PanelText(QStringLiteral("P%1").arg(varId), 1);
    return result;
}

/// A set of parameters by their ids.
inline QMap<int32_t, zemo::data::Metadata> parameterSet(std::initializer_list<zemo::data::Metadata> entries)
{
    QMap<int32_t, zemo::data::Metadata> result;
    for (const zemo::data::Metadata& entry : entries)
    {
        result.insert(entry.varId, entry);
    }
    return result;
}
