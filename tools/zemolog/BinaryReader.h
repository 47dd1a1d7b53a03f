#pragma once

#include "LogReader.h"

#include <fstream>

/// Reads binary logs, ".blf".
class BinaryReader : public LogReader
{
public:
    /// `file` stands at its start. Throws Failure when the head is none.
    BinaryReader(std::ifstream file, const Names& names);

    std::string kind() const override;
    std::string timeFormat() const override;
    const std::vector<std::string>& columns() const override;
    std::optional<Row> next() override;
    const std::optional<Damage>& damage() const override;

private:
    struct Column
    {
        uint8_t varType;
        uint8_t varSize;
    };

    void readHead(const Names& names);
    uint64_t number(const unsigned char* bytes, int width) const;
    std::string valueText(const Column& column, const unsigned char* bytes) const;

    std::ifstream m_file;
    std::vector<Column> m_table;
    std::vector<std::string> m_columns;
    std::vector<unsigned char> m_row; ///< bytes of one row
    int64_t m_offset = 0;
    std::optional<Damage> m_damage;
};
