// What the program printed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace board {

// Keeps the last megabyte; every byte has its number, counted from the first one ever printed. Thread-safe.
class ProgramLog {
  public:
    struct Part {
        std::uint64_t first;  // number of the first byte of `text`
        std::uint64_t next;   // number of the first byte after it
        std::string text;
    };

    void Append(std::string_view text);
    // Everything from byte `from` on; from the oldest byte kept where that one is gone, nothing where it is yet to
    // come.
    Part From(std::uint64_t from) const;

  private:
    mutable std::mutex mutex_;
    std::string kept_;
    std::uint64_t first_ = 0;
};

}  // namespace board
