#pragma once

#include "LogReader.h"

#include <fstream>

/// Reads the tab-separated logs: CSV logs, energy and power exports.
class TextReader : public LogReader
{
public:
    /// `file` stands at its start. Throws Failure when the first lines are none of these.
    explicit TextReader(std::ifstream file);

    std::optional<Row> next() override;

private:
    bool readLine(std::string& line);
    void recogniseRows();

    std::ifstream m_file;
    std::string m_pending; ///< the first row, read to tell the kind
    bool m_hasPending = false;
    bool m_cut = false; ///< the last line read has no line end
    int64_t m_offset = 0;
    int64_t m_lineOffset = 0;
};
