#pragma once

#include "LogReader.h"

#include <fstream>

/// Reads binary logs, ".blf".
class BinaryReader : public LogReader
{
public:
    /// `file` stands at its start. Throws Failure when the head is none.
    BinaryReader(std::ifstream file, const Names& names);

    std::optional<Row> next() override;

private:
    struct Column
    {
        uint8_t varType;
        uint8_t varSize;
    };

    void readHead(const Names& names);

    std::ifstream m_file;
    std::vector<Column> m_table;
    std::vector<unsigned char> m_row; ///< bytes of one row
    int64_t m_offset = 0;
};
