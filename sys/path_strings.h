// Helpers for strings and paths. Thread-safe.
#pragma once

#include <cstddef>
#include <string>

namespace Varno {

// Copies, or appends, at most so much that `destination`, `size` bytes in all, stays terminated. Returns the length
// that was asked for: a result of `size` or more means that it was cut.
std::size_t strlcpy(char* destination, const char* source, std::size_t size);
std::size_t strlcat(char* destination, const char* source, std::size_t size);

// Change ASCII letters in place.
void StringToUpcase(std::string& text);
void StringToLowcase(std::string& text);

// `path` without trailing slashes and blanks.
[[nodiscard]] std::string TrimDIR(std::string path);
// The last component of a path; trailing slashes do not count.
[[nodiscard]] std::string Basename(const std::string& path);
// Everything before the last slash; empty without a slash.
[[nodiscard]] std::string PathBasename(const std::string& path);
// The directory that holds `path`, itself without a trailing slash unless it is the root; empty for a bare name.
[[nodiscard]] std::string GetParentDIR(const std::string& path);
// The text after the last dot of the file's name; empty without a dot.
[[nodiscard]] std::string GetExtendFilename(const std::string& path);

// `text` as one word of a shell's command line: itself where a shell sees nothing in it, else in single quotes.
[[nodiscard]] std::string ShellWord(const std::string& text);

}  // namespace Varno
