#pragma once

#include <QByteArray>
#include <QString>

namespace zemo::gate
{

/// A file descriptor with an owner.
class Descriptor
{
public:
    explicit Descriptor(int number = -1);
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const;
    bool isOpen() const;
    void close();

private:
    int m_number;
};

/// Connects to the first of the addresses of a bus that is a socket of this machine and answers. Not open when there is
/// none.
Descriptor connectTo(const QString& busAddress);

/// A socket that listens under a name that nobody else has, and its address as the bus library wants it.
struct Listener
{
    Descriptor socket;
    QString address;
};

/// Not open, with the reason in errno, when there is none to be had.
Listener listen();

/// The next connection if it comes from this process; not open otherwise. Others may know the name too.
Descriptor acceptOwn(const Listener& listener);

/// One side of the gate: a socket that doesn't block, and what waits in front of it and behind it.
class Endpoint
{
public:
    explicit Endpoint(Descriptor socket);

    int number() const;

    /// What poll is to wait for; reading only if the caller has use for more.
    short events(bool mayRead) const;

    /// Reads what is there into `input`, and writes what there is room for. False when the other side is gone.
    [[nodiscard]] bool receive();
    [[nodiscard]] bool send();

    QByteArray input;
    QByteArray output;

private:
    Descriptor m_socket;
};

} // namespace zemo::gate
