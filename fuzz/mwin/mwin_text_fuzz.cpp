// Strings of any bytes, drawn in any format into any rectangle.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "mwin/device_context.h"
#include "mwin/font.h"
#include "mwin/text_coding.h"

// Without faces there would be nothing but boxes to draw.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    mwin::SetFontSubstitute([](const std::string& /*name*/, bool cjk) {
        const std::string fonts = "/usr/share/fonts/truetype/";
        return fonts + (cjk ? "wqy/wqy-microhei.ttc" : "liberation/LiberationSans-Regular.ttf");
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    struct {
        std::uint16_t format;
        std::uint8_t coding, height, bold;
        RECT rect;
    } choice{};
    if (size < sizeof choice) return 0;
    std::memcpy(&choice, data, sizeof choice);
    const std::string text(reinterpret_cast<const char*>(data) + sizeof choice, size - sizeof choice);

    MwSetTextCoding(choice.coding % 2);
    if (mwin::DecodeText(text.data(), text.size()).size() > text.size()) abort();
    mwin::Surface surface(64, 48);
    MwDc dc;
    dc.surface = &surface;
    dc.clip = mwin::Region(RECT{0, 0, 64, 48});
    HFONT font = CreateFont(choice.height, 0, 0, 0, (choice.bold & 1) != 0 ? FW_BOLD : FW_NORMAL, 0, 0, 0, 0, 0, 0, 0,
                            0, "Arial.ttf");
    SelectObject(&dc, font);
    SetBkMode(&dc, choice.bold & 2 ? OPAQUE : TRANSPARENT);
    RECT rect = choice.rect;
    const int height = DrawText(&dc, text.data(), static_cast<int>(text.size()), &rect, choice.format);
    if (height < 0) abort();
    SIZE extent{};
    GetTextExtentPoint(&dc, text.data(), static_cast<int>(text.size()), &extent);
    if (extent.cx < 0) abort();
    TextOut(&dc, choice.rect.left, choice.rect.top, text.data(), static_cast<int>(text.size()));
    DeleteObject(font);
    return 0;
}
