// The commands that the program runs.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "board/block.h"
#include "board/board_folder.h"
#include "board/open_files.h"
#include "board/shell_words.h"

namespace board {

// Carries out a command line inside the board's folder; nothing ever reaches the PC's shell or its files. Every command
// is recorded in the block; one that the board does not know is answered with status 127. Thread-safe.
class BoardShell {
  public:
    BoardShell(Block& block, BoardFolder& folder) : block_(block), folder_(folder) {}

    // The status as system(3) returns it.
    int Run(const std::string& line);

  private:
    using Words = std::vector<std::string>;
    // Exit status of one command, given its words.
    using Handler = int (BoardShell::*)(const Words& words);
    struct Entry {
        const char* path;
        Handler handler;
    };
    static Handler Find(const std::string& name);

    int Execute(const std::string& line);
    int Echo(const ShellCommand& command);
    int Redirect(const ShellCommand& command, const std::string& text);
    int MakeFolder(const Words& words);
    int Remove(const Words& words);
    int Move(const Words& words);
    int Mount(const Words& words);
    int Unmount(const Words& words);
    int MakeFileSystem(const Words& words);
    int RemoveModule(const Words& words);
    int FormatNand(const Words& words);
    int Nothing(const Words& words);

    int WriteUnit(std::size_t unit, const std::string& text);
    // Tells whether a medium that was handed over is used without leave; counts it then.
    bool Trespass(const std::string& path) const;
    bool HandedOverDevice(const std::string& device) const;
    // May files be changed at this path of the device?
    bool Writable(const std::string& path) const;

    Block& block_;
    BoardFolder& folder_;
    std::mutex mutex_;
    // What this process had open on each medium when it was handed over.
    std::map<Medium, OpenFiles> open_at_hand_over_;
};

}  // namespace board
