#pragma once

#include <chrono>
#include <functional>

/// How long a wait lasts before the test has failed. Generous, because a loaded machine is slow and a wait that is met
/// ends at once.
constexpr std::chrono::milliseconds patience{20'000};

/// Runs the event loop until `condition` holds, which is looked at after every event and at least every 10 ms, as files
/// and processes of the other side raise none. False when it didn't come to hold in time.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline = patience);
