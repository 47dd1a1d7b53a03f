#include "Files.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

std::ifstream openInput(const std::string& path)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
    {
        throw Failure(ExitNoInput, path + " is a directory"); // would open like an empty file
    }
    std::ifstream file(path, std::ios::binary);
    if (!file)
    {
        throw cannotRead(path);
    }
    return file;
}

Failure cannotRead(const std::string& path)
{
    return {ExitNoInput, "cannot read " + path + ": " + strerror(errno)};
}

Failure cannotWrite(const std::string& path)
{
    return {ExitCantCreate, "cannot write " + path + ": " + strerror(errno)};
}
