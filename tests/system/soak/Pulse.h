#pragma once

#include <atomic>
#include <chrono>
#include <thread>

/// A thread that only wakes up at a steady pace and counts when it couldn't: what a daemon that does nothing would miss
/// on the machine of the day.
class Pulse
{
public:
    explicit Pulse(std::chrono::nanoseconds interval);
    /// Waits for the beat that is due next.
    ~Pulse();

    Pulse(const Pulse&) = delete;
    Pulse& operator=(const Pulse&) = delete;

    long long missed() const;

private:
    void beat();

    const std::chrono::nanoseconds interval;
    std::atomic<long long> beatsMissed = 0;
    std::atomic<bool> ending = false;
    std::thread thread;
};
