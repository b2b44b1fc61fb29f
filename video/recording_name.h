// Names of stills and clips.
#pragma once

#include <ctime>
#include <string>

// Paths on the device of a recording that begins in `second`, in `directory`. A clock that starts anew at every
// switching on comes by the same second again: a name that is taken is left alone, and the next second's that is free
// is used. Thread-safe.
std::string FreeStillPath(const std::string& directory, std::time_t second);  // "%08lX.jpg"
std::string FreeClipPath(const std::string& directory, std::time_t second);   // by local time, "20240131235959.avi"
