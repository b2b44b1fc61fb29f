#include "board/program_log.h"

#include <algorithm>

namespace board {
namespace {

constexpr std::size_t kKept = std::size_t{1024} * 1024;
// Dropping the oldest bytes moves the rest, so it is done seldom.
constexpr std::size_t kSlack = kKept / 4;

}  // namespace

void ProgramLog::Append(std::string_view text) {
    const std::lock_guard lock(mutex_);
    kept_ += text;
    if (kept_.size() <= kKept + kSlack) return;
    const std::size_t dropped = kept_.size() - kKept;
    kept_.erase(0, dropped);
    first_ += dropped;
}

ProgramLog::Part ProgramLog::From(std::uint64_t from) const {
    const std::lock_guard lock(mutex_);
    const std::uint64_t next = first_ + kept_.size();
    const std::uint64_t oldest = next - std::min<std::uint64_t>(kept_.size(), kKept);
    const std::uint64_t first = std::clamp(from, oldest, next);
    return {first, next, kept_.substr(static_cast<std::size_t>(first - first_))};
}

}  // namespace board
