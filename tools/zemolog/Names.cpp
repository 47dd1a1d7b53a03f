#include "Names.h"

#include <charconv>
#include <fstream>
#include <stdexcept>

Names Names::read(const std::string& path)
{
    std::ifstream file(path);
    if (!file)
    {
        throw std::runtime_error("cannot read " + path);
    }
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
            throw std::runtime_error(path + ":" + std::to_string(number) + ": not an id, a tab and a name");
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
