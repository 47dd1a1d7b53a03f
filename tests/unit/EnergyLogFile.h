#pragma once

#include <zemo/EnergyLogEntry.h>

#include <QDate>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStringList>
#include <QVariant>

#include <ostream>
#include <stdexcept>

/// The file of the energy log, looked at and prepared through a plain SQLite connection, the way another program would.
/// Making one clears the folder. The path is fixed, so this works in the sandbox only.
class EnergyLogFile
{
public:
    static constexpr const char* directory = "/var/zemo/var/data";
    static constexpr const char* path = "/var/zemo/var/data/energylog.db3";

    EnergyLogFile()
    {
        if (qEnvironmentVariableIsEmpty("ZEMO_IN_SANDBOX"))
        {
            throw std::runtime_error("this test writes under /var: run it through tools/sandbox");
        }
        QDir(directory).removeRecursively();
        QDir().mkpath(directory);
    }

    void removeDirectory() const
    {
        QDir(directory).removeRecursively();
    }

    bool directoryExists() const
    {
        return QFile::exists(directory);
    }

    /// Runs the statements on a connection that is closed again.
    void run(const QStringList& statements) const
    {
        const Connection connection;
        for (const QString& statement : statements)
        {
            connection.execute(statement);
        }
    }

    /// The rows of a query, each as its cells joined with "|" ("NULL" for NULL).
    QStringList rows(const QString& select) const
    {
        const Connection connection;
        QSqlQuery query = connection.execute(select);
        QStringList found;
        while (query.next())
        {
            QStringList cells;
            for (int i = 0; i < query.record().count(); ++i)
            {
                cells.append(query.value(i).isNull() ? QStringLiteral("NULL") : query.value(i).toString());
            }
            found.append(cells.join(QLatin1Char('|')));
        }
        return found;
    }

    qint64 number(const QString& select) const
    {
        return rows(select).value(0).toLongLong();
    }

    void write(const QByteArray& content) const
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
        {
            throw std::runtime_error("cannot write the file");
        }
    }

    static QByteArray content(const QString& of = QString::fromLatin1(path))
    {
        QFile file(of);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
    }

    /// What lies beside the database.
    QStringList others() const
    {
        QStringList names =
            QDir(directory).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
        names.removeAll(QStringLiteral("energylog.db3"));
        return names;
    }

    class Connection
    {
    public:
        Connection()
            : m_name(QStringLiteral("plain-%1").arg(quintptr(this)))
            , m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name))
        {
            m_database.setDatabaseName(QString::fromLatin1(path));
            if (!m_database.open())
            {
                throw std::runtime_error(m_database.lastError().text().toStdString());
            }
        }

        ~Connection()
        {
            m_database = QSqlDatabase();
            QSqlDatabase::removeDatabase(m_name);
        }

        Connection(const Connection&) = delete;
        Connection& operator=(const Connection&) = delete;

        QSqlQuery execute(const QString& statement) const
        {
            QSqlQuery query(m_database);
            if (!query.exec(statement))
            {
                throw std::runtime_error(query.lastError().text().toStdString());
            }
            return query;
        }

    private:
        QString m_name;
        QSqlDatabase m_database;
    };
};

/// A year all of whose rows outlive every clean-up of a test.
inline ushort comingYear()
{
    return static_cast<ushort>(QDate::currentDate().year() + 1);
}

inline ushort comingLeapYear()
{
    int year = comingYear();
    while (!QDate::isLeapYear(year))
    {
        ++year;
    }
    return static_cast<ushort>(year);
}

inline zemo::data::EnergyLogEntry entry(ushort year, uchar month, uchar day, uchar hour, const QList<int>& values)
{
    return {year, month, day, hour, values};
}

/// An entry in one line, for comparisons that can be read.
inline QString shown(const zemo::data::EnergyLogEntry& row)
{
    QStringList parts{QStringLiteral("%1-%2-%3 %4").arg(row.year()).arg(row.month()).arg(row.day()).arg(row.hour())};
    for (int value : row.values())
    {
        parts.append(QString::number(value));
    }
    return parts.join(QLatin1Char('|'));
}

inline QStringList shown(const QListEnergyLogEntry& rows)
{
    QStringList lines;
    for (const zemo::data::EnergyLogEntry& row : rows)
    {
        lines.append(shown(row));
    }
    return lines;
}

/// How GoogleTest shows a text.
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}
