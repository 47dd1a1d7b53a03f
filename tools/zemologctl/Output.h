#pragma once

#include "Commands.h"

#include <QJsonValue>
#include <QVariant>

#include <string>

/// The one place that writes to standard output: people's text, or exactly one JSON value.
class Output
{
public:
    explicit Output(bool json);

    /// Prints the answer of `command` and gives the exit code that it means.
    int answer(const Command& command, const QVariant& value) const;
    /// Prints how a job that was waited for ended; gives the exit code.
    int finished(const Command& command, bool ok) const;
    /// Prints an error and gives `exitCode` back.
    int error(int exitCode, const std::string& name, const std::string& message) const;
    /// One line for one signal; with JSON a value a line.
    void signal(const QString& name, const QVariantList& arguments) const;

private:
    void print(const QJsonValue& value) const;

    bool m_json;
};
