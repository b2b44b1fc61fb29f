// The files on a medium, as the panel offers them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "mwin/file_descriptor.h"

namespace board {

struct MediumFile {
    std::string path;  // from the medium's root, "/" between the names
    std::uint64_t bytes;
    std::int64_t modified;  // seconds since 1970
};

// Every regular file, sorted by path; links are neither listed nor followed. A folder that cannot be read is left out.
std::vector<MediumFile> ListFiles(const std::filesystem::path& medium);

// Opens a regular file below `medium` for reading. Closed when there is none, or when `path`, links included, leads
// outside.
mwin::FileDescriptor OpenFile(const std::filesystem::path& medium, const std::string& path);

}  // namespace board
