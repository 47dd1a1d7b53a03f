#include "Output.h"

#include "CommandLine.h"

#include <QDBusArgument>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <iostream>

namespace
{

QList<QList<int>> entriesOf(const QVariant& value)
{
    return qdbus_cast<QList<QList<int>>>(value);
}

QJsonValue jsonOf(const Command& command, const QVariant& value)
{
    if (command.answer != Command::Entries)
    {
        return QJsonValue::fromVariant(value);
    }
    QJsonArray rows;
    for (const QList<int>& entry : entriesOf(value))
    {
        QJsonArray values;
        for (int number : entry.mid(4))
        {
            values.append(number);
        }
        rows.append(QJsonObject{{"year", entry.value(0)},
                                {"month", entry.value(1)},
                                {"day", entry.value(2)},
                                {"hour", entry.value(3)},
                                {"values", values}});
    }
    return rows;
}

void printEntries(const QVariant& value)
{
    for (const QList<int>& entry : entriesOf(value))
    {
        printf("%04d-%02d-%02d %02d:00", entry.value(0), entry.value(1), entry.value(2), entry.value(3));
        for (int number : entry.mid(4))
        {
            printf("\t%d", number);
        }
        printf("\n");
    }
}

void printText(const Command& command, const QVariant& value)
{
    switch (command.answer)
    {
    case Command::State:
        std::cout << (value.toBool() ? "yes" : "no") << "\n";
        break;
    case Command::Texts:
        for (const QString& text : value.toStringList())
        {
            std::cout << text.toStdString() << "\n";
        }
        break;
    case Command::Entries:
        printEntries(value);
        break;
    case Command::Text:
    case Command::Id:
        if (!value.toString().isEmpty())
        {
            std::cout << value.toString().toStdString() << "\n";
        }
        break;
    default:
        break;
    }
}

bool isYes(const Command& command, const QVariant& value)
{
    switch (command.answer)
    {
    case Command::Done:
    case Command::State:
        return value.toBool();
    case Command::Text:
        return !value.toString().isEmpty();
    default:
        return true;
    }
}

QJsonArray jsonArguments(const QVariantList& arguments)
{
    return QJsonArray::fromVariantList(arguments);
}

} // namespace

Output::Output(bool json)
    : m_json(json)
{
}

int Output::answer(const Command& command, const QVariant& value) const
{
    const bool yes = isYes(command, value);
    if (m_json)
    {
        print(QJsonObject{{"method", QString::fromStdString(command.method)}, {"result", jsonOf(command, value)}});
    }
    else
    {
        printText(command, value);
    }
    if (!yes && !m_json && command.answer != Command::State)
    {
        std::cerr << "zemologctl: the daemon answers no" << (command.refusal.empty() ? "" : ": " + command.refusal)
                  << "\n";
    }
    return yes ? ExitOk : ExitNo;
}

int Output::finished(const Command& command, bool ok) const
{
    if (m_json)
    {
        print(QJsonObject{{"method", QString::fromStdString(command.method)},
                          {"signal", QString::fromStdString(command.finishedSignal)},
                          {"result", ok}});
    }
    else
    {
        (ok ? std::cout : std::cerr) << (ok ? "finished" : "zemologctl: it failed; the daemon's trace says why")
                                     << "\n";
    }
    return ok ? ExitOk : ExitNo;
}

int Output::error(int exitCode, const std::string& name, const std::string& message) const
{
    if (m_json)
    {
        print(QJsonObject{{"error", QJsonObject{{"name", QString::fromStdString(name)},
                                                {"message", QString::fromStdString(message)}}}});
    }
    else
    {
        std::cerr << "zemologctl: " << message << "\n";
    }
    return exitCode;
}

void Output::signal(const QString& name, const QVariantList& arguments) const
{
    if (m_json)
    {
        print(QJsonObject{{"signal", name}, {"arguments", jsonArguments(arguments)}});
        return;
    }
    std::string line = name.toStdString();
    for (const QVariant& argument : arguments)
    {
        line += " " + argument.toString().toStdString();
    }
    std::cout << line << std::endl;
}

void Output::print(const QJsonValue& value) const
{
    std::cout << QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact).toStdString() << std::endl;
}
