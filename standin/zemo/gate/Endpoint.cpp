#include "Endpoint.h"

#include <QStringList>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace zemo::gate
{

namespace
{

struct SocketName
{
    sockaddr_un name = {};
    socklen_t length = 0;
};

const sockaddr* plain(const sockaddr_un& name)
{
    return reinterpret_cast<const sockaddr*>(&name);
}

// `place` is a path, or a name in the abstract space with a zero byte in front. Length 0 when it is too long.
SocketName socketName(const QByteArray& place)
{
    SocketName result;
    result.name.sun_family = AF_UNIX;
    if (static_cast<size_t>(place.size()) < sizeof result.name.sun_path)
    {
        std::memcpy(&result.name.sun_path[0], place.constData(), static_cast<size_t>(place.size()));
        result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + static_cast<size_t>(place.size()));
    }
    return result;
}

// Of one address, such as "unix:path=/run/dbus/system_bus_socket,guid=0123".
QByteArray placeOf(const QString& address)
{
    const QString transport = QStringLiteral("unix:");
    if (!address.startsWith(transport))
    {
        return {};
    }
    const QStringList pairs = address.mid(transport.size()).split(QLatin1Char(','));
    for (const QString& pair : pairs)
    {
        QByteArray value = QByteArray::fromPercentEncoding(pair.section(QLatin1Char('='), 1).toLatin1());
        if (pair.startsWith(QLatin1String("path=")))
        {
            return value;
        }
        if (pair.startsWith(QLatin1String("abstract=")))
        {
            return '\0' + value;
        }
    }
    return {};
}

Descriptor newSocket(int flags = 0)
{
    return Descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

bool isTransient(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

Descriptor::Descriptor(int number)
    : m_number(number)
{
}

Descriptor::~Descriptor()
{
    close();
}

Descriptor::Descriptor(Descriptor&& other) noexcept
    : m_number(std::exchange(other.m_number, -1))
{
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other)
    {
        close();
        m_number = std::exchange(other.m_number, -1);
    }
    return *this;
}

int Descriptor::number() const
{
    return m_number;
}

bool Descriptor::isOpen() const
{
    return m_number >= 0;
}

void Descriptor::close()
{
    if (isOpen())
    {
        ::close(std::exchange(m_number, -1));
    }
}

Descriptor connectTo(const QString& busAddress)
{
    const QStringList addresses = busAddress.split(QLatin1Char(';'));
    for (const QString& address : addresses)
    {
        const QByteArray place = placeOf(address);
        const SocketName name = socketName(place);
        Descriptor socket = newSocket();
        if (!place.isEmpty() && name.length > 0 && connect(socket.number(), plain(name.name), name.length) == 0)
        {
            return socket;
        }
    }
    return Descriptor();
}

Listener listen()
{
    Listener listener{newSocket(SOCK_NONBLOCK), {}};
    // A name of no length at all lets the kernel choose one of the abstract space.
    SocketName name = socketName({});
    socklen_t length = sizeof name.name;
    auto* address = reinterpret_cast<sockaddr*>(&name.name);
    if (!listener.socket.isOpen() || bind(listener.socket.number(), address, name.length) != 0 ||
        ::listen(listener.socket.number(), 1) != 0 || getsockname(listener.socket.number(), address, &length) != 0)
    {
        return {Descriptor(), {}};
    }
    const size_t begin = offsetof(sockaddr_un, sun_path) + 1;
    listener.address = QLatin1String("unix:abstract=") +
                       QString::fromLatin1(&name.name.sun_path[1], static_cast<qsizetype>(length - begin));
    return listener;
}

Descriptor acceptOwn(const Listener& listener)
{
    Descriptor socket(accept4(listener.socket.number(), nullptr, nullptr, SOCK_CLOEXEC));
    ucred peer = {};
    socklen_t length = sizeof peer;
    const bool known = getsockopt(socket.number(), SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0;
    return known && peer.pid == getpid() ? std::move(socket) : Descriptor();
}

Endpoint::Endpoint(Descriptor socket)
    : m_socket(std::move(socket))
{
}

int Endpoint::number() const
{
    return m_socket.number();
}

short Endpoint::events(bool mayRead) const
{
    return static_cast<short>((mayRead ? POLLIN : 0) | (output.isEmpty() ? 0 : POLLOUT));
}

bool Endpoint::receive()
{
    std::array<char, 65536> bytes; // NOLINT(cppcoreguidelines-pro-type-member-init): recv fills it
    const ssize_t count = recv(number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count > 0)
    {
        input.append(bytes.data(), count);
    }
    return count > 0 || (count < 0 && isTransient(errno));
}

bool Endpoint::send()
{
    const ssize_t count =
        ::send(number(), output.constData(), static_cast<size_t>(output.size()), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (count > 0)
    {
        output.remove(0, count);
    }
    return count >= 0 || isTransient(errno);
}

} // namespace zemo::gate
