#include "video/frames/colour_tables.h"

#include <algorithm>
#include <mutex>

#include "video/frames/pixel_conversion.h"

namespace frames {
namespace {

std::mutex g_mutex;
int g_users = 0;                               // calls of initLut not yet matched by freeLut
std::shared_ptr<const ColourTables> g_tables;  // while there are users

// Millionths to whole steps, towards zero.
int Share(int chroma, int millionths) {
    return chroma * millionths / 1000000;
}

}  // namespace

ColourTables::ColourTables() {
    for (int i = 0; i < static_cast<int>(sizeof m_clamp); ++i) {
        m_clamp[i] = static_cast<unsigned char>(std::clamp(i - kMargin, 0, 255));
    }
    const unsigned char* unchanged = m_clamp + kMargin;
    for (int i = 0; i < 256; ++i) {
        LutRv[i] = unchanged + Share(i - 128, 1370705);
        LutBu[i] = unchanged + Share(i - 128, 1732446);
        LutGv[i] = unchanged + Share(128 - i, 698001);
        LutGu[i] = Share(128 - i, 37677);
    }
}

std::shared_ptr<const ColourTables> ColourTables::Current() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return g_tables ? g_tables : std::make_shared<const ColourTables>();
}

}  // namespace frames

void initLut() {
    const std::lock_guard<std::mutex> lock(frames::g_mutex);
    if (frames::g_users++ == 0) frames::g_tables = std::make_shared<const frames::ColourTables>();
}

void freeLut() {
    const std::lock_guard<std::mutex> lock(frames::g_mutex);
    if (frames::g_users > 0 && --frames::g_users == 0) frames::g_tables.reset();
}
