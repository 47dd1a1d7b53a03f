#include "LogReader.h"

#include "BinaryReader.h"
#include "Files.h"
#include "TextReader.h"

std::unique_ptr<LogReader> openLog(const std::string& path, const Names& names)
{
    std::ifstream file = openInput(path);
    const bool binary = file.peek() == 'Z';
    try
    {
        if (binary)
        {
            return std::make_unique<BinaryReader>(std::move(file), names);
        }
        return std::make_unique<TextReader>(std::move(file));
    }
    catch (const Failure& error)
    {
        throw Failure(error.code, path + ": " + error.what());
    }
}
