// A picture that is decoded when it is first needed.
#pragma once

#include <string>
#include <utility>

#include "ui/base/varno_mwin_utils.h"

namespace Varno {

// The picture of a file, decoded at first use: what is not seen when the program starts costs no time then. UI thread.
class LazyImage {
  public:
    // The picture is that of `path` from now on; the file is not touched yet.
    void SetPath(std::string path) {
        Unload();
        m_path = std::move(path);
    }
    // Null without a path, and when the file cannot be loaded; it is tried once. No control may show the picture any
    // more when this object ends or gets another path.
    PSD Get() {
        if (!m_path.empty()) m_image.reset(LoadImage(std::exchange(m_path, {})));
        return m_image.get();
    }
    void Unload() {
        m_path.clear();
        m_image.reset();
    }

  private:
    std::string m_path;  // not loaded yet
    Image m_image;
};

}  // namespace Varno
