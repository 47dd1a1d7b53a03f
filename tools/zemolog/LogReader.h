#pragma once

#include "Names.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One value of a row.
struct Cell
{
    std::string text; ///< as the file has it; empty when it is missing
};

struct Row
{
    std::string time; ///< local time, "yyyy-MM-dd hh:mm:ss" or what the file has
    std::vector<Cell> cells;
};

/// Where a file stops being good.
struct Damage
{
    int64_t offset;
    std::string reason;
};

/// Reads one log from its start to its end, a row at a time: memory does not grow with the file.
class LogReader
{
public:
    virtual ~LogReader() = default;

    /// What kind of file it is, for people.
    virtual std::string kind() const = 0;
    /// strftime format of Row::time.
    virtual std::string timeFormat() const = 0;
    /// Titles of the columns behind the time.
    virtual const std::vector<std::string>& columns() const = 0;
    /// The next whole row; none at the end or at the first damage.
    virtual std::optional<Row> next() = 0;
    /// Set when the file ended before its time.
    virtual const std::optional<Damage>& damage() const = 0;
};

/// Opens `path` by what is in it. Throws Failure.
std::unique_ptr<LogReader> openLog(const std::string& path, const Names& names);
