#include "board/camera_source.h"

#include "board/device_source.h"
#include "board/file_source.h"
#include "board/scene_source.h"

namespace board {

std::unique_ptr<CameraSource> OpenCameraSource(const std::string& source, std::string& error) {
    if (source == "scene") return std::make_unique<SceneSource>();
    if (source.rfind("file:", 0) == 0) return FileSource::Open(source.substr(5), error);
    if (source.rfind("/dev/video", 0) == 0) return DeviceSource::Open(source, error);
    error = "unknown camera source \"" + source + "\"; use scene, file:PATH or /dev/videoN";
    return nullptr;
}

}  // namespace board
