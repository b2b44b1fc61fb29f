// Small text files of "key=value" lines; a "#" begins a comment. Paths are those of the device. UI thread; errors are
// reported on standard output.
#pragma once

#include <string>

// The value of the first line with this key. False when there is none or the file cannot be read.
bool ReadKeyValue(const std::string& file, const std::string& key, std::string& value);

// Replaces the lines with this key, or appends one. The file is replaced at once; false when that failed.
bool WriteKeyValue(const std::string& file, const std::string& key, const std::string& value);
