#pragma once

#include "LogReader.h"

#include <ostream>

/// What a whole file holds.
struct Summary
{
    int64_t rows = 0;
    std::string firstTime;
    std::string lastTime;
};

/// Reads to the end, or to the first damage.
Summary summarize(LogReader& log);

/// Writes every good row, tab-separated with the heading of the CSV log.
Summary writeCsv(LogReader& log, std::ostream& out);
/// Writes one JSON object a row: "time", and the values by the titles of their columns, null where one is missing.
Summary writeJsonLines(LogReader& log, std::ostream& out);
