#pragma once

#include <zemo/DataValue.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// One stored change: from `time` on the parameter has `value`, until the next sample's time.
struct RamSample
{
    uint32_t time; ///< seconds since the epoch, UTC
    zemo::data::DataValue value;
    RamSample* next; ///< the next newer one
};

static_assert(sizeof(void*) != 8 || sizeof(RamSample) <= 64, "a stored change must fit in 64 bytes");

/// One parameter's history, a list of samples in ascending order of time, and an element of the list of parameters.
///
/// The samples lie in slabs of this parameter's own, in the order of the list, so that a walk reads memory from front
/// to back. What a removal leaves free is taken back by `tidy`.
class RamParameter
{
public:
    explicit RamParameter(uint32_t u32L_id);
    ~RamParameter();
    RamParameter(const RamParameter&) = delete;
    RamParameter& operator=(const RamParameter&) = delete;

    /// Stores a sample behind `last`.
    void append(uint32_t u32L_time, const zemo::data::DataValue& objL_value);
    /// Removes the sample behind `objL_previous`, or the first one when that is null, and answers the one behind it.
    /// One sample at least must stay. `last` is left to the caller when that was the removed one. Pointers to other
    /// samples stay good.
    RamSample* removeAfter(RamSample* objL_previous);
    void clear();
    /// Closes the gaps that removals left, once they are worth it. Samples move: pointers to them are void.
    void tidy();

    const uint32_t id;
    RamSample* first = nullptr; ///< null while nothing is stored
    RamSample* last = nullptr;
    std::unique_ptr<RamParameter> next;

private:
    friend class RAMLoggerInspector; // tests look at the memory in use

    struct FreeMemory
    {
        void operator()(RamSample* objL_memory) const;
    };
    struct Slab
    {
        std::unique_ptr<RamSample, FreeMemory> samples;
        uint32_t capacity;

        RamSample* begin() const;
        RamSample* end() const;
        bool holds(const RamSample* objL_sample) const;
    };
    RamSample* makePlace();
    RamSample* removeFirst();
    void addGap(const RamSample* objL_previous);
    void closeGaps();

    std::vector<Slab> slabs;     ///< all but the last are used up to their ends
    RamSample* unused = nullptr; ///< first unused place of the last slab
    uint32_t count = 0;          ///< samples in the list
    /// Free places between the first and the last sample. Those that `first` has moved past still count, which only
    /// closes the gaps earlier.
    uint32_t gaps = 0;
    size_t firstGapSlab = 0; ///< the slab of the sample before the first gap
};
