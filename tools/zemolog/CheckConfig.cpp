#include "CheckConfig.h"

#include "Files.h"
#include "LogConfig.h"

#include <ini.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace
{

struct Check
{
    const std::string& path;
    std::ostream& out;
    FILE* file;
    LogConfig config{};
    int line = 0;
    bool good = true;

    void complain(int place, const std::string& text)
    {
        out << path << ":" << place << ": " << text << "\n";
        good = false;
    }
};

// inih asks for a line at a time and calls the handler before it asks for the next, so the count is the pair's line.
char* readLine(char* buffer, int size, void* stream)
{
    Check& check = *static_cast<Check*>(stream);
    char* line = fgets(buffer, size, check.file);
    check.line += line ? 1 : 0;
    return line;
}

bool isNumber(const char* text)
{
    char* end = nullptr;
    errno = 0;
    const long value = strtol(text, &end, 10);
    return end != text && *end == '\0' && errno == 0 && value >= INT32_MIN && value <= INT32_MAX;
}

int checkPair(void* user, const char* section, const char* key, const char* value)
{
    Check& check = *static_cast<Check*>(user);
    if (configIniHandler(&check.config, section, key, value) == 0)
    {
        check.complain(check.line, "unknown key '" + std::string(key) + "' in section [" + section + "]");
    }
    else if (strcmp(key, "path") == 0)
    {
        if (strlen(value) >= LogConfig::PathSize)
        {
            check.complain(check.line, "the path is cut to " + std::to_string(LogConfig::PathSize - 1) + " characters");
        }
    }
    else if (!isNumber(value))
    {
        check.complain(check.line, "'" + std::string(value) + "' is no number; the daemon takes " +
                                       std::to_string(static_cast<int32_t>(strtol(value, nullptr, 10))));
    }
    return 1;
}

void printValues(const LogConfig& config, std::ostream& out)
{
    out << "[ram]\nmax-default = " << config.maxDefault << "\nmax-manual = " << config.maxManual
        << "\ninterval-minute = " << config.intervalMinute << "\ninterval-10sec = " << config.interval10Sec
        << "\ninterval-1sec = " << config.interval1Sec << "\n\n[usb]\nhistory = " << config.usbHistory
        << "\nfuture = " << config.usbFuture << "\n\n[internal]\nhistory = " << config.internalHistory
        << "\nfuture = " << config.internalFuture << "\npath = " << config.internalPath << "\n";
}

} // namespace

bool checkConfig(const std::string& path, std::ostream& out)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "re"), fclose);
    if (!file)
    {
        throw cannotRead(path);
    }
    Check check{path, out, file.get()};
    setDefaults(check.config);
    const int firstBadLine = ini_parse_stream(readLine, &check, checkPair, &check);
    if (firstBadLine > 0)
    {
        check.complain(firstBadLine, "neither a section nor a key and its value");
    }
    printValues(check.config, out);
    return check.good;
}
