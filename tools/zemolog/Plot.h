#pragma once

#include "Convert.h"

#include <string>
#include <vector>

struct PlotOptions
{
    std::string output;                ///< ends in .png or .svg
    std::vector<std::string> patterns; ///< shell patterns for titles; none takes every column
    int width = 1200;
    int height = 700;
};

/// Draws the good rows' chosen columns over time with gnuplot; a missing value is a gap. Throws Failure. Rows go to a
/// temporary file beside the output, so memory does not grow with the log.
Summary plot(LogReader& log, const PlotOptions& options);
