#include "Plot.h"

#include "Files.h"

#include <cerrno>
#include <filesystem>
#include <fnmatch.h>
#include <sstream>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace
{

// A file that is gone with its owner.
class TemporaryFile
{
public:
    explicit TemporaryFile(const std::string& beside)
        : m_path(beside + ".XXXXXX")
    {
        const int descriptor = mkstemp(m_path.data());
        if (descriptor < 0)
        {
            throw cannotWrite(beside);
        }
        close(descriptor);
    }

    ~TemporaryFile()
    {
        std::error_code ignored;
        std::filesystem::remove(m_path, ignored);
    }

    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const
    {
        return m_path;
    }

private:
    std::string m_path;
};

// Text inside gnuplot's single quotes, where only the quote itself means something.
std::string quoted(const std::string& text)
{
    std::string result = "'";
    for (char letter : text)
    {
        result += letter == '\'' ? std::string("''") : std::string(1, letter);
    }
    return result + "'";
}

std::vector<size_t> chosenColumns(const LogReader& log, const std::vector<std::string>& patterns)
{
    std::vector<size_t> chosen;
    for (size_t i = 0; i < log.columns().size(); ++i)
    {
        bool wanted = patterns.empty();
        for (const std::string& pattern : patterns)
        {
            wanted = wanted || fnmatch(pattern.c_str(), log.columns()[i].c_str(), 0) == 0;
        }
        if (wanted)
        {
            chosen.push_back(i);
        }
    }
    if (chosen.empty())
    {
        throw Failure(ExitUsage, "no column has such a name; `zemolog info` lists them");
    }
    return chosen;
}

std::string terminalFor(const PlotOptions& options)
{
    const std::string suffix = std::filesystem::path(options.output).extension();
    const std::string size = std::to_string(options.width) + "," + std::to_string(options.height);
    return std::string(suffix == ".svg" ? "svg" : "pngcairo") + " noenhanced size " + size;
}

time_t secondsOf(const std::string& time, const std::string& format)
{
    tm parts{};
    strptime(time.c_str(), format.c_str(), &parts);
    return timegm(&parts);
}

// Labels that are short enough to stand side by side and long enough to differ.
std::string timeLabels(const Summary& summary, const std::string& format)
{
    constexpr time_t minutes = time_t(10) * 60;
    constexpr time_t days = time_t(3) * 24 * 3600;
    const time_t span = secondsOf(summary.lastTime, format) - secondsOf(summary.firstTime, format);
    const char* labels = span < minutes ? "%H:%M:%S" : span < days ? "%H:%M\\n%d %b" : "%d %b\\n%Y";
    return std::string("set format x \"") + labels + "\"\n";
}

std::string scriptFor(const LogReader& log, const PlotOptions& options, const std::string& data)
{
    std::ostringstream script;
    script << "set terminal " << terminalFor(options) << "\nset output " << quoted(options.output)
           << "\nset datafile separator '\\t'\nset xdata time\nset timefmt " << quoted(log.timeFormat())
           << "\nset key outside\nset grid\nset autoscale xfix\nset offsets 0, 0, graph 0.05, graph 0.05\nset xlabel "
              "'local time'\nplot ";
    const char* separator = "";
    for (size_t column : chosenColumns(log, options.patterns))
    {
        // Not a number breaks the line; a value declared missing would be bridged.
        const std::string place = std::to_string(column + 2);
        script << separator << quoted(data) << " using 1:(stringcolumn(" << place << ") eq '-' ? NaN : column(" << place
               << ")) with lines title " << quoted(log.columns()[column]);
        separator = ", ";
    }
    script << "\n";
    return script.str();
}

// Neither makes nor empties it, since there may be nothing to draw.
void checkTarget(const std::string& path)
{
    const std::fstream target(path);
    if (!target && errno != ENOENT)
    {
        throw cannotWrite(path);
    }
}

void runGnuplot(const std::string& script)
{
    FILE* gnuplot = popen("gnuplot", "w");
    if (!gnuplot)
    {
        throw Failure(ExitSoftware, "cannot start gnuplot");
    }
    fputs(script.c_str(), gnuplot);
    const int status = pclose(gnuplot);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127)
    {
        throw Failure(ExitSoftware, "gnuplot is not installed (package gnuplot-nox)");
    }
    if (status != 0)
    {
        throw Failure(ExitSoftware, "gnuplot could not draw it");
    }
}

} // namespace

Summary plot(LogReader& log, const PlotOptions& options)
{
    checkTarget(options.output);
    const TemporaryFile data(options.output);
    const std::string script = scriptFor(log, options, data.path());
    std::ofstream out(data.path(), std::ios::binary);
    Summary summary = writeCsv(log, out);
    out.close();
    if (!out)
    {
        throw cannotWrite(data.path());
    }
    if (summary.rows > 0)
    {
        runGnuplot(timeLabels(summary, log.timeFormat()) + script);
    }
    else if (!log.damage())
    {
        throw Failure(ExitSoftware, "the log has no rows");
    }
    return summary;
}
