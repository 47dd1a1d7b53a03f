#pragma once

#include <algorithm>
#include <cstdint>

/// How fast a clock goes on that is driven in steps and runs by itself for a while behind each. Times are nanoseconds
/// of the machine's. When a step comes late, nobody was let run for a while, yet the clock ran on for as long as it
/// does by itself. What it ran too far it makes good by standing still until as much time has passed in steps that come
/// when they should. On a machine that is away for most of the time, a little at a time, the clock would else run away
/// from those that live by it.
class Pace
{
public:
    Pace(std::int64_t longestRunByItself, std::int64_t step)
        : longestRun(longestRunByItself)
        , usual(step)
    {
    }

    /// The speed from a step on that comes so long behind the last one, where `wanted` is asked for.
    std::int64_t after(std::int64_t passed, std::int64_t wanted)
    {
        const bool late = passed > longestRun;
        lastStop = held ? passed : std::max<std::int64_t>(0, passed - longestRun);
        if (late && speed > 0)
            owed = longestRun - usual;
        else if (held && !late)
            owed -= passed;
        held = owed > 0;
        speed = held ? 0 : wanted;
        return speed;
    }

    /// For how long the clock stood still before the last step, other than it was asked to.
    std::int64_t stop() const
    {
        return lastStop;
    }

private:
    std::int64_t longestRun;
    std::int64_t usual;
    std::int64_t speed = 0;
    std::int64_t owed = 0; ///< that the clock ran too far
    std::int64_t lastStop = 0;
    bool held = false; ///< the clock stands still for what it owes
};
