#include "CallQueue.h"

#include <algorithm>

namespace zemo::gate
{

bool CallQueue::add(const QByteArray& call, const Header& header)
{
    const auto known = m_senders.constFind(header.sender);
    if (!hasRoom(known == m_senders.constEnd() ? nullptr : &*known, call.size()))
    {
        return false;
    }
    if (known == m_senders.constEnd())
    {
        m_turns.append(header.sender);
    }
    Sender& sender = m_senders[header.sender];
    sender.calls.push_back({call, header.serial, header.wantsReply});
    sender.bytes += call.size();
    m_bytes += call.size();
    return true;
}

bool CallQueue::hasRoom(const Sender* sender, qsizetype bytes) const
{
    const bool fits = m_bytes == 0 || m_bytes + bytes <= totalBytes;
    if (!sender)
    {
        return fits || bytes <= smallCall;
    }
    return fits && static_cast<qsizetype>(sender->calls.size()) < senderCalls && sender->bytes + bytes <= senderBytes;
}

std::optional<QByteArray> CallQueue::take(Time now)
{
    if (m_turns.isEmpty() || !processHasRoom(now))
    {
        return std::nullopt;
    }
    const QByteArray name = m_turns.takeFirst();
    Sender& sender = m_senders[name];
    Waiting next = std::move(sender.calls.front());
    sender.calls.pop_front();
    sender.bytes -= next.call.size();
    m_bytes -= next.call.size();
    if (sender.calls.empty())
    {
        m_senders.remove(name);
    }
    else
    {
        m_turns.append(name);
    }
    m_taken.append({name, next.serial, next.wantsReply, now});
    demandReply(next.call);
    return std::move(next.call);
}

// A call that is given up is forgotten: should its answer come all the same, the bus knows whether it was asked for.
bool CallQueue::processHasRoom(Time now)
{
    m_taken.removeIf([now](const Taken& taken) { return now - taken.when >= patience; });
    return m_taken.size() < inHand;
}

bool CallQueue::isUnwanted(const Header& answer)
{
    const auto answered = std::find_if(
        m_taken.cbegin(), m_taken.cend(),
        [&](const Taken& taken) { return taken.serial == answer.replySerial && taken.sender == answer.destination; });
    if (answered == m_taken.cend())
    {
        return false;
    }
    const bool wanted = answered->wantsReply;
    m_taken.erase(answered);
    return !wanted;
}

std::optional<CallQueue::Time> CallQueue::nextChance() const
{
    if (m_turns.isEmpty() || m_taken.isEmpty())
    {
        return std::nullopt;
    }
    return m_taken.first().when + patience;
}

bool CallQueue::isEmpty() const
{
    return m_turns.isEmpty();
}

} // namespace zemo::gate
