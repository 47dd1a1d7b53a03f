#include "Noise.h"

namespace platformd
{

namespace
{

// Mixes all bits of the input into all bits of the result (the finalizer of splitmix64).
quint64 mix(quint64 bits)
{
    bits += 0x9e3779b97f4a7c15ULL;
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9ULL;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebULL;
    return bits ^ (bits >> 31);
}

} // namespace

quint64 noise(std::initializer_list<qint64> key)
{
    quint64 bits = 0;
    for (const qint64 part : key)
    {
        bits = mix(bits ^ static_cast<quint64>(part));
    }
    return bits;
}

} // namespace platformd
