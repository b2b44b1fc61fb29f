// A rendered view through the probe.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "board/camera_source.h"

namespace board {

// The inside of a pipe, slowly passed through, lit by the lamp alone; round as a probe's view is. The frame's number
// stands in small blocks at the bottom left, in the dark beside the round view. One thread.
class SceneSource final : public CameraSource {
  public:
    SceneSource();
    bool Render(const FrameRequest& request, std::uint8_t* frame) override;

  private:
    // What a pixel looks at, the same for every frame.
    struct Ray {
        std::uint8_t around;  // along the pipe's circumference, in texture pixels
        std::uint8_t light;   // 0 outside of the round view
        std::uint16_t depth;  // along the pipe, in texture pixels
    };

    // Worked out once per size and process: it takes longer than many frames. Thread-safe.
    static const std::vector<Ray>& Rays(int width, int height);
    static std::vector<Ray> MakeRays(int width, int height);

    const std::vector<std::uint8_t>* texture_;  // 256x256 brightnesses of the wall, shared by all scenes
};

// Reads the number (16 bits) of a frame that SceneSource drew, from the brightnesses of a 4:3 picture of any size from
// 160x120 up: `luma` is the first pixel's brightness, pixels are `pixel_step` bytes apart and rows `row_step`. Nothing
// when no number is there.
std::optional<std::uint16_t> ReadFrameNumber(const std::uint8_t* luma, int width, int height, std::size_t pixel_step,
                                             std::size_t row_step);

}  // namespace board
