#include "BinaryReader.h"

#include "Failure.h"
#include "logging/BinaryFormat.h"

#include <array>
#include <ctime>

namespace
{

std::string localTime(uint32_t seconds)
{
    const time_t time = seconds;
    struct tm parts = {};
    localtime_r(&time, &parts);
    std::array<char, 32> text{};
    strftime(text.data(), text.size(), SecondFormat, &parts);
    return text.data();
}

} // namespace

BinaryReader::BinaryReader(std::ifstream file, const Names& names)
    : m_file(std::move(file))
{
    m_kind = "binary log";
    readHead(names);
}

void BinaryReader::readHead(const Names& names)
{
    std::array<unsigned char, BinaryFormat::HeadSize> head{};
    m_file.read(reinterpret_cast<char*>(head.data()), head.size());
    if (m_file.gcount() != BinaryFormat::HeadSize || BinaryFormat::number(head.data(), 4) != BinaryFormat::Magic)
    {
        throw Failure(ExitData, "not a binary log");
    }
    const auto count = static_cast<uint32_t>(BinaryFormat::number(head.data() + 4, 4));
    if (count > BinaryFormat::MaximumParameters)
    {
        throw Failure(ExitData, "a head with " + std::to_string(count) + " parameters");
    }
    int64_t width = BinaryFormat::TimeSize;
    for (uint32_t i = 0; i < count; ++i)
    {
        std::array<unsigned char, BinaryFormat::TableEntrySize> entry{};
        m_file.read(reinterpret_cast<char*>(entry.data()), entry.size());
        if (m_file.gcount() != BinaryFormat::TableEntrySize)
        {
            throw Failure(ExitData, "the table of parameters is cut off");
        }
        m_table.push_back({entry[2], entry[3]});
        m_columns.push_back(names.of(static_cast<int>(BinaryFormat::number(entry.data(), 2))));
        width += BinaryFormat::isStored(entry[2]) ? BinaryFormat::valueWidth(entry[3]) : 0;
    }
    m_row.resize(static_cast<size_t>(width));
    m_offset = BinaryFormat::HeadSize + int64_t(count) * BinaryFormat::TableEntrySize;
}

std::optional<Row> BinaryReader::next()
{
    m_file.read(reinterpret_cast<char*>(m_row.data()), static_cast<std::streamsize>(m_row.size()));
    const auto got = static_cast<size_t>(m_file.gcount());
    if (got != m_row.size())
    {
        if (got != 0)
        {
            m_damage = Damage{m_offset, "a row is cut off after " + std::to_string(got) + " of " +
                                            std::to_string(m_row.size()) + " bytes"};
        }
        return std::nullopt;
    }
    m_offset += static_cast<int64_t>(got);
    Row row{localTime(static_cast<uint32_t>(BinaryFormat::number(m_row.data(), 4))), {}};
    const unsigned char* bytes = m_row.data() + BinaryFormat::TimeSize;
    for (const Column& column : m_table)
    {
        if (!BinaryFormat::isStored(column.varType))
        {
            row.cells.emplace_back(); // has no place in the rows
            continue;
        }
        row.cells.push_back(std::to_string(BinaryFormat::decode(column.varSize, bytes)));
        bytes += BinaryFormat::valueWidth(column.varSize);
    }
    return row;
}
