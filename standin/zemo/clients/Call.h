#pragma once

#include <wire/Records.h>

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusReply>
#include <QVariant>

#include <chrono>
#include <type_traits>

/// How every client asks the platform's services: one blocking call on the system bus, from any thread, with an empty
/// result where there is no answer (but for a serial number that is known). No event loop has a part in it, so it works
/// on a thread that has none and while the main thread is blocked.
namespace zemo::clients
{

using Patience = std::chrono::milliseconds;

/// How long a silent service is waited for.
constexpr Patience usualPatience = std::chrono::seconds(25);
/// For what is asked every second.
constexpr Patience shortPatience = std::chrono::seconds(5);

/// What the arguments of a question may take. The bus cuts off whoever sends a message of more than 32 MiB, of which a
/// head, lengths and padding take a little.
constexpr qsizetype mostBytes = 31LL * 1024 * 1024;

/// What an argument takes in a message at most.
template <class Argument> qsizetype bytesOf(const Argument& argument)
{
    if constexpr (std::is_arithmetic_v<Argument>)
    {
        static_assert(sizeof argument >= 4, "a bool takes more in a message");
        return sizeof argument;
    }
    else if constexpr (std::is_same_v<Argument, QString>)
    {
        return argument.size() * 3; // as UTF-8
    }
    else
    {
        static_assert(std::is_arithmetic_v<typename Argument::value_type>, "what it refers to counts as well");
        return argument.size() * static_cast<qsizetype>(sizeof(typename Argument::value_type));
    }
}

/// The error of a question that was never asked, and so tells nothing of the services.
inline constexpr char refusal[] = "com.tarn.zemo.platform.Error.NotAsked";

/// The message that asks for `operation`. It starts no service.
QDBusMessage request(const char* operation, const QVariantList& arguments);

/// Asks and waits for the answer, at most `patience`. A service that is absent or fails answers at once.
QDBusMessage send(const QDBusMessage& request, Patience patience);

/// The same with arguments that may be too much for a message; then the answer is an error at once.
template <class... Arguments> QDBusMessage send(Patience patience, const char* operation, const Arguments&... arguments)
{
    if ((bytesOf(arguments) + ... + 0) > mostBytes)
    {
        return QDBusMessage::createError(QLatin1String(refusal), QStringLiteral("too much for one message"));
    }
    return send(request(operation, {QVariant::fromValue(arguments)...}), patience);
}

/// True for the errors of a service that is not on the bus, and of a bus that is not there.
bool meansAbsence(const QDBusError& error);

/// Notes how `operation` ended, an invalid error being success, and traces a change: service gone (4) and back (1), one
/// operation failing (4) and answered again (1). Any thread.
void noteOutcome(const char* operation, const QDBusError& error);

/// The answer to `operation`, a default-constructed one if there is none.
template <class Answer, class... Arguments>
Answer ask(Patience patience, const char* operation, const Arguments&... arguments)
{
    const QDBusReply<Answer> reply = send(patience, operation, arguments...);
    noteOutcome(operation, reply.error());
    return reply.isValid() ? reply.value() : Answer();
}

/// The records that come as `Columns`, none if there is no answer or its columns don't fit together.
template <class Columns, class... Arguments>
auto askRecords(Patience patience, const char* operation, const Arguments&... arguments)
{
    const QDBusReply<Columns> reply = send(patience, operation, arguments...);
    auto records = wire::fromWire(reply.isValid() ? reply.value() : Columns());
    const QDBusError misfit(QDBusError::InvalidArgs, QStringLiteral("the columns of the answer don't fit together"));
    noteOutcome(operation, records ? reply.error() : misfit);
    return records ? std::move(*records) : typename decltype(records)::value_type();
}

} // namespace zemo::clients
