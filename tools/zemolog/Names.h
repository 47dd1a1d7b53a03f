#pragma once

#include <map>
#include <string>

/// Names of parameters by id, for binary logs, which hold ids alone.
class Names
{
public:
    /// Reads lines of an id, a tab and a name; empty lines and lines that begin with "#" are skipped. Throws
    /// Failure, with file and line.
    static Names read(const std::string& path);

    /// The name, or "id:" and the number.
    std::string of(int id) const;

private:
    std::map<int, std::string> m_names;
};
