#include "tests/support/virtual_board.h"

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace support {
namespace fs = std::filesystem;
VirtualBoard::Parts& VirtualBoard::MakeParts() {
    std::string folder = (fs::temp_directory_path() / "varno-board-XXXXXX").string();
    if (!mkdtemp(folder.data())) throw std::runtime_error("no temporary folder");
    static auto* all = new std::vector<std::unique_ptr<Parts>>;
    all->push_back(std::make_unique<Parts>(folder, fs::current_path()));
    return *all->back();
}

VirtualBoard::VirtualBoard() : directory_before_(fs::current_path()), parts_(MakeParts()) {
    std::string error;
    if (!Folder().Create(error)) throw std::runtime_error(error);
    fs::current_path(Folder().ProgramDirectory());
    Varno::InstallKernel(Kernel());
}

VirtualBoard::~VirtualBoard() {
    Clock().LetGo();
    std::error_code ignored;
    fs::current_path(directory_before_, ignored);
    fs::remove_all(Folder().Directory(), ignored);
}

void VirtualBoard::PlugCamera(bool plugged) {
    board::PlugCamera(Block(), plugged);
    Folder().Sync();
    Clock().Notify();
}

std::vector<std::string> VirtualBoard::Commands() {
    const board::BlockLock lock(Block());
    const board::CommandRing& ring = Block().commands;
    std::vector<std::string> lines;
    for (std::uint32_t i = ring.count - std::min(ring.count, board::kCommandRingSize); i != ring.count; ++i) {
        lines.emplace_back(ring.commands[i % board::kCommandRingSize].line);
    }
    return lines;
}

std::vector<std::string> VirtualBoard::Files(board::Medium medium, const std::string& folder) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(Folder().MediumDirectory(medium) / folder, missing)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Not by way of the kernel, which answers to the program only.
std::string VirtualBoard::Resolve(const std::string& path) {
    Folder().Sync();
    return Folder().Resolve(path).value_or(path);
}

std::string VirtualBoard::Read(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(Resolve(path), std::ios::binary).rdbuf();
    return content.str();
}

void VirtualBoard::Write(const std::string& path, const std::string& content) {
    std::ofstream(Resolve(path), std::ios::binary) << content;
}

}  // namespace support
