// Tells the thread sanitizer what Qt's library, which it doesn't see into, does between threads: its mutexes, and that
// what is handed to another thread's event loop is seen by it. These stand in front of Qt's own functions in a program
// that is linked with them.
//
// Events count coarsely, all as one: whoever is handed one has seen what anybody did before handing over. So a race is
// found only while no event goes between.

#include <QCoreApplication>
#include <QMutex>
#include <QThread>

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>

namespace
{

char events; // its address stands for all of them

template <class Function> Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

bool QRecursiveMutex::tryLock(int timeout) noexcept
{
    static auto* const lock = real<bool(QRecursiveMutex*, int)>("_ZN15QRecursiveMutex7tryLockEi");
    const bool locked = lock(this, timeout);
    if (locked)
    {
        __tsan_acquire(this);
    }
    return locked;
}

void QRecursiveMutex::unlock() noexcept
{
    static auto* const unlock = real<void(QRecursiveMutex*)>("_ZN15QRecursiveMutex6unlockEv");
    __tsan_release(this);
    unlock(this);
}

// Free mutexes are taken by code in Qt's headers, which the sanitizer sees.
void QBasicMutex::lockInternal() noexcept
{
    static auto* const lock = real<void(QBasicMutex*)>("_ZN11QBasicMutex12lockInternalEv");
    lock(this);
    __tsan_acquire(this);
}

bool QBasicMutex::lockInternal(int timeout) noexcept
{
    static auto* const lock = real<bool(QBasicMutex*, int)>("_ZN11QBasicMutex12lockInternalEi");
    const bool locked = lock(this, timeout);
    if (locked)
    {
        __tsan_acquire(this);
    }
    return locked;
}

void QBasicMutex::unlockInternal() noexcept
{
    static auto* const unlock = real<void(QBasicMutex*)>("_ZN11QBasicMutex14unlockInternalEv");
    __tsan_release(this);
    unlock(this);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* meta, int index, void** arguments)
{
    static auto* const emitSignal =
        real<void(QObject*, const QMetaObject*, int, void**)>("_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    __tsan_release(&events);
    emitSignal(sender, meta, index, arguments);
    __tsan_acquire(&events); // a receiver may have been waited for
    __tsan_release(&events); // the sender was still looked at behind the hand-over
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* result)
{
    static auto* const invoke = real<bool(QObject*, QtPrivate::QSlotObjectBase*, Qt::ConnectionType, void*)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    // Whoever waits lets go of it last, and only when it is known that the other thread has done with it.
    const bool waits = type == Qt::BlockingQueuedConnection;
    if (waits)
    {
        slot->ref();
    }
    __tsan_release(&events);
    const bool invoked = invoke(object, slot, type, result);
    __tsan_acquire(&events);
    if (waits)
    {
        slot->destroyIfLastRef();
    }
    return invoked;
}

bool QMetaObject::invokeMethod(QObject* object, const char* member, Qt::ConnectionType type,
                               QGenericReturnArgument result, QGenericArgument val0, QGenericArgument val1,
                               QGenericArgument val2, QGenericArgument val3, QGenericArgument val4,
                               QGenericArgument val5, QGenericArgument val6, QGenericArgument val7,
                               QGenericArgument val8, QGenericArgument val9)
{
    using Argument = QGenericArgument;
    static auto* const invoke =
        real<bool(QObject*, const char*, Qt::ConnectionType, QGenericReturnArgument, Argument, Argument, Argument,
                  Argument, Argument, Argument, Argument, Argument, Argument, Argument)>(
            "_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturnArgument16"
            "QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_");
    __tsan_release(&events);
    const bool invoked =
        invoke(object, member, type, result, val0, val1, val2, val3, val4, val5, val6, val7, val8, val9);
    __tsan_acquire(&events);
    return invoked;
}

void QObject::deleteLater()
{
    static auto* const deleteLater = real<void(QObject*)>("_ZN7QObject11deleteLaterEv");
    __tsan_release(&events);
    deleteLater(this);
}

// The application's own override calls this for the events of every thread.
bool QCoreApplication::notify(QObject* receiver, QEvent* event)
{
    static auto* const notify =
        real<bool(QCoreApplication*, QObject*, QEvent*)>("_ZN16QCoreApplication6notifyEP7QObjectP6QEvent");
    __tsan_acquire(&events);
    const bool noticed = notify(this, receiver, event);
    __tsan_release(&events);
    return noticed;
}

void QThread::start(Priority priority)
{
    static auto* const start = real<void(QThread*, Priority)>("_ZN7QThread5startENS_8PriorityE");
    __tsan_release(&events);
    start(this, priority);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static auto* const wait = real<bool(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = wait(this, deadline);
    __tsan_acquire(&events);
    return ended;
}
