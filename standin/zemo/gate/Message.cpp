#include "Message.h"

#include <QtEndian>

namespace zemo::gate
{

namespace
{

constexpr qsizetype fixedPart = 16;
constexpr uint8_t noReplyExpected = 1;
// Nobody answers an error, so nobody looks at its serial.
constexpr uint32_t anySerial = 1;

enum FieldCode : uint8_t
{
    ErrorName = 4,
    ReplySerial = 5,
    Destination = 6,
    Sender = 7,
    Signature = 8
};

qsizetype aligned(qsizetype place, qsizetype to)
{
    return (place + to - 1) / to * to;
}

uint8_t byteAt(QByteArrayView bytes, qsizetype place)
{
    return place < bytes.size() ? static_cast<uint8_t>(bytes[place]) : 0;
}

// In the sender's byte order, which the first byte names.
uint32_t numberAt(QByteArrayView bytes, qsizetype place)
{
    if (place + 4 > bytes.size())
    {
        return 0;
    }
    const char* data = bytes.data() + place;
    return bytes[0] == 'B' ? qFromBigEndian<uint32_t>(data) : qFromLittleEndian<uint32_t>(data);
}

// Walks over the fields of a header: an array of pairs of a code and a variant.
class Fields
{
public:
    explicit Fields(QByteArrayView message)
        : m_message(message)
        , m_end(fixedPart + static_cast<qsizetype>(numberAt(message, 12)))
    {
    }

    void readInto(Header& header)
    {
        while (m_place < m_end && readOne(header))
        {
            m_place = aligned(m_place, 8);
        }
    }

private:
    bool readOne(Header& header)
    {
        const uint8_t code = byteAt(m_message, m_place);
        const bool simple = byteAt(m_message, m_place + 1) == 1;
        const uint8_t type = byteAt(m_message, m_place + 2);
        m_place += 4;
        if (!simple)
        {
            return false;
        }
        switch (type)
        {
        case 'o':
        case 's':
            note(header, code, text());
            return true;
        case 'u':
            note(header, code, number());
            return true;
        case 'g':
            m_place += byteAt(m_message, m_place) + 2;
            return true;
        default:
            return false;
        }
    }

    uint32_t number()
    {
        m_place = aligned(m_place, 4);
        const uint32_t value = numberAt(m_message, m_place);
        m_place += 4;
        return value;
    }

    QByteArrayView text()
    {
        const auto length = static_cast<qsizetype>(number());
        const qsizetype begin = m_place;
        m_place += length + 1;
        return m_place <= m_message.size() ? m_message.sliced(begin, length) : QByteArrayView();
    }

    static void note(Header& header, uint8_t code, QByteArrayView value)
    {
        if (code == Sender)
        {
            header.sender = value.toByteArray();
        }
        else if (code == Destination)
        {
            header.destination = value.toByteArray();
        }
    }

    static void note(Header& header, uint8_t code, uint32_t value)
    {
        if (code == ReplySerial)
        {
            header.replySerial = value;
        }
    }

    QByteArrayView m_message;
    qsizetype m_end;
    qsizetype m_place = fixedPart;
};

class Writer
{
public:
    QByteArray bytes;

    void align(qsizetype to)
    {
        bytes.append(aligned(bytes.size(), to) - bytes.size(), '\0');
    }

    void number(uint32_t value)
    {
        align(4);
        value = qToLittleEndian(value);
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }

    void text(QByteArrayView value)
    {
        number(static_cast<uint32_t>(value.size()));
        bytes.append(value).append('\0');
    }

    void field(FieldCode code, char type)
    {
        align(8);
        bytes.append(static_cast<char>(code)).append('\1').append(type).append('\0');
    }
};

QByteArray refusalFields(const Header& call)
{
    Writer fields;
    fields.field(ErrorName, 's');
    fields.text("org.freedesktop.DBus.Error.LimitsExceeded");
    fields.field(ReplySerial, 'u');
    fields.number(call.serial);
    fields.field(Destination, 's');
    fields.text(call.sender);
    fields.field(Signature, 'g');
    fields.bytes.append("\1s", 3);
    return fields.bytes;
}

} // namespace

std::optional<qsizetype> messageSize(QByteArrayView bytes)
{
    if (bytes.size() < fixedPart)
    {
        return std::nullopt;
    }
    const auto body = static_cast<qsizetype>(numberAt(bytes, 4));
    const auto fields = static_cast<qsizetype>(numberAt(bytes, 12));
    return aligned(fixedPart + fields, 8) + body;
}

Header readHeader(QByteArrayView message)
{
    Header header;
    header.kind = static_cast<Kind>(byteAt(message, 1));
    header.wantsReply = (byteAt(message, 2) & noReplyExpected) == 0;
    header.serial = numberAt(message, 8);
    Fields(message).readInto(header);
    return header;
}

void demandReply(QByteArray& message)
{
    message[2] = static_cast<char>(byteAt(message, 2) & ~noReplyExpected);
}

QByteArray refusalOf(const Header& call)
{
    Writer body;
    body.text("Too many calls are waiting already");
    const QByteArray fields = refusalFields(call);
    Writer message;
    message.bytes.append('l').append(static_cast<char>(Kind::Error)).append(static_cast<char>(noReplyExpected));
    message.bytes.append('\1');
    message.number(static_cast<uint32_t>(body.bytes.size()));
    message.number(anySerial);
    message.number(static_cast<uint32_t>(fields.size()));
    message.bytes.append(fields);
    message.align(8);
    return message.bytes + body.bytes;
}

} // namespace zemo::gate
