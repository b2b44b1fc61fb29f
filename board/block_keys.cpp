#include "board/block_keys.h"

#include <sys/eventfd.h>

namespace board {

bool BlockKeys::Read(mwin::KeyEvent& event) {
    if (wake_descriptor_ >= 0) {
        // Emptied before looking: a key that comes in between wakes the next wait. The eventfd is non-blocking.
        eventfd_t count = 0;
        eventfd_read(wake_descriptor_, &count);
    }
    const BlockLock lock(block_);
    KeyRing& keys = block_.keys;
    if (keys.head == keys.tail) return false;
    const KeyRing::Event& oldest = keys.events[keys.tail++ % kKeyRingSize];
    event = {oldest.virtual_key, static_cast<mwin::KeyEvent::Kind>(oldest.kind)};
    return true;
}

bool BlockKeys::KeyWaits() const {
    const BlockLock lock(block_);
    return block_.keys.head != block_.keys.tail;
}

}  // namespace board
