// Keys from the kernel's input devices (linux/input.h).
#pragma once

#include <linux/input.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mwin/file_descriptor.h"
#include "mwin/key_map.h"
#include "mwin/platform.h"

namespace mwin {

// Every event* node of a directory. Devices that come are found, those that go are dropped. UI thread.
class EvdevKeys final : public Keys {
  public:
    explicit EvdevKeys(std::string directory = "/dev/input", KeyMap map = {});

    bool Read(KeyEvent& event) override;
    // What to wait on: becomes readable when a key waits or a device came.
    std::vector<int> Descriptors() const;

  private:
    struct Device {
        FileDescriptor fd;
        unsigned char bytes[64 * sizeof(input_event)];
        std::size_t filled = 0;
        bool lost_events = false;  // until the next report: the kernel's buffer overflowed
    };

    void Rescan();
    void CheckDirectory();
    bool ReadDevice(Device& device);
    void Take(Device& device, const input_event& event);

    std::string directory_;
    KeyMap map_;
    FileDescriptor watch_;  // inotify; invalid while the directory is missing
    std::chrono::steady_clock::time_point last_scan_;
    std::map<std::string, std::unique_ptr<Device>> devices_;  // by name
    std::deque<KeyEvent> waiting_;
};

}  // namespace mwin
