#pragma once

#include <csignal>
#include <cstdint>
#include <sys/resource.h>

/// No file can grow beyond so many bytes while the object lives: a write is cut there and fails from then on, as on a
/// medium that is full.
class FullMedium
{
public:
    explicit FullMedium(uint64_t size)
    {
        m_signal = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{size, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullMedium()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_signal);
    }
    FullMedium(const FullMedium&) = delete;
    FullMedium& operator=(const FullMedium&) = delete;

private:
    rlimit m_before{};
    void (*m_signal)(int);
};
