#pragma once

#include "logging/Logger.h"

#include <QMap>

#include <cstdint>
#include <vector>

/// The data of all benchmarks: parameter 0 is the time and the others are integers of mixed sizes, of which a share
/// changes from one sample to the next. The same numbers serve the daemon and its baselines.
class Data
{
public:
    /// `changing` is the share of the values that change per sample, 0 to 1.
    Data(int parameters, double changing);

    int parameters() const;
    QMap<int32_t, Metadata> metadata() const;

    /// The value of one parameter in sample number `sample`.
    int64_t value(int parameter, uint32_t sample) const;
    uint8_t varSize(int parameter) const;
    /// All values of a sample, as the platform delivers them.
    QMap<int32_t, DataValue> sample(uint32_t sample) const;
    /// The same as plain numbers, in the order of the ids.
    std::vector<int64_t> numbers(uint32_t sample) const;

    static constexpr int FirstId = 1000;

private:
    bool changes(int parameter, uint32_t sample) const;

    int m_parameters;
    double m_changing;
};

/// Times of a full three-day history as it stands after thinning: a minute apart, then ten seconds, then one.
std::vector<uint32_t> fullHistoryTimes(uint32_t now);
