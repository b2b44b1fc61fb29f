// The levelled console logger (known in the system as varno_SV_Debug).
#pragma once

enum DEBUGLEVEL : int {
    DBG_LV_NORMAL = 0,
    DBG_LV_WARNING = 1,
    DBG_LV_ERROR = 2,
    DBG_LV_DEBUG = 3,
};

// Prints the prefix of `level`, a blank and the formatted text to standard output, not torn apart by other threads'
// lines. Returns the formatted text's length, negative on failure; errno is left as it was. Thread-safe.
int varno_printf(DEBUGLEVEL level, const char* format, ...) __attribute__((format(printf, 2, 3)));
