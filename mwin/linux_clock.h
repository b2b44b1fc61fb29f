// Time and waiting on Linux.
#pragma once

#include <functional>
#include <vector>

#include "mwin/file_descriptor.h"
#include "mwin/platform.h"

namespace mwin {

class LinuxClock final : public Clock {
  public:
    // `descriptors` tells at every wait which files end it when they become readable. The caller blocks SIGINT and
    // SIGTERM in every thread; they are open only inside Wait.
    explicit LinuxClock(std::function<std::vector<int>()> descriptors);

    std::uint32_t TickCount() override;
    void Wait(int timeout_ms) override;
    void Wake() override;

  private:
    std::function<std::vector<int>()> descriptors_;
    FileDescriptor wake_;  // eventfd
};

}  // namespace mwin
