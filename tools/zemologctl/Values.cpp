#include "Values.h"

#include <QFile>

#include <initializer_list>

namespace
{

QDateTime momentFrom(const std::string& text, std::initializer_list<const char*> formats, const char* what)
{
    for (const char* format : formats)
    {
        QDateTime moment = QDateTime::fromString(QString::fromStdString(text), QLatin1String(format));
        if (moment.isValid())
        {
            return moment;
        }
    }
    throw BadArgument("'" + text + "' is no " + what);
}

} // namespace

const std::string& single(const Given& given, const std::string& name)
{
    static const std::string nothing;
    const auto found = given.find(name);
    return found == given.end() || found->second.empty() ? nothing : found->second.front();
}

const std::vector<std::string>& all(const Given& given, const std::string& name)
{
    static const std::vector<std::string> nothing;
    const auto found = given.find(name);
    return found == given.end() ? nothing : found->second;
}

qlonglong numberBetween(qlonglong least, qlonglong most, const std::string& text, const char* what)
{
    bool ok = false;
    const qlonglong number = QString::fromStdString(text).toLongLong(&ok);
    if (!ok || number < least || number > most)
    {
        throw BadArgument("'" + text + "' is no " + what);
    }
    return number;
}

QList<int> numbersFrom(const std::vector<std::string>& texts)
{
    QList<int> numbers;
    for (const std::string& text : texts)
    {
        numbers.append(numberFrom<int>(text, "32-bit number"));
    }
    return numbers;
}

QDateTime hourFrom(const std::string& text)
{
    return momentFrom(text,
                      {"yyyy-MM-dd'T'HH", "yyyy-MM-dd'T'HH:mm", "yyyy-MM-dd HH:mm", "yyyy-MM-dd HH", "yyyy-MM-dd"},
                      "hour such as 2024-03-05T07");
}

QDateTime monthFrom(const std::string& text)
{
    return momentFrom(text, {"yyyy-MM"}, "month such as 2024-03");
}

qlonglong secondsFrom(const std::string& text)
{
    if (!text.empty() && text.front() == '@')
    {
        return numberFrom<qlonglong>(text.substr(1), "number of seconds");
    }
    return momentFrom(
               text,
               {"yyyy-MM-dd", "yyyy-MM-dd'T'HH:mm", "yyyy-MM-dd'T'HH:mm:ss", "yyyy-MM-dd HH:mm", "yyyy-MM-dd HH:mm:ss"},
               "time such as 2024-03-05T07:30 or @1709624400")
        .toSecsSinceEpoch();
}

void appendHour(QVariantList& list, const QDateTime& hour)
{
    list << QVariant::fromValue(ushort(hour.date().year())) << QVariant::fromValue(uchar(hour.date().month()))
         << QVariant::fromValue(uchar(hour.date().day())) << QVariant::fromValue(uchar(hour.time().hour()));
}

void appendMonth(QVariantList& list, const QDateTime& month)
{
    list << QVariant::fromValue(ushort(month.date().year())) << QVariant::fromValue(uchar(month.date().month()));
}

QList<int> entryFrom(const QDateTime& time, const std::vector<std::string>& values)
{
    return QList<int>{time.date().year(), time.date().month(), time.date().day(), time.time().hour()} +
           numbersFrom(values);
}

QList<QList<int>> entriesFrom(const std::string& path)
{
    QFile file(QString::fromStdString(path));
    const bool opened = path == "-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!opened)
    {
        throw BadArgument("cannot read '" + path + "': " + file.errorString().toStdString());
    }
    QList<QList<int>> entries;
    for (int number = 1; !file.atEnd(); ++number)
    {
        const QString line = QString::fromUtf8(file.readLine()).section(QLatin1Char('#'), 0, 0).replace(u',', u' ');
        const QStringList fields = line.simplified().split(u' ', Qt::SkipEmptyParts);
        if (fields.isEmpty())
        {
            continue;
        }
        try
        {
            std::vector<std::string> values;
            for (const QString& field : fields.mid(1))
            {
                values.push_back(field.toStdString());
            }
            entries.append(entryFrom(hourFrom(fields[0].toStdString()), values));
        }
        catch (const BadArgument& error)
        {
            throw BadArgument(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    return entries;
}

QList<bool> averagesFrom(const std::vector<std::string>& words)
{
    QList<bool> averages;
    for (const std::string& word : words)
    {
        if (word != "sum" && word != "average")
        {
            throw BadArgument("'" + word + "' is neither sum nor average");
        }
        averages.append(word == "average");
    }
    return averages;
}

QStringList titlesFrom(const std::string& text)
{
    return text.empty() ? QStringList() : QString::fromStdString(text).split(u',');
}

QByteArray decimalsFrom(const std::string& text)
{
    QByteArray decimals;
    for (const QString& number : titlesFrom(text))
    {
        decimals.append(char(numberFrom<uchar>(number.toStdString(), "number of decimals")));
    }
    return decimals;
}
