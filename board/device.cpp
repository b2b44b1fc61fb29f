#include "board/device.h"

#include <cerrno>

namespace board {

void* Device::Map(const OpenNode& /*node*/, std::size_t /*length*/, off_t /*offset*/, int& error) {
    error = ENODEV;
    return nullptr;
}

bool Device::Unmap(void* /*address*/, std::size_t /*length*/) {
    return false;
}

int Device::WaitReadable(const OpenNode& /*node*/, std::chrono::milliseconds /*timeout*/) {
    return 1;
}

int Device::WaitWritable(const OpenNode& /*node*/, std::chrono::milliseconds /*timeout*/) {
    return 1;
}

}  // namespace board
