#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <optional>

/// Messages as they stand on the wire of a message bus, as far as the gate looks at them. All that comes from the bus
/// or from the bus library is well-formed; what isn't understood is left as it is.
namespace zemo::gate
{

enum class Kind : uint8_t
{
    Call = 1,
    Return = 2,
    Error = 3,
    Signal = 4
};

struct Header
{
    Kind kind = Kind::Signal;
    bool wantsReply = false;
    uint32_t serial = 0;
    uint32_t replySerial = 0;
    QByteArray sender;
    QByteArray destination;
};

/// How many bytes the message at the beginning of `bytes` takes, nothing when too few are there to tell.
std::optional<qsizetype> messageSize(QByteArrayView bytes);

/// What stands in front of a complete message. Fields behind one of an unheard-of type are not found.
Header readHeader(QByteArrayView message);

/// Makes a call one that wants a reply.
void demandReply(QByteArray& message);

/// The error that tells a caller that its call was one too many.
QByteArray refusalOf(const Header& call);

} // namespace zemo::gate
