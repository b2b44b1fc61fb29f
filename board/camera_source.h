// Where the virtual camera's picture comes from.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace board {

struct FrameRequest {
    int width, height;              // 320x240 or 640x480
    std::uint32_t sequence;         // counts the camera's frames
    std::chrono::nanoseconds time;  // since the camera was made
    int lamp;                       // PWM value of the lamp, 0 to 255
};

// One thread at a time.
class CameraSource {
  public:
    virtual ~CameraSource() = default;
    // Draws one frame as packed YUYV, width * height * 2 bytes. False when there is nothing to show any more (a camera
    // of the PC was unplugged).
    virtual bool Render(const FrameRequest& request, std::uint8_t* frame) = 0;
};

// Opens a source: "scene", "file:PATH" (a JPEG, PNG or GIF picture, or a folder of them) or "/dev/videoN". Null, with a
// reason for the user in `error`, when there is no such thing.
std::unique_ptr<CameraSource> OpenCameraSource(const std::string& source, std::string& error);

}  // namespace board
