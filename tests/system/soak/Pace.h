#pragma once

#include <algorithm>
#include <cstdint>

/// How fast a clock goes on that is driven in steps and runs by itself for a while behind each, which is twice as long
/// as a step. Times are nanoseconds of the machine's. When a step comes late, nothing was let run for a while, yet the
/// clock ran on for as long as it does by itself. So it then stands still until a step comes in time again, which takes
/// back at least half of what it ran too far. Else it would run away from those that live by it on a machine that is
/// away again and again for a little. Absences that make no step late are not seen.
class Pace
{
public:
    explicit Pace(std::int64_t longestRunByItself)
        : longestRun(longestRunByItself)
    {
    }

    /// The speed from a step on that comes so long behind the last one, where `newlyWanted` is asked for.
    std::int64_t after(std::int64_t passed, std::int64_t newlyWanted)
    {
        const bool late = passed > longestRun;
        const std::int64_t beyond = std::max<std::int64_t>(0, passed - longestRun);
        lastStop = wanted == 0 ? 0 : held ? passed : beyond;
        held = late && wanted > 0;
        wanted = newlyWanted;
        return held ? 0 : wanted;
    }

    /// For how long the clock stood still before the last step, other than it was asked to.
    std::int64_t stop() const
    {
        return lastStop;
    }

private:
    std::int64_t longestRun;
    std::int64_t wanted = 0;
    std::int64_t lastStop = 0;
    bool held = false; ///< the clock stands still although it is to run
};
