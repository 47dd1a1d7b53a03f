#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

/// The process gets no further file descriptor while it lives.
class NothingCanBeOpened
{
public:
    NothingCanBeOpened()
    {
        const int firstFree = open("/", O_PATH);
        close(firstFree);
        getrlimit(RLIMIT_NOFILE, &m_before);
        const rlimit none = {static_cast<rlim_t>(firstFree), m_before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }

    ~NothingCanBeOpened()
    {
        setrlimit(RLIMIT_NOFILE, &m_before);
    }

    NothingCanBeOpened(const NothingCanBeOpened&) = delete;
    NothingCanBeOpened& operator=(const NothingCanBeOpened&) = delete;

private:
    rlimit m_before = {};
};
