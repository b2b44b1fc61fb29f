// A real USB camera of the PC as the camera's view.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "board/camera_source.h"

namespace board {

// Captures packed YUYV on a thread of its own and shows the latest frame, scaled to the asked size. One thread.
class DeviceSource final : public CameraSource {
  public:
    // Null, with a reason, when `path` is no capture device that delivers YUYV.
    static std::unique_ptr<CameraSource> Open(const std::string& path, std::string& error);
    ~DeviceSource() override;
    DeviceSource(const DeviceSource&) = delete;
    DeviceSource& operator=(const DeviceSource&) = delete;

    // Waits for the first frame, at most two seconds. False once the camera has gone.
    bool Render(const FrameRequest& request, std::uint8_t* frame) override;

  private:
    struct Mapping {
        void* address;
        std::size_t length;
    };

    explicit DeviceSource(int fd) : fd_(fd) {}
    bool Start(std::string& error);
    bool MapBuffers(std::string& error);
    void Capture();
    bool TakeFrame();

    const int fd_;
    int width_ = 0, height_ = 0;  // of the captured frames
    std::size_t line_bytes_ = 0;
    std::vector<Mapping> mappings_;
    std::thread thread_;
    std::atomic<bool> stop_{false};

    std::mutex mutex_;  // of what follows
    std::condition_variable changed_;
    std::vector<std::uint8_t> latest_;  // empty until the first frame
    bool gone_ = false;
};

}  // namespace board
