#pragma once

#include <pthread.h>

/// No further thread can be had while the object lives, as on a machine that has come to its limit: each one would take
/// a stack larger than the address space.
class NoThreads
{
public:
    NoThreads()
    {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t endless;
        pthread_attr_init(&endless);
        pthread_attr_setstacksize(&endless, size_t(1) << 60);
        pthread_setattr_default_np(&endless);
        pthread_attr_destroy(&endless);
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

private:
    pthread_attr_t m_before{};
};
