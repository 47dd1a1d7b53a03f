#pragma once

#include <string>
#include <vector>

/// The trace library in memory: what a program that is built with it traces, its libraries included, lands here.
struct TraceLine
{
    std::string module;
    unsigned int level;
    std::string text;

    bool operator==(const TraceLine& other) const = default;
};

std::vector<TraceLine> tracedLines();
void forgetTrace();
