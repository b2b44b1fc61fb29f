#include "ui/base/varno_mwin_utils.h"

#include <cstdlib>
#include <fstream>
#include <map>

namespace {

Varno::Image g_funnel;
bool g_funnelShown = false;

// Constructed on first use and never destroyed: colour requests may come until the very end of the process.
std::map<unsigned, std::string>& ResourceTexts() {
    static auto& texts = *new std::map<unsigned, std::string>;
    return texts;
}

}  // namespace

namespace Varno {

PSD LoadImage(const std::string& path) {
    return GdLoadImageFromFile(path.c_str(), 0);
}

void UnloadImage(PSD image) {
    if (image != nullptr) image->FreeMemGC(image);
}

HBRUSH SolidBrush(COLORREF color) {
    static auto& brushes = *new std::map<COLORREF, HBRUSH>;
    HBRUSH& brush = brushes[color];
    if (brush == nullptr) brush = CreateSolidBrush(color);
    return brush;
}

HFONT CreateFaceFont(const char* face, int height, int weight) {
    if (height <= 0) return nullptr;
    return CreateFont(height, 0, 0, 0, weight, 0, 0, 0, 0, 0, 0, 0, 0, face);
}

HFONT CreateFittingFont(const char* face, int height, int weight, HWND window, const std::string& text,
                        const RECT& place) {
    constexpr int kSmallest = 9;  // of a height that can still be read
    HDC dc = GetDC(window);
    HFONT font = CreateFaceFont(face, height, weight);
    const auto fits = [&] {
        HGDIOBJ before = SelectObject(dc, font);
        RECT needed = place;
        DrawText(dc, text.c_str(), -1, &needed, DT_WORDBREAK | DT_NOPREFIX | DT_CALCRECT);
        SelectObject(dc, before);
        return needed.bottom <= place.bottom;
    };
    while (font != nullptr && height > kSmallest && !fits()) {
        DeleteObject(font);
        font = CreateFaceFont(face, --height, weight);
    }
    ReleaseDC(window, dc);
    return font;
}

bool InitFunnelCtrl() {
    DeinitFunnelCtrl();
    g_funnel.reset(LoadImage("img/funnel.gif"));
    GdSetCursorImage(g_funnel.get());
    return true;
}

void DeinitFunnelCtrl() {
    ShowFunnel(false);
    GdSetCursorImage(nullptr);
    g_funnel.reset();
}

void ShowFunnel(bool show) {
    if (show == g_funnelShown) return;
    if (show) {
        MwMoveCursor(GetSystemMetrics(SM_CXSCREEN) / 2 - 10, GetSystemMetrics(SM_CYSCREEN) / 2);
        GdShowCursor();
    } else {
        GdHideCursor();
    }
    g_funnelShown = show;
}

std::string LoadResString(unsigned id) {
    const auto found = ResourceTexts().find(id);
    return found == ResourceTexts().end() ? std::string() : found->second;
}

bool SetNewLanguageResFile(const std::string& lang) {
    ResourceTexts().clear();
    std::ifstream file("varnosv_" + lang + ".res");
    std::string line;
    while (std::getline(file, line)) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        char* end = nullptr;
        const unsigned long id = std::strtoul(line.c_str(), &end, 10);
        if (end == line.c_str() + equals && equals > 0)
            ResourceTexts()[static_cast<unsigned>(id)] = line.substr(equals + 1);
    }
    return file.eof();
}

}  // namespace Varno
