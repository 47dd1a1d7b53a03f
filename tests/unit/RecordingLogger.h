#pragma once

#include "logging/Logger.h"

#include <functional>
#include <vector>

/// Keeps the rows that it is given.
class RecordingLogger : public Logger
{
public:
    RecordingLogger()
        : Logger(RamLog, 0, nullptr)
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
    void flush() override
    {
        ++flushes;
        onFlush();
    }
    bool log(uint32_t time, QMap<int32_t, DataValue> values) override
    {
        times.push_back(time);
        rows.push_back(values);
        onLog();
        return false;
    }
    void updateParameters(QMap<int32_t, Metadata> /*parameters*/) override
    {
    }

    std::vector<uint32_t> times;
    std::vector<QMap<int32_t, DataValue>> rows;
    int flushes = 0;
    std::function<void()> onLog = [] {};
    std::function<void()> onFlush = [] {};
};
