#pragma once

#include "CallQueue.h"
#include "Endpoint.h"

#include <atomic>
#include <memory>
#include <thread>

namespace zemo::gate
{

/// Stands between this process' connection to the system bus and the bus, and lets calls through in turn and no faster
/// than they are served.
///
/// Qt takes in whatever the bus delivers and keeps it until its objects come to it. Calls that come in faster than they
/// are served would take all memory, everybody's next call would wait behind all of them, and past some 60 MB Qt stops
/// reading for good. So the gate reads in its place, keeps the calls in a CallQueue, and refuses what is too much.
/// Answers and signals pass at once, in both directions. Descriptors can't be passed along.
///
/// A thread of its own does the work, from open to the destructor or the end of either side.
class BusGate
{
public:
    /// Opens Qt's connection to the system bus through a gate. Call before anybody asks for that connection, with no
    /// other thread running. Null, with the reason in the trace, where there is no bus, or none on a socket of this
    /// machine; where there are no descriptors left for the gate's own; and where somebody had the connection already.
    /// Then what Qt makes of the connection stands, without a gate.
    static std::unique_ptr<BusGate> open();

    /// What the process has sent before still reaches the bus.
    ~BusGate();

    BusGate(const BusGate&) = delete;
    BusGate& operator=(const BusGate&) = delete;

private:
    BusGate(Descriptor bus, Listener listener, Descriptor stopReader, Descriptor stopWriter);

    void run();
    [[nodiscard]] bool waitForProcess();
    [[nodiscard]] bool turn();
    [[nodiscard]] int pollTimeout() const;
    void finish();

    void passFromProcess();
    void passFromBus();
    void negotiate();
    void passMessage(const QByteArray& message);
    void admit(const QByteArray& call, const Header& header);
    void refuse(const Header& header);
    void deliverCalls();
    void noteEndOfRefusals();

    Endpoint m_bus;
    Endpoint m_process;
    Listener m_listener;
    Descriptor m_stopReader;
    Descriptor m_stopWriter;
    CallQueue m_calls;
    quint64 m_refused = 0;
    bool m_negotiated = false;
    std::atomic<bool> m_joined = false;
    std::thread m_thread;
};

} // namespace zemo::gate
