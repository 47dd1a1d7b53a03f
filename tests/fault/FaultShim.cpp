// The calls that FaultPlan watches, under the names by which programs reach them.

// Without these the names below would stand for their 64-bit variants.
#undef _FILE_OFFSET_BITS
#undef _FORTIFY_SOURCE

#include "FaultPlan.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace
{

using Action = FaultPlan::Action;

// Descriptors that were opened under a watched path. Those beyond are not watched; tests have fewer.
std::array<std::atomic<bool>, 4096> watchedDescriptors;

bool isWatched(int descriptor)
{
    return descriptor >= 0 && static_cast<size_t>(descriptor) < watchedDescriptors.size() &&
           watchedDescriptors[static_cast<size_t>(descriptor)];
}

void watch(int descriptor, bool watched)
{
    if (descriptor >= 0 && static_cast<size_t>(descriptor) < watchedDescriptors.size())
    {
        watchedDescriptors[static_cast<size_t>(descriptor)] = watched;
    }
}

bool isWatched(const char* path)
{
    return FaultPlan::instance().concerns(path);
}

bool isWatchedAt(int folder, const char* path)
{
    return isWatched(path) || (path && path[0] != '/' && isWatched(folder));
}

template <class Function> Function* realOne(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <class Result> Result failure()
{
    errno = FaultPlan::instance().error();
    if constexpr (std::is_pointer_v<Result>)
    {
        return nullptr;
    }
    else
    {
        return -1;
    }
}

void dieIfPlanned(Action action)
{
    if (action == Action::KillAfter || action == Action::Torn)
    {
        FaultPlan::die();
    }
}

// Makes the call, unless the plan has something else in mind.
template <class Call> auto guarded(const char* name, bool watched, const char* path, Call call) -> decltype(call())
{
    if (!watched)
    {
        return call();
    }
    const Action action = FaultPlan::instance().enter(name, path);
    if (action == Action::Fail)
    {
        return failure<decltype(call())>();
    }
    const auto result = call();
    dieIfPlanned(action);
    return result;
}

// The same for a call that puts `size` bytes into a file; `call` takes the size that it may put.
template <class Call> ssize_t guardedWrite(int descriptor, size_t size, Call call)
{
    if (!isWatched(descriptor))
    {
        return call(size);
    }
    FaultPlan& plan = FaultPlan::instance();
    const Action action = plan.enter("write", nullptr);
    if (action == Action::Fail)
    {
        return failure<ssize_t>();
    }
    const size_t wanted = action == Action::Short || action == Action::Torn ? (size + 1) / 2 : size;
    const size_t taken = plan.takeSpace(wanted);
    if (taken == 0 && wanted > 0)
    {
        errno = ENOSPC;
        return -1;
    }
    const ssize_t written = call(taken);
    plan.giveSpaceBack(taken - static_cast<size_t>(written > 0 ? written : 0));
    dieIfPlanned(action);
    return written;
}

template <class Call> int guardedOpen(int folder, const char* path, Call call)
{
    const bool watched = isWatchedAt(folder, path);
    const int descriptor = guarded("open", watched, path, call);
    watch(descriptor, watched && descriptor >= 0);
    return descriptor;
}

bool isLock(int command)
{
    return command == F_SETLK || command == F_SETLKW || command == F_GETLK || command == F_SETLK64 ||
           command == F_SETLKW64 || command == F_GETLK64 || command == F_OFD_SETLK || command == F_OFD_SETLKW;
}

mode_t modeOf(int flags, va_list arguments)
{
    return (flags & (O_CREAT | O_TMPFILE)) ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#define REAL(name)                                                                                                     \
    (*[]                                                                                                               \
     {                                                                                                                 \
         static auto* const real = realOne<decltype(::name)>(#name);                                                   \
         return real;                                                                                                  \
     }())

#define OPEN(name)                                                                                                     \
    int name(const char* path, int flags, ...)                                                                         \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = modeOf(flags, arguments);                                                                  \
        va_end(arguments);                                                                                             \
        return guardedOpen(AT_FDCWD, path, [&] { return REAL(name)(path, flags, mode); });                             \
    }

#define OPENAT(name)                                                                                                   \
    int name(int folder, const char* path, int flags, ...)                                                             \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const mode_t mode = modeOf(flags, arguments);                                                                  \
        va_end(arguments);                                                                                             \
        return guardedOpen(folder, path, [&] { return REAL(name)(folder, path, flags, mode); });                       \
    }

#define CREAT(name)                                                                                                    \
    int name(const char* path, mode_t mode)                                                                            \
    {                                                                                                                  \
        return guardedOpen(AT_FDCWD, path, [&] { return REAL(name)(path, mode); });                                    \
    }

#define FILE_OPEN(name)                                                                                                \
    FILE* name(const char* path, const char* mode)                                                                     \
    {                                                                                                                  \
        return guarded("open", isWatched(path), path, [&] { return REAL(name)(path, mode); });                         \
    }

#define OPEN_2(name)                                                                                                   \
    int name(const char* path, int flags);                                                                             \
    int name(const char* path, int flags)                                                                              \
    {                                                                                                                  \
        return guardedOpen(AT_FDCWD, path, [&] { return REAL(name)(path, flags); });                                   \
    }

// Whatever the argument is, a number or an address, it goes on as it came.
#define FCNTL(name)                                                                                                    \
    int name(int descriptor, int command, ...)                                                                         \
    {                                                                                                                  \
        va_list arguments;                                                                                             \
        va_start(arguments, command);                                                                                  \
        void* const argument = va_arg(arguments, void*);                                                               \
        va_end(arguments);                                                                                             \
        return guarded("lock", isLock(command) && isWatched(descriptor), nullptr,                                      \
                       [&] { return REAL(name)(descriptor, command, argument); });                                     \
    }

#define PREAD(name, Offset)                                                                                            \
    ssize_t name(int descriptor, void* buffer, size_t size, Offset offset)                                             \
    {                                                                                                                  \
        return guarded("read", isWatched(descriptor), nullptr,                                                         \
                       [&] { return REAL(name)(descriptor, buffer, size, offset); });                                  \
    }

#define PWRITE(name, Offset)                                                                                           \
    ssize_t name(int descriptor, const void* buffer, size_t size, Offset offset)                                       \
    {                                                                                                                  \
        return guardedWrite(descriptor, size,                                                                          \
                            [&](size_t allowed) { return REAL(name)(descriptor, buffer, allowed, offset); });          \
    }

#define FTRUNCATE(name, Offset)                                                                                        \
    int name(int descriptor, Offset size) noexcept                                                                     \
    {                                                                                                                  \
        return guarded("truncate", isWatched(descriptor), nullptr, [&] { return REAL(name)(descriptor, size); });      \
    }

#define TRUNCATE(name, Offset)                                                                                         \
    int name(const char* path, Offset size) noexcept                                                                   \
    {                                                                                                                  \
        return guarded("truncate", isWatched(path), path, [&] { return REAL(name)(path, size); });                     \
    }

#define FALLOCATE(name, Offset)                                                                                        \
    int name(int descriptor, int mode, Offset offset, Offset size)                                                     \
    {                                                                                                                  \
        return guarded("allocate", isWatched(descriptor), nullptr,                                                     \
                       [&] { return REAL(name)(descriptor, mode, offset, size); });                                    \
    }

#define STAT(name, Record)                                                                                             \
    int name(const char* path, struct Record* result) noexcept                                                         \
    {                                                                                                                  \
        return guarded("stat", isWatched(path), path, [&] { return REAL(name)(path, result); });                       \
    }

#define FSTAT(name, Record)                                                                                            \
    int name(int descriptor, struct Record* result) noexcept                                                           \
    {                                                                                                                  \
        return guarded("stat", isWatched(descriptor), nullptr, [&] { return REAL(name)(descriptor, result); });        \
    }

#define FSTATAT(name, Record)                                                                                          \
    int name(int folder, const char* path, struct Record* result, int flags) noexcept                                  \
    {                                                                                                                  \
        return guarded("stat", isWatchedAt(folder, path), path,                                                        \
                       [&] { return REAL(name)(folder, path, result, flags); });                                       \
    }

#define DESCRIPTOR_CALL(call, name)                                                                                    \
    int name(int descriptor)                                                                                           \
    {                                                                                                                  \
        return guarded(call, isWatched(descriptor), nullptr, [&] { return REAL(name)(descriptor); });                  \
    }

#define PATH_CALL(call, name)                                                                                          \
    int name(const char* path) noexcept                                                                                \
    {                                                                                                                  \
        return guarded(call, isWatched(path), path, [&] { return REAL(name)(path); });                                 \
    }

#define TWO_PATHS_CALL(call, name)                                                                                     \
    int name(const char* from, const char* to) noexcept                                                                \
    {                                                                                                                  \
        return guarded(call, isWatched(from) || isWatched(to), from, [&] { return REAL(name)(from, to); });            \
    }

extern "C"
{

    OPEN(open)
    OPEN(open64)
    OPEN_2(__open_2)
    OPEN_2(__open64_2)
    OPENAT(openat)
    OPENAT(openat64)
    CREAT(creat)
    CREAT(creat64)
    FCNTL(fcntl)
    FCNTL(fcntl64)
    FILE_OPEN(fopen)
    FILE_OPEN(fopen64)

    int close(int descriptor)
    {
        const bool watched = isWatched(descriptor);
        watch(descriptor, false);
        // The descriptor is gone also when its close fails, as everywhere on Linux.
        bool closed = false;
        const int result = guarded("close", watched, nullptr,
                                   [&]
                                   {
                                       closed = true;
                                       return REAL(close)(descriptor);
                                   });
        if (!closed)
        {
            const int error = errno;
            REAL(close)(descriptor);
            errno = error;
        }
        return result;
    }

    ssize_t read(int descriptor, void* buffer, size_t size)
    {
        return guarded("read", isWatched(descriptor), nullptr, [&] { return REAL(read)(descriptor, buffer, size); });
    }

    ssize_t write(int descriptor, const void* buffer, size_t size)
    {
        return guardedWrite(descriptor, size, [&](size_t allowed) { return REAL(write)(descriptor, buffer, allowed); });
    }

    PREAD(pread, off_t)
    PREAD(pread64, off64_t)
    PWRITE(pwrite, off_t)
    PWRITE(pwrite64, off64_t)
    FTRUNCATE(ftruncate, off_t)
    FTRUNCATE(ftruncate64, off64_t)
    TRUNCATE(truncate, off_t)
    TRUNCATE(truncate64, off64_t)
    FALLOCATE(fallocate, off_t)
    FALLOCATE(fallocate64, off64_t)

    DESCRIPTOR_CALL("fsync", fsync)
    DESCRIPTOR_CALL("fdatasync", fdatasync)

    int syncfs(int descriptor) noexcept
    {
        return guarded("syncfs", isWatched(descriptor), nullptr, [&] { return REAL(syncfs)(descriptor); });
    }

    void sync() noexcept
    {
        guarded("sync", FaultPlan::instance().isActive(), nullptr,
                []
                {
                    REAL(sync)();
                    return 0;
                });
    }

    TWO_PATHS_CALL("rename", rename)

    int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept
    {
        return guarded("rename", isWatchedAt(fromFolder, from) || isWatchedAt(toFolder, to), from,
                       [&] { return REAL(renameat)(fromFolder, from, toFolder, to); });
    }

    int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned int flags) noexcept
    {
        return guarded("rename", isWatchedAt(fromFolder, from) || isWatchedAt(toFolder, to), from,
                       [&] { return REAL(renameat2)(fromFolder, from, toFolder, to, flags); });
    }

    PATH_CALL("unlink", unlink)
    PATH_CALL("remove", remove)
    PATH_CALL("rmdir", rmdir)

    int unlinkat(int folder, const char* path, int flags) noexcept
    {
        return guarded("unlink", isWatchedAt(folder, path), path, [&] { return REAL(unlinkat)(folder, path, flags); });
    }

    int mkdir(const char* path, mode_t mode) noexcept
    {
        return guarded("mkdir", isWatched(path), path, [&] { return REAL(mkdir)(path, mode); });
    }

    TWO_PATHS_CALL("link", link)
    TWO_PATHS_CALL("symlink", symlink)

    STAT(stat, stat)
    STAT(stat64, stat64)
    STAT(lstat, stat)
    STAT(lstat64, stat64)
    FSTAT(fstat, stat)
    FSTAT(fstat64, stat64)
    FSTATAT(fstatat, stat)
    FSTATAT(fstatat64, stat64)

    int statx(int folder, const char* path, int flags, unsigned int mask, struct statx* result) noexcept
    {
        const bool watched = isWatchedAt(folder, path) || (path && path[0] == '\0' && isWatched(folder));
        return guarded("stat", watched, path, [&] { return REAL(statx)(folder, path, flags, mask, result); });
    }

    int access(const char* path, int mode) noexcept
    {
        return guarded("access", isWatched(path), path, [&] { return REAL(access)(path, mode); });
    }

    int faccessat(int folder, const char* path, int mode, int flags) noexcept
    {
        return guarded("access", isWatchedAt(folder, path), path,
                       [&] { return REAL(faccessat)(folder, path, mode, flags); });
    }

    DIR* opendir(const char* path)
    {
        return guarded("opendir", isWatched(path), path, [&] { return REAL(opendir)(path); });
    }
}
