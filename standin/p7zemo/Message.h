#pragma once

#include <cstdint>
#include <string>

/// One message on its way out. Every pointer may be null.
struct Message
{
    const char* module;
    const char* thread;
    uint32_t level;
    uint32_t line;
    const char* file;
    const char* function;
    std::string text;
};

/// Writes a message to the journal if standard error is connected to it, else to standard error. Any thread; errno is
/// kept; what cannot be written is dropped, without a SIGPIPE.
void writeMessage(const Message& message);
