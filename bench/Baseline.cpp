#include "Baseline.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace baseline
{

namespace
{

constexpr size_t ChunkSize = 64;

void appendTwo(std::string& row, int number)
{
    row += static_cast<char>('0' + number / 10);
    row += static_cast<char>('0' + number % 10);
}

void appendTime(std::string& row, uint32_t time)
{
    static time_t minute = -1;
    static char text[32];
    if (minute != time / 60)
    {
        minute = time / 60;
        const time_t seconds = minute * 60;
        struct tm parts = {};
        localtime_r(&seconds, &parts);
        strftime(text, sizeof text, "%Y-%m-%d %H:%M:", &parts);
    }
    row += text;
    appendTwo(row, static_cast<int>(time % 60));
}

void appendNumber(std::string& row, int64_t value, uint8_t decimals)
{
    char text[32];
    if (value < 0)
    {
        row += '-';
        value = -value;
    }
    const char* end = std::to_chars(text, text + sizeof text, value).ptr;
    auto digits = static_cast<size_t>(end - text);
    if (decimals == 0)
    {
        row.append(text, digits);
        return;
    }
    if (digits <= decimals)
    {
        const size_t missing = decimals + 1 - digits;
        memmove(text + missing, text, digits);
        memset(text, '0', missing);
        digits += missing;
    }
    row.append(text, digits - decimals);
    row += '.';
    row.append(text + digits - decimals, decimals);
}

template <class Element, class IdOf>
size_t mergeBy(const std::vector<Element>& have, const std::vector<Element>& want, IdOf idOf)
{
    size_t alone = 0;
    size_t i = 0;
    size_t j = 0;
    while (i < have.size() && j < want.size())
    {
        const uint32_t left = idOf(have[i]);
        const uint32_t right = idOf(want[j]);
        if (left == right)
        {
            ++i;
            ++j;
        }
        else
        {
            ++(left < right ? i : j);
            ++alone;
        }
    }
    return alone + have.size() - i + want.size() - j;
}

} // namespace

History::History(size_t parameters)
    : m_lists(parameters)
{
}

Node* History::make(List& list)
{
    if (list.chunks.empty() || list.used == ChunkSize)
    {
        list.chunks.emplace_back(new Node[ChunkSize]);
        list.used = 0;
    }
    return &list.chunks.back()[list.used++];
}

void History::log(uint32_t time, const int64_t* values)
{
    for (List& list : m_lists)
    {
        const int64_t value = *values++;
        if (list.last && list.last->value == value)
        {
            continue;
        }
        Node* node = make(list);
        *node = {time, value, nullptr, {}};
        (list.last ? list.last->next : list.first) = node;
        list.last = node;
    }
}

int64_t History::walk() const
{
    int64_t sum = 0;
    for (const List& list : m_lists)
    {
        for (const Node* node = list.first; node; node = node->next)
        {
            sum += node->time + node->value;
        }
    }
    return sum;
}

size_t merge(const std::vector<uint32_t>& have, const std::vector<uint32_t>& want)
{
    return mergeBy(have, want, [](uint32_t id) { return id; });
}

size_t merge(const std::vector<Record>& have, const std::vector<Record>& want)
{
    return mergeBy(have, want, [](const Record& record) { return record.id; });
}

RowFile::RowFile(const std::string& path)
    : m_file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_TRUNC | O_CLOEXEC, 0644))
{
}

RowFile::~RowFile()
{
    close(m_file);
}

void RowFile::flushRow()
{
    if (write(m_file, m_row.data(), m_row.size()) < 0)
    {
        perror("write");
    }
    m_row.clear();
}

void RowFile::writeText(uint32_t time, const std::vector<int64_t>& values, const std::vector<uint8_t>& decimals)
{
    appendTime(m_row, time);
    for (size_t i = 0; i < values.size(); ++i)
    {
        m_row += '\t';
        appendNumber(m_row, values[i], decimals[i]);
    }
    m_row += '\n';
    flushRow();
}

void RowFile::writeBinary(uint32_t time, const std::vector<int64_t>& values, const std::vector<uint8_t>& widths)
{
    const auto append = [this](int64_t value, int width)
    {
        for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        {
            m_row += static_cast<char>(value >> shift);
        }
    };
    append(time, 4);
    for (size_t i = 0; i < values.size(); ++i)
    {
        append(values[i], widths[i]);
    }
    flushRow();
}

TableFile::TableFile(const std::string& path, int columns)
    : m_file(fopen(path.c_str(), "wbe"))
{
    for (int i = 0; i < columns; ++i)
    {
        m_row += "\tEnergy";
    }
}

TableFile::~TableFile()
{
    m_row += '\n';
    fwrite(m_row.data(), 1, m_row.size(), m_file);
    fclose(m_file);
}

void TableFile::beginRow(int year, int month, int day, int hour)
{
    m_row += '\n';
    fwrite(m_row.data(), 1, m_row.size(), m_file);
    m_row.clear();
    appendNumber(m_row, year, 0);
    m_row += '-';
    appendTwo(m_row, month);
    m_row += '-';
    appendTwo(m_row, day);
    m_row += ' ';
    appendTwo(m_row, hour);
    m_row += ":00";
}

void TableFile::add(int64_t value, uint8_t decimals)
{
    m_row += '\t';
    appendNumber(m_row, value, decimals);
}

void TableFile::addNothing()
{
    m_row += "\t-";
}

void binaryToText(const std::string& from, const std::string& to, const std::vector<uint8_t>& widths,
                  const std::vector<bool>& isUnsigned, const std::vector<uint8_t>& decimals, size_t headSize)
{
    FILE* file = fopen(from.c_str(), "rbe");
    RowFile out(to);
    size_t length = 4;
    for (uint8_t width : widths)
    {
        length += width;
    }
    std::vector<unsigned char> row(length);
    std::vector<int64_t> values(widths.size());
    fseek(file, static_cast<long>(headSize), SEEK_SET);
    while (fread(row.data(), 1, length, file) == length)
    {
        const unsigned char* bytes = row.data();
        const auto number = [&bytes](int width)
        {
            uint64_t result = 0;
            for (int i = 0; i < width; ++i)
            {
                result = result << 8 | *bytes++;
            }
            return result;
        };
        const auto time = static_cast<uint32_t>(number(4));
        for (size_t i = 0; i < widths.size(); ++i)
        {
            const int shift = 64 - 8 * widths[i];
            const uint64_t value = number(widths[i]);
            values[i] = isUnsigned[i] ? static_cast<int64_t>(value) : static_cast<int64_t>(value << shift) >> shift;
        }
        out.writeText(time, values, decimals);
    }
    fclose(file);
}

} // namespace baseline
