// What the settings dialogs have in common.
#pragma once

#include <string>

#include "mwin/windows.h"

// Number of their dialog template.
constexpr WORD kSettingsTemplate = 103;
// Their answer to the dialog-code question: every key comes as a key-down message, and nothing else.
constexpr LRESULT kWantsAllKeys = DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;

// A text of the settings store, and what it is while the store has no other. UI thread.
struct StoredText {
    int id;
    const char* english;
    // In the current language.
    std::string Get() const;
};
