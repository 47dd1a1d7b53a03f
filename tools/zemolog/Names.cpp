#include "Names.h"

#include "Files.h"

#include <charconv>

Names Names::read(const std::string& path)
{
    std::ifstream file = openInput(path);
    Names result;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number)
    {
        if (line.empty() || line.front() == '#')
        {
            continue;
        }
        const size_t tab = line.find('\t');
        int id = 0;
        const char* end = line.data() + (tab == std::string::npos ? 0 : tab);
        if (std::from_chars(line.data(), end, id).ptr != end || end == line.data())
        {
            throw Failure(ExitData, path + ":" + std::to_string(number) + ": not an id, a tab and a name");
        }
        result.m_names[id] = line.substr(tab + 1);
    }
    return result;
}

std::string Names::of(int id) const
{
    const auto found = m_names.find(id);
    return found == m_names.end() ? "id:" + std::to_string(id) : found->second;
}
