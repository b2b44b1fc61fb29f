// Small helpers that every screen of the program uses: pictures, brushes, the busy picture, texts of a resource file.
#pragma once

#include <memory>
#include <string>

#include "mwin/windows.h"

// UI thread.
namespace Varno {

// Loads a picture file as an off-screen drawing device, the caller's to free with UnloadImage; null when that fails.
PSD LoadImage(const std::string& path);
// Frees a picture; null is allowed. No control may still show it.
void UnloadImage(PSD image);

struct ImageDeleter {
    void operator()(PSD image) const { UnloadImage(image); }
};
// An owned picture.
using Image = std::unique_ptr<MwScreenDevice, ImageDeleter>;

// An off-screen drawing device over a pixel buffer.
using ::GdCreatePixmap;

// A solid brush that lives as long as the program, one for each colour: for answers to colour requests, which come with
// every repaint. Not to be deleted.
HBRUSH SolidBrush(COLORREF color);

// A font of one face and line height, in pixels; the caller's to delete. Null when the height is not positive.
HFONT CreateFaceFont(const char* face, int height, int weight);
// The same, at most as high as needed for `text`, broken into lines, to fit into the size of `place`. `window` is any.
HFONT CreateFittingFont(const char* face, int height, int weight, HWND window, const std::string& text,
                        const RECT& place);

// Loads the shared busy picture (again); always true, also when the file is missing and nothing will be seen.
bool InitFunnelCtrl();
void DeinitFunnelCtrl();
// Shows or hides the busy picture in the middle of the screen, over everything, visible at once. Not counted.
void ShowFunnel(bool show);

// The text of that id in the loaded resource file; empty when there is none.
std::string LoadResString(unsigned id);
// Replaces the loaded texts by those of "varnosv_<lang>.res", lines of an id, "=" and the text. False, and no texts are
// left, when the file cannot be read.
bool SetNewLanguageResFile(const std::string& lang);

}  // namespace Varno
