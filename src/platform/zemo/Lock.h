#pragma once

namespace zemo::threading
{

/// A named lock, re-entrant for one thread.
class Lock
{
public:
    /// `name` must outlive the lock.
    explicit Lock(const char* name);
    /// May be destroyed by the thread that holds it, without a release.
    ~Lock();
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    /// Waits until the lock is had when `wait` is true; answers whether it is.
    bool lock(bool wait);
    void unlock();

private:
    struct Private;
    Private* d;
};

} // namespace zemo::threading
