#pragma once

#include "Names.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct Row
{
    std::string time;               ///< local time, "yyyy-MM-dd hh:mm:ss" or what the file has
    std::vector<std::string> cells; ///< as the file has them; empty when one is missing
};

/// Where a file stops being good.
struct Damage
{
    int64_t offset;
    std::string reason;
};

/// strftime format of a time to the second.
constexpr const char* SecondFormat = "%Y-%m-%d %H:%M:%S";

/// Reads one log from its start to its end, a row at a time: memory does not grow with the file.
class LogReader
{
public:
    virtual ~LogReader() = default;

    /// What kind of file it is, for people.
    const std::string& kind() const
    {
        return m_kind;
    }

    /// strftime format of Row::time.
    const std::string& timeFormat() const
    {
        return m_timeFormat;
    }

    /// Titles of the columns behind the time.
    const std::vector<std::string>& columns() const
    {
        return m_columns;
    }

    /// Set when the file ended before its time.
    const std::optional<Damage>& damage() const
    {
        return m_damage;
    }

    /// The next whole row; none at the end or at the first damage.
    virtual std::optional<Row> next() = 0;

protected:
    std::string m_kind;
    std::string m_timeFormat = SecondFormat;
    std::vector<std::string> m_columns;
    std::optional<Damage> m_damage;
};

/// Opens `path` by what is in it. Throws Failure.
std::unique_ptr<LogReader> openLog(const std::string& path, const Names& names);
