#pragma once

#include <chrono>
#include <exception>
#include <semaphore>
#include <unistd.h>

/// While it lives an exception that nothing catches does not end the process: it is noted, and its thread goes no
/// further. One at a time.
class Termination
{
public:
    Termination()
        : m_before(std::set_terminate(&note))
    {
    }

    ~Termination()
    {
        std::set_terminate(m_before);
    }

    Termination(const Termination&) = delete;
    Termination& operator=(const Termination&) = delete;

    /// Waits for the end of the process; true if an exception of this type brought it about.
    template <class Exception> bool isBroughtAboutBy() const
    {
        if (!s_reached.try_acquire_for(Deadline) || !s_error)
        {
            return false;
        }
        try
        {
            std::rethrow_exception(s_error);
        }
        catch (const Exception&)
        {
            return true;
        }
        catch (...)
        {
            return false;
        }
    }

private:
    static constexpr auto Deadline = std::chrono::seconds(20);

    [[noreturn]] static void note()
    {
        s_error = std::current_exception();
        s_reached.release();
        for (;;) // a handler must not return, and ending the process would end the test
        {
            pause();
        }
    }

    inline static std::binary_semaphore s_reached{0};
    inline static std::exception_ptr s_error;
    std::terminate_handler m_before;
};
