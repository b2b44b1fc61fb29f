// Single reads and writes of sysfs, procfs and device files. Thread-safe; for the files of this room only.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace Varno {

// Reads at most `limit` bytes, in one go, of the file at `path` on the device. False, with errno set, when it cannot be
// opened or read; `opened`, where given, tells which.
bool ReadNode(const std::string& path, std::size_t limit, std::string& text, bool* opened = nullptr);

// Writes `length` bytes, in one go, to an existing file, opened with `flags`. The result of write(2); `opened` tells
// whether it came so far. `announcement` is printed between the two: of some writes nothing can be told afterwards.
ssize_t WriteNode(const std::string& path, int flags, const void* data, std::size_t length, bool& opened,
                  const char* announcement = "");

// A decimal number at the start of `text`, limited to what a long long holds; 0 when there is none.
long long ParseDecimal(const std::string& text);

// "ERROR(%s): open %s.\n" with the current errno.
void ReportOpenError(const std::string& path);

}  // namespace Varno
