#include "Pulse.h"

Pulse::Pulse(std::chrono::nanoseconds betweenBeats)
    : interval(betweenBeats)
    , thread([this] { beat(); })
{
}

Pulse::~Pulse()
{
    ending = true;
    thread.join();
}

long long Pulse::missed() const
{
    return beatsMissed;
}

void Pulse::beat()
{
    auto due = std::chrono::steady_clock::now();
    while (!ending)
    {
        due += interval;
        std::this_thread::sleep_until(due);
        // Like a timer of Qt's: a beat that is late by more than an interval swallows those in between.
        const auto late = (std::chrono::steady_clock::now() - due) / interval;
        beatsMissed += late;
        due += late * interval;
    }
}
