#include "board/font_substitute.h"

#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cctype>
#include <memory>

#include "mwin/font.h"

namespace board {
namespace {

struct Destroy {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    void operator()(FcFontSet* fonts) const { FcFontSetDestroy(fonts); }
    void operator()(FcCharSet* characters) const { FcCharSetDestroy(characters); }
};

const FcChar8* Text(const std::string& text) {
    return reinterpret_cast<const FcChar8*>(text.c_str());
}

struct Wanted {
    std::string family;
    bool bold;
};

// "Arialb.ttf" is the bold face of Arial; a name that is not known is taken for a family's.
Wanted FamilyOf(const std::string& file_name) {
    std::string stem = file_name.substr(0, file_name.rfind('.'));
    std::transform(stem.begin(), stem.end(), stem.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (stem == "arial" || stem == "arialb") return {"Liberation Sans", stem == "arialb"};
    if (stem == "msyh" || stem == "msyhbd") return {"WenQuanYi Micro Hei", stem == "msyhbd"};
    return {stem, false};
}

// The best match that has every character of `needed` (null: any), in fontconfig's order.
std::string FirstMatch(FcPattern& pattern, const FcCharSet* needed) {
    FcResult result = FcResultNoMatch;
    const std::unique_ptr<FcFontSet, Destroy> fonts(FcFontSort(nullptr, &pattern, FcFalse, nullptr, &result));
    for (int i = 0; fonts && i < fonts->nfont; ++i) {
        FcCharSet* characters = nullptr;
        FcChar8* file = nullptr;
        FcBool scalable = FcFalse;
        int index = 0;
        FcPattern* font = fonts->fonts[i];
        if (FcPatternGetString(font, FC_FILE, 0, &file) != FcResultMatch ||
            FcPatternGetBool(font, FC_SCALABLE, 0, &scalable) != FcResultMatch || scalable == FcFalse) {
            continue;
        }
        // The window system opens a file's first face.
        if (FcPatternGetInteger(font, FC_INDEX, 0, &index) == FcResultMatch && index != 0) continue;
        if (needed != nullptr && (FcPatternGetCharSet(font, FC_CHARSET, 0, &characters) != FcResultMatch ||
                                  FcCharSetIsSubset(needed, characters) == FcFalse)) {
            continue;
        }
        return reinterpret_cast<const char*>(file);
    }
    return {};
}

}  // namespace

std::string FindFontSubstitute(const std::string& name, bool cjk) {
    if (FcInit() == FcFalse) return {};
    const Wanted wanted = FamilyOf(name);
    const std::unique_ptr<FcPattern, Destroy> pattern(FcPatternCreate());
    if (!pattern) return {};
    FcPatternAddString(pattern.get(), FC_FAMILY, Text(wanted.family));
    FcPatternAddString(pattern.get(), FC_FAMILY, Text("Liberation Sans"));
    FcPatternAddString(pattern.get(), FC_FAMILY, Text("sans-serif"));
    FcPatternAddInteger(pattern.get(), FC_WEIGHT, wanted.bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern.get(), FC_SLANT, FC_SLANT_ROMAN);
    FcConfigSubstitute(nullptr, pattern.get(), FcMatchPattern);
    FcDefaultSubstitute(pattern.get());
    if (!cjk) return FirstMatch(*pattern, nullptr);
    const std::unique_ptr<FcCharSet, Destroy> chinese(FcCharSetCreate());
    for (const FcChar32 character : {0x4E2DU, 0x6587U, 0x8BBEU, 0x7F6EU})
        FcCharSetAddChar(chinese.get(), character);
    return FirstMatch(*pattern, chinese.get());
}

void InstallFontSubstitutes() {
    mwin::SetFontSubstitute(FindFontSubstitute);
}

}  // namespace board
