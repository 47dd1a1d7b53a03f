#include "TextReader.h"

#include "Failure.h"

#include <ctime>

namespace
{

// No line of any log comes near; a file without line ends is none of ours.
constexpr size_t MaximumLine = size_t(8) << 20;

struct Kind
{
    const char* name;
    const char* timeFormat;
    bool titledTime; ///< the first cell of the heading has a text
};

constexpr Kind Kinds[] = {
    {"CSV log", SecondFormat, false},
    {"power log", SecondFormat, true},
    {"hourly energy log", "%Y-%m-%d %H:%M", false},
    {"monthly energy log", "%Y-%m", false},
};

std::vector<std::string> fieldsOf(const std::string& line)
{
    std::vector<std::string> fields;
    size_t begin = 0;
    for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', begin))
    {
        fields.push_back(line.substr(begin, tab - begin));
        begin = tab + 1;
    }
    fields.push_back(line.substr(begin));
    return fields;
}

bool matches(const std::string& text, const char* format)
{
    struct tm parts = {};
    const char* end = strptime(text.c_str(), format, &parts);
    return end && *end == '\0';
}

bool isText(const std::string& line)
{
    for (char letter : line)
    {
        if (static_cast<unsigned char>(letter) < 0x20 && letter != '\t')
        {
            return false;
        }
    }
    return true;
}

} // namespace

TextReader::TextReader(std::ifstream file)
    : m_file(std::move(file))
{
    std::string heading;
    if (!readLine(heading) || m_cut || !isText(heading))
    {
        throw Failure(ExitData, "the first line is no heading of a log");
    }
    m_columns = fieldsOf(heading);
    m_hasPending = readLine(m_pending);
    recogniseRows();
    m_columns.erase(m_columns.begin());
}

void TextReader::recogniseRows()
{
    const bool titledTime = !m_columns.front().empty();
    const std::string time = m_pending.substr(0, m_pending.find('\t'));
    for (const Kind& candidate : Kinds)
    {
        if (candidate.titledTime == titledTime && (!m_hasPending || matches(time, candidate.timeFormat)))
        {
            m_kind = candidate.name;
            m_timeFormat = candidate.timeFormat;
            return;
        }
    }
    throw Failure(ExitData, "the first row has no time that a log would have");
}

bool TextReader::readLine(std::string& line)
{
    line.clear();
    m_lineOffset = m_offset;
    for (int letter = m_file.get(); letter != EOF; letter = m_file.get())
    {
        ++m_offset;
        if (letter == '\n')
        {
            return true;
        }
        if (line.size() == MaximumLine)
        {
            throw Failure(ExitData, "a line without an end");
        }
        line += static_cast<char>(letter);
    }
    m_cut = !line.empty();
    return m_cut;
}

std::optional<Row> TextReader::next()
{
    std::string line;
    if (m_hasPending)
    {
        line = std::move(m_pending);
        m_hasPending = false;
        m_lineOffset = m_offset - static_cast<int64_t>(line.size()) - (m_cut ? 0 : 1);
    }
    else if (m_damage || !readLine(line))
    {
        return std::nullopt;
    }
    std::vector<std::string> fields = fieldsOf(line);
    if (m_cut || fields.size() != m_columns.size() + 1 || !matches(fields.front(), m_timeFormat.c_str()))
    {
        m_damage = Damage{m_lineOffset, m_cut ? "the last row has no end" : "a row that does not fit the heading"};
        return std::nullopt;
    }
    Row row{std::move(fields.front()), {}};
    for (size_t i = 1; i < fields.size(); ++i)
    {
        row.cells.push_back(fields[i] == "-" ? std::string() : std::move(fields[i]));
    }
    return row;
}
