// Diagnostics of a process between fork and exec.
#pragma once

#include <cstddef>

namespace Varno {

// Collects one short message and writes it, cut where it is too long, with a single write when it goes out of scope.
// Async-signal-safe.
class SignalSafeMessage {
  public:
    explicit SignalSafeMessage(int fd) : m_fd(fd) {}
    ~SignalSafeMessage();
    SignalSafeMessage(const SignalSafeMessage&) = delete;
    SignalSafeMessage& operator=(const SignalSafeMessage&) = delete;

    SignalSafeMessage& Text(const char* text);
    SignalSafeMessage& Number(int value);  // not negative
    // The text of an errno and the end of the line.
    SignalSafeMessage& Error(int error);

  private:
    const int m_fd;
    char m_text[512];
    std::size_t m_length = 0;
};

}  // namespace Varno
