#pragma once

#include "Message.h"

#include <QHash>
#include <QList>

#include <chrono>
#include <deque>
#include <optional>

namespace zemo::gate
{

/// The calls that wait for the process, sender by sender: each sender that has some gets its turn, one call a turn, so
/// however many calls one of them sends, another waits for one call of each at most. What is beyond a sender's or
/// everybody's share is refused. For one thread.
class CallQueue
{
public:
    using Time = std::chrono::steady_clock::time_point;

    /// What one sender may have waiting, except that a single call of it may be of any size.
    static constexpr qsizetype senderCalls = 1000;
    static constexpr qsizetype senderBytes = 1024LL * 1024;
    /// What may wait in all. Only the first call of a sender that is no larger than `smallCall` goes beyond it.
    static constexpr qsizetype totalBytes = 16LL * 1024 * 1024;
    static constexpr qsizetype smallCall = 16LL * 1024;
    /// How many calls the process has in hand at a time: one that it works at, and one that it need not wait for.
    static constexpr qsizetype inHand = 2;
    /// A call that isn't answered for so long no longer keeps others waiting. There may never be an answer, when it is
    /// too long for a message.
    static constexpr std::chrono::seconds patience{30};

    /// Takes a call. False: there is no room for it, and it is not taken.
    [[nodiscard]] bool add(const QByteArray& call, const Header& header);

    /// The call to hand to the process now, if there is one and the process has room for it. It wants a reply.
    std::optional<QByteArray> take(Time now);

    /// Notes what the process has sent. True if it answers a call whose sender wanted no answer.
    bool isUnwanted(const Header& answer);

    /// When take could next have a call without anything else happening; nothing when never.
    std::optional<Time> nextChance() const;

    bool isEmpty() const;

private:
    struct Waiting
    {
        QByteArray call;
        uint32_t serial;
        bool wantsReply;
    };

    struct Sender
    {
        std::deque<Waiting> calls;
        qsizetype bytes = 0;
    };

    struct Taken
    {
        QByteArray sender;
        uint32_t serial;
        bool wantsReply;
        Time when;
    };

    bool hasRoom(const Sender* sender, qsizetype bytes) const;
    bool processHasRoom(Time now);

    QHash<QByteArray, Sender> m_senders; // each has a call waiting
    QList<QByteArray> m_turns;           // the keys of m_senders, the next one first
    qsizetype m_bytes = 0;
    QList<Taken> m_taken; // the oldest first
};

} // namespace zemo::gate
