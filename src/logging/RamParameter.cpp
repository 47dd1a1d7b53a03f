#include "logging/RamParameter.h"

#include <algorithm>
#include <new>

namespace
{

// A slab grows with the history, so that neither a constant parameter nor a full history wastes much.
constexpr uint32_t SlabShare = 8;
constexpr uint32_t LargestSlab = 64;
// Gaps of one sample in so many are left alone: to close them moves every younger sample.
constexpr uint32_t GapShare = 32;

} // namespace

void RamParameter::FreeMemory::operator()(RamSample* objL_memory) const
{
    ::operator delete(objL_memory);
}

RamSample* RamParameter::Slab::begin() const
{
    return samples.get();
}

RamSample* RamParameter::Slab::end() const
{
    return samples.get() + capacity;
}

bool RamParameter::Slab::holds(const RamSample* objL_sample) const
{
    return objL_sample >= begin() && objL_sample < end();
}

RamParameter::RamParameter(uint32_t u32L_id)
    : id(u32L_id)
{
}

RamParameter::~RamParameter()
{
    clear();
}

void RamParameter::append(uint32_t u32L_time, const zemo::data::DataValue& objL_value)
{
    RamSample* const objL_sample = new (makePlace()) RamSample{u32L_time, objL_value, nullptr};
    ++count;
    (last ? last->next : first) = objL_sample;
    last = objL_sample;
}

RamSample* RamParameter::makePlace()
{
    if (slabs.empty() || unused == slabs.back().end())
    {
        const uint32_t u32L_capacity = std::clamp(count / SlabShare, 1U, LargestSlab);
        auto* objL_memory = static_cast<RamSample*>(::operator new(u32L_capacity * sizeof(RamSample)));
        slabs.push_back({std::unique_ptr<RamSample, FreeMemory>(objL_memory), u32L_capacity});
        unused = objL_memory;
    }
    return unused++;
}

RamSample* RamParameter::removeAfter(RamSample* objL_previous)
{
    if (!objL_previous)
    {
        return removeFirst();
    }
    RamSample* const objL_removed = objL_previous->next;
    objL_previous->next = objL_removed->next;
    std::destroy_at(objL_removed);
    --count;
    addGap(objL_previous);
    return objL_previous->next;
}

// What lies before the first sample is no gap: its slab goes as soon as it is empty.
RamSample* RamParameter::removeFirst()
{
    RamSample* const objL_removed = first;
    first = objL_removed->next;
    std::destroy_at(objL_removed);
    --count;
    const auto objL_slab =
        std::find_if(slabs.begin(), slabs.end(), [this](const Slab& objL_each) { return objL_each.holds(first); });
    const auto iL_emptied = static_cast<size_t>(objL_slab - slabs.begin());
    slabs.erase(slabs.begin(), objL_slab);
    firstGapSlab -= std::min(firstGapSlab, iL_emptied);
    return first;
}

void RamParameter::addGap(const RamSample* objL_previous)
{
    // Removals are mostly near the young end.
    const auto objL_slab = std::find_if(slabs.rbegin(), slabs.rend(),
                                        [=](const Slab& objL_each) { return objL_each.holds(objL_previous); });
    const auto iL_slab = static_cast<size_t>(slabs.rend() - objL_slab) - 1;
    firstGapSlab = gaps == 0 ? iL_slab : std::min(firstGapSlab, iL_slab);
    ++gaps;
}

void RamParameter::tidy()
{
    if (gaps > count / GapShare)
    {
        closeGaps();
    }
}

// Places ascend in the order of the list, so each sample moves to a place that is free already, or is its own.
void RamParameter::closeGaps()
{
    size_t iL_slab = firstGapSlab;
    // The place before the first gap is taken, and so are all before it in its slab, but for those before `first`.
    RamSample* objL_kept = iL_slab == 0 ? first : slabs[iL_slab].begin();
    while (RamSample* const objL_sample = objL_kept->next)
    {
        RamSample* objL_place = objL_kept + 1;
        if (objL_place == slabs[iL_slab].end())
        {
            objL_place = slabs[++iL_slab].begin();
        }
        if (objL_place != objL_sample)
        {
            new (objL_place) RamSample(*objL_sample);
            std::destroy_at(objL_sample);
            objL_kept->next = objL_place;
        }
        objL_kept = objL_place;
    }
    last = objL_kept;
    unused = last + 1;
    slabs.resize(iL_slab + 1);
    gaps = 0;
}

void RamParameter::clear()
{
    while (first)
    {
        RamSample* const objL_removed = first;
        first = objL_removed->next;
        std::destroy_at(objL_removed);
    }
    last = nullptr;
    slabs.clear();
    slabs.shrink_to_fit();
    unused = nullptr;
    count = 0;
    gaps = 0;
}
