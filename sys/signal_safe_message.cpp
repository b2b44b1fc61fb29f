#include "sys/signal_safe_message.h"

#include <unistd.h>

#include <cstring>

namespace Varno {

SignalSafeMessage::~SignalSafeMessage() {
    // Nobody is left to be told when even this fails.
    [[maybe_unused]] const ssize_t written = write(m_fd, m_text, m_length);
}

SignalSafeMessage& SignalSafeMessage::Text(const char* text) {
    while (*text && m_length < sizeof(m_text))
        m_text[m_length++] = *text++;
    return *this;
}

SignalSafeMessage& SignalSafeMessage::Number(int value) {
    char digits[12];
    char* first = digits + sizeof(digits) - 1;
    *first = '\0';
    do {
        *--first = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0);
    return Text(first);
}

SignalSafeMessage& SignalSafeMessage::Error(int error) {
    const char* description = strerrordesc_np(error);  // unlike strerror, takes no lock and translates nothing
    return Text(description ? description : "unknown error").Text("\n");
}

}  // namespace Varno
