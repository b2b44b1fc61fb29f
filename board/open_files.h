// Which files of a folder this process has open.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace board {

struct OpenPlace {
    std::string path;
    std::int64_t position;
    bool operator==(const OpenPlace& other) const { return path == other.path && position == other.position; }
};
// By descriptor.
using OpenFiles = std::map<int, OpenPlace>;

// Files and folders below `folder`, whoever opened them and however. Thread-safe.
OpenFiles FindOpenFiles(const std::filesystem::path& folder);
// The path of one that was opened, read or written between two looks; empty: none.
std::string UsedSince(const OpenFiles& before, const OpenFiles& now);

}  // namespace board
