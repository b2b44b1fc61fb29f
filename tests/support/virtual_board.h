// A virtual board inside the test's own process.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "board/block.h"
#include "board/board_folder.h"
#include "board/lcd_compositor.h"
#include "board/virtual_kernel.h"
#include "tests/support/moved_clock.h"

namespace support {

// A fresh board in a folder of its own, with a moved clock; its kernel is installed and the program's working directory
// is the current one until the board goes. The tests' working directory before must be the checkout.
class VirtualBoard {
  public:
    VirtualBoard();
    ~VirtualBoard();
    VirtualBoard(const VirtualBoard&) = delete;
    VirtualBoard& operator=(const VirtualBoard&) = delete;

    board::Block& Block() { return *parts_.block; }
    board::BoardFolder& Folder() { return parts_.folder; }
    board::VirtualKernel& Kernel() { return parts_.kernel; }
    MovedClock& Clock() { return parts_.clock; }

    // One part of the block, read under its mutex after the files were brought in step.
    template <typename Member>
    Member Get(Member board::Block::*member) {
        Folder().Sync();
        const board::BlockLock lock(Block());
        return Block().*member;
    }
    template <typename Member, typename Value>
    void Set(Member board::Block::*member, const Value& value) {
        const board::BlockLock lock(Block());
        Block().*member = value;
    }

    // A member of one part.
    template <typename Part, typename Member>
    void Set(Part board::Block::*part, Member Part::*member, Member value) {
        const board::BlockLock lock(Block());
        Block().*part.*member = value;
    }

    void PlugCamera(bool plugged);
    // Presses and releases a key (VK_…).
    void PushKey(int virtual_key) {
        for (const auto kind : {mwin::KeyEvent::Kind::Press, mwin::KeyEvent::Kind::Release})
            board::PushKey(Block(), virtual_key, static_cast<int>(kind));
    }
    void InsertCard(bool inserted) { board::InsertMedium(Block(), &board::Block::card, inserted); }
    void SetCameraFaults(std::uint32_t faults) { Set(&board::Block::camera, &board::CameraState::faults, faults); }
    // The last commands that the program ran, oldest first.
    std::vector<std::string> Commands();
    // The LCD as it is now.
    board::LcdPicture Lcd() { return compositor_.Compose(Block()); }
    // Names of the files in a folder of a medium, in their order; "" is the medium's top.
    std::vector<std::string> Files(board::Medium medium, const std::string& folder = {});
    // Content of a file of the device or of a medium, by its path on the device.
    std::string Read(const std::string& path);
    void Write(const std::string& path, const std::string& content);

  private:
    // Lives on after the test: the program's static objects use the kernel until the process has ended.
    struct Parts {
        explicit Parts(const std::filesystem::path& directory, const std::filesystem::path& checkout)
            : folder(*block, directory, checkout), kernel(*block, folder, clock) {}

        board::SharedBlock block;
        MovedClock clock;
        board::BoardFolder folder;
        board::VirtualKernel kernel;
    };
    std::string Resolve(const std::string& path);
    static Parts& MakeParts();

    const std::filesystem::path directory_before_;
    Parts& parts_;
    board::LcdCompositor compositor_;
};

}  // namespace support
