// Fonts of the PC in place of those that the device carries.
#pragma once

#include <string>

namespace board {

// The file of the installed font that comes nearest to a font file's name ("Arialb.ttf": a bold sans-serif face of the
// same widths), through fontconfig; "" when there is none. `cjk`: only a face with Chinese characters. UI thread.
std::string FindFontSubstitute(const std::string& name, bool cjk);

// Lets the window system use them. Before the first window.
void InstallFontSubstitutes();

}  // namespace board
