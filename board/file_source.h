// Pictures from files as the camera's view.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "board/camera_source.h"

namespace board {

// One picture, or those of a folder in the order of their names, two seconds each; scaled to the asked size, its middle
// cut to the camera's shape. One thread.
class FileSource final : public CameraSource {
  public:
    // Null, with a reason, when the file or every file of the folder is no picture.
    static std::unique_ptr<CameraSource> Open(const std::string& path, std::string& error);

    bool Render(const FrameRequest& request, std::uint8_t* frame) override;

  private:
    explicit FileSource(std::vector<std::string> paths) : paths_(std::move(paths)) {}
    // Scales picture `index` into `frame_`; false when it cannot be read.
    bool Load(std::size_t index, int width, int height);

    std::vector<std::string> paths_;
    std::size_t loaded_ = 0;
    int width_ = 0, height_ = 0;  // of `frame_`; 0: none yet
    std::vector<std::uint8_t> frame_;
};

}  // namespace board
