#pragma once

#include <QtGlobal>

/// What a process takes of the machine at this moment, all zero when there is no such process.
struct ProcessFigures
{
    double residentMebibytes = 0;
    double peakResidentMebibytes = 0; ///< the most it has ever had
    int threads = 0;
    int descriptors = 0;

    static ProcessFigures of(qint64 process);
};
