#include "sys/debug.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace {

const char* Prefix(DEBUGLEVEL level) {
    switch (level) {
        case DBG_LV_NORMAL:
        case DBG_LV_WARNING:
            return "Warn:";
        case DBG_LV_ERROR:
            return "Error:";
        case DBG_LV_DEBUG:
            return "";
    }
    return "(null)";  // what the C library prints for a level without a prefix
}

}  // namespace

int varno_printf(DEBUGLEVEL level, const char* format, ...) {
    const int error = errno;
    flockfile(stdout);
    std::printf("%s ", Prefix(level));
    errno = error;  // for a %m in the format
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vprintf(format, arguments);
    va_end(arguments);
    funlockfile(stdout);
    errno = error;
    return length;
}
