// Which of the kernel's key codes (linux/input-event-codes.h) is which of the program's keys.
#pragma once

#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace mwin {

// UI thread. A map file has lines like `enter = 28 0x60`: a key's name and the codes that mean it, decimal or with 0x;
// `#` begins a comment. A key that the file names has these codes only (none at all: nothing after the `=`); the others
// keep those of common keypads.
class KeyMap {
  public:
    // Common keypads.
    KeyMap();

    // Takes a file's text over. Lines that make no sense are left out, one message each: "NAME:LINE: what is wrong".
    std::vector<std::string> Read(std::istream& text, const std::string& name);
    // The virtual key, or 0.
    int VirtualKeyOf(unsigned code) const;

  private:
    // What is wrong with the line, or nothing.
    std::string TakeLine(const std::string& line);

    std::map<unsigned, int> keys_;  // by code
    std::set<unsigned> from_file_;  // codes that the file gave
    std::set<int> named_;           // keys that the file names
};

// The map in the first of these files that there is, else that of common keypads. Messages go to standard output.
KeyMap LoadKeyMap(const std::vector<std::string>& paths);

}  // namespace mwin
