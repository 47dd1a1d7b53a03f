#include "Convert.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <functional>

namespace
{

Summary forEachRow(LogReader& log, const std::function<void(const Row&)>& visit)
{
    Summary summary;
    while (const std::optional<Row> row = log.next())
    {
        visit(*row);
        if (summary.rows++ == 0)
        {
            summary.firstTime = row->time;
        }
        summary.lastTime = row->time;
    }
    return summary;
}

nlohmann::ordered_json jsonValue(const std::string& text)
{
    if (text.empty())
    {
        return nullptr;
    }
    const char* end = text.data() + text.size();
    int64_t whole = 0;
    if (std::from_chars(text.data(), end, whole).ptr == end)
    {
        return whole;
    }
    double number = 0;
    if (std::from_chars(text.data(), end, number).ptr == end)
    {
        return number;
    }
    return text;
}

} // namespace

Summary summarize(LogReader& log)
{
    return forEachRow(log, [](const Row&) {});
}

Summary writeCsv(LogReader& log, std::ostream& out)
{
    for (const std::string& title : log.columns())
    {
        out << '\t' << title;
    }
    out << '\n';
    return forEachRow(log,
                      [&out](const Row& row)
                      {
                          out << row.time;
                          for (const std::string& cell : row.cells)
                          {
                              out << '\t' << (cell.empty() ? "-" : cell);
                          }
                          out << '\n';
                      });
}

Summary writeJsonLines(LogReader& log, std::ostream& out)
{
    return forEachRow(log,
                      [&](const Row& row)
                      {
                          nlohmann::ordered_json object{{"time", row.time}};
                          for (size_t i = 0; i < row.cells.size(); ++i)
                          {
                              object[log.columns()[i]] = jsonValue(row.cells[i]);
                          }
                          out << object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
                      });
}
