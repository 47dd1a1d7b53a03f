#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QStringList>
#include <QVariantList>

#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

// From the text of a command line to the values that go over the bus. All of these throw BadArgument.

/// A value on the command line that can't be what it should be.
struct BadArgument : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/// What was given, by the names of the arguments.
using Given = std::map<std::string, std::vector<std::string>>;

/// The only value of an argument, empty when there is none.
const std::string& single(const Given& given, const std::string& name);
const std::vector<std::string>& all(const Given& given, const std::string& name);

/// `what` ends the sentence "'text' is no ...".
qlonglong numberBetween(qlonglong least, qlonglong most, const std::string& text, const char* what);

template <class Number> Number numberFrom(const std::string& text, const char* what)
{
    using Limits = std::numeric_limits<Number>;
    return static_cast<Number>(numberBetween(Limits::min(), Limits::max(), text, what));
}

QList<int> numbersFrom(const std::vector<std::string>& texts);

/// Local times.
QDateTime hourFrom(const std::string& text);
QDateTime monthFrom(const std::string& text);
/// A local time, or "@" and a number: seconds since 1970.
qlonglong secondsFrom(const std::string& text);
void appendHour(QVariantList& list, const QDateTime& hour);
void appendMonth(QVariantList& list, const QDateTime& month);

/// A row of the energy log as it is on the bus: year, month, day, hour, values.
QList<int> entryFrom(const QDateTime& time, const std::vector<std::string>& values);
/// The rows of a file, of standard input for "-": an hour and its values in each line, with blanks, tabs or commas
/// between. Empty lines and what follows a "#" are skipped.
QList<QList<int>> entriesFrom(const std::string& path);

/// "sum" or "average" for each column.
QList<bool> averagesFrom(const std::vector<std::string>& words);
/// With commas between.
QStringList titlesFrom(const std::string& text);
QByteArray decimalsFrom(const std::string& text);
