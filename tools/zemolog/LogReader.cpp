#include "LogReader.h"

#include "BinaryReader.h"
#include "TextReader.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

std::unique_ptr<LogReader> openLog(const std::string& path, const Names& names)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
    {
        throw UnreadableFile(path + " is a directory");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw UnreadableFile("cannot read " + path + ": " + strerror(errno));
    }
    const bool binary = file.peek() == 'Z';
    try
    {
        if (binary)
        {
            return std::make_unique<BinaryReader>(std::move(file), names);
        }
        return std::make_unique<TextReader>(std::move(file));
    }
    catch (const NotALog& error)
    {
        throw NotALog(path + ": " + error.what());
    }
}
