// One device of the board, as the program's system calls meet it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>

namespace board {

// One open node.
struct OpenNode {
    int descriptor;
    bool blocking;
    unsigned generation;  // the device's, when it was opened
};

// Answers are those of the system call, failures the negative errno. Thread-safe.
class Device {
  public:
    virtual ~Device() = default;

    // May refuse; fills in the node's generation.
    virtual int Open(OpenNode& node) = 0;
    virtual void Close(const OpenNode& node) = 0;
    virtual int Ioctl(const OpenNode& node, unsigned long request, void* argument) = 0;
    // Maps device memory; null with `error` set to an errno on failure.
    virtual void* Map(const OpenNode& node, std::size_t length, off_t offset, int& error);
    // True when `address` was this device's mapping; it is none then.
    virtual bool Unmap(void* address, std::size_t length);
    virtual int WaitReadable(const OpenNode& node, std::chrono::milliseconds timeout);
    virtual int WaitWritable(const OpenNode& node, std::chrono::milliseconds timeout);
};

}  // namespace board
