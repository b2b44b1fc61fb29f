#include "board/board_shell.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

namespace board {
namespace fs = std::filesystem;
namespace {

constexpr int kNotFound = 127;    // the shell's status for a command that is not there
constexpr int kShellError = 2;    // its status for a broken line, and for a file it cannot open
constexpr int kMountFailed = 32;  // mount(8)'s

bool StartsWith(const std::string& text, const char* start) {
    return text.compare(0, std::strlen(start), start) == 0;
}

// The direction of a GPIO line, as a sysfs file.
bool IsLineDirection(const std::string& path) {
    constexpr std::string_view kEnd = "/direction";
    return StartsWith(path, "/sys/class/gpio/gpio") && path.size() > kEnd.size() &&
           path.compare(path.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

// The arguments that are no options.
std::vector<std::string> Operands(const std::vector<std::string>& words) {
    std::vector<std::string> operands;
    for (std::size_t i = 1; i < words.size(); ++i) {
        if (words[i].empty() || words[i][0] != '-') operands.push_back(words[i]);
    }
    return operands;
}

bool HasOption(const std::vector<std::string>& words, char option) {
    for (const std::string& word : words) {
        if (word.size() > 1 && word[0] == '-' && word.find(option) != std::string::npos) return true;
    }
    return false;
}

}  // namespace

BoardShell::Handler BoardShell::Find(const std::string& name) {
    static constexpr std::array<Entry, 10> kCommands = {{{"/bin/mkdir", &BoardShell::MakeFolder},
                                                         {"/bin/rm", &BoardShell::Remove},
                                                         {"/bin/mv", &BoardShell::Move},
                                                         {"/bin/mount", &BoardShell::Mount},
                                                         {"/bin/umount", &BoardShell::Unmount},
                                                         {"/bin/sync", &BoardShell::Nothing},
                                                         {"/usr/bin/mkdosfs", &BoardShell::MakeFileSystem},
                                                         {"/sbin/modprobe", &BoardShell::RemoveModule},
                                                         {"/usr/varno/nandformat", &BoardShell::FormatNand},
                                                         {"/usr/varno/mwsplash", &BoardShell::Nothing}}};
    for (const Entry& entry : kCommands) {
        const bool in_search_path = !StartsWith(entry.path, "/usr/varno/");
        if (name == entry.path || (in_search_path && name == std::strrchr(entry.path, '/') + 1)) return entry.handler;
    }
    return nullptr;
}

int BoardShell::Run(const std::string& line) {
    const int status = Execute(line) << 8;
    RecordCommand(block_, line, status);
    if (status == kNotFound << 8) RecordViolation(block_, "unknown command: " + line);
    folder_.Sync();
    return status;
}

int BoardShell::Execute(const std::string& line) {
    ShellCommand command;
    switch (SplitShellWords(line, command)) {
        case ShellAnswer::SyntaxError:
            return kShellError;
        case ShellAnswer::Refused:
            return kNotFound;
        case ShellAnswer::Understood:
            break;
    }
    if (command.words.empty()) return command.output_file.empty() ? 0 : kNotFound;
    const std::string& name = command.words.front();
    if (name == "echo" || name == "/bin/echo") return Echo(command);
    const Handler handler = Find(name);
    if (!handler) return kNotFound;
    // None of them prints anything, so a redirection only makes its file.
    if (!command.output_file.empty()) {
        const int status = Redirect(command, {});
        if (status != 0) return status;
    }
    return (this->*handler)(command.words);
}

bool BoardShell::Trespass(const std::string& path) const {
    if (!folder_.HandedOver(path)) return false;
    RecordUsbViolation(block_, "command on " + path);
    return true;
}

bool BoardShell::Writable(const std::string& path) const {
    const auto medium = folder_.MediumOf(path);
    if (!medium) return true;
    if (Trespass(path)) return false;
    const BlockLock lock(block_);
    return !(block_.*BoardFolder::StateOf(*medium)).read_only;
}

int BoardShell::Echo(const ShellCommand& command) {
    std::string text;
    for (std::size_t i = 1; i < command.words.size(); ++i)
        text += (i > 1 ? " " : "") + command.words[i];
    text += '\n';
    if (!command.output_file.empty()) return Redirect(command, text);
    std::fputs(text.c_str(), stdout);
    return 0;
}

int BoardShell::Redirect(const ShellCommand& command, const std::string& text) {
    const std::string gpio_folder = kGpioFolder;
    const std::string number = text.substr(0, text.find('\n'));
    if (command.output_file == gpio_folder + "/export") return folder_.ExportGpio(number) ? 0 : 1;
    if (command.output_file == gpio_folder + "/unexport") return folder_.UnexportGpio(number) ? 0 : 1;

    if (const auto unit = BoardFolder::MassStorageUnit(command.output_file)) return WriteUnit(*unit, text);

    // As the kernel reads it: "IN" is no direction, and the line stays what it was.
    if (IsLineDirection(command.output_file) && number != "in" && number != "out" && number != "low" &&
        number != "high")
        return 1;

    const auto file = folder_.ResolveForCommand(command.output_file);
    if (!file || !Writable(command.output_file)) return kShellError;
    // The kernel's own file systems take no new files.
    const bool can_create = !StartsWith(command.output_file, "/sys/") && !StartsWith(command.output_file, "/proc/") &&
                            !StartsWith(command.output_file, "/dev/");
    const int flags = O_WRONLY | O_CLOEXEC | (can_create ? O_CREAT : 0) | (command.append ? O_APPEND : O_TRUNC);
    const int fd = open(file->c_str(), flags, 0644);
    if (fd < 0) return kShellError;
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written ? 0 : 1;
}

// The driver takes a device's name, and a blank line for "nothing". A file that is open meanwhile must not be touched,
// which shows in its position.
int BoardShell::WriteUnit(std::size_t unit, const std::string& text) {
    constexpr const char* kBlank = " \t\n";
    const std::size_t start = std::min(text.find_first_not_of(kBlank), text.size());
    const std::string device = text.substr(start, text.find_last_not_of(kBlank) + 1 - start);
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto handed_over = [this](Medium medium) {
        const BlockLock lock(block_);
        return (block_.*BoardFolder::StateOf(medium)).handed_over;
    };
    std::map<Medium, bool> before;
    for (const Medium medium : {Medium::Card, Medium::Nand})
        before[medium] = handed_over(medium);
    if (!folder_.OfferToPc(unit, device)) return 1;
    for (const auto& [medium, was] : before) {
        const bool is = handed_over(medium);
        if (is == was) continue;
        const OpenFiles open = FindOpenFiles(folder_.MediumDirectory(medium));
        if (is) {
            open_at_hand_over_[medium] = open;
        } else if (const std::string used = UsedSince(open_at_hand_over_[medium], open); !used.empty()) {
            RecordUsbViolation(block_, "use of the open file " + used);
        }
    }
    return 0;
}

int BoardShell::MakeFolder(const Words& words) {
    const Words folders = Operands(words);
    int status = folders.empty() ? 1 : 0;
    for (const std::string& name : folders) {
        const auto path = folder_.ResolveForCommand(name);
        std::error_code failed;
        if (path && Writable(name)) {
            const bool made = HasOption(words, 'p')
                                  ? (fs::create_directories(*path, failed), fs::is_directory(*path, failed))
                                  : fs::create_directory(*path, failed);
            if (made && !failed) continue;
            // A folder that is there already is fine on a read-only medium, too.
        }
        status = path && HasOption(words, 'p') && fs::is_directory(*path, failed) ? status : 1;
    }
    return status;
}

int BoardShell::Remove(const Words& words) {
    int status = 0;
    for (const std::string& name : Operands(words)) {
        const auto path = folder_.ResolveForCommand(name);
        if (path && access(path->c_str(), F_OK) != 0 && HasOption(words, 'f')) continue;
        if (!path || !Writable(name) || unlink(path->c_str()) != 0) status = 1;
    }
    return status;
}

int BoardShell::Move(const Words& words) {
    const Words names = Operands(words);
    if (names.size() != 2) return 1;
    const auto from = folder_.ResolveForCommand(names[0]);
    auto to = folder_.ResolveForCommand(names[1]);
    if (!from || !to || !Writable(names[0]) || !Writable(names[1])) return 1;
    if (fs::is_directory(*to)) *to += "/" + fs::path(*from).filename().string();
    return std::rename(from->c_str(), to->c_str()) == 0 ? 0 : 1;
}

bool BoardShell::HandedOverDevice(const std::string& device) const {
    bool handed_over = false;
    {
        const BlockLock lock(block_);
        handed_over =
            (device == kCardDevice && block_.card.handed_over) || (device == kNandDevice && block_.nand.handed_over);
    }
    if (handed_over) RecordUsbViolation(block_, "command on " + device);
    return handed_over;
}

int BoardShell::Mount(const Words& words) {
    Words names = Operands(words);
    // "-t vfat": the type is an option's argument.
    for (std::size_t i = 1; i + 1 < words.size(); ++i) {
        if (words[i] == "-t") {
            if (words[i + 1] != "vfat") return kMountFailed;
            names.erase(names.begin());
        }
    }
    if (names.size() != 2) return kMountFailed;
    const fs::path mount_point = fs::path(names[1] + "/").lexically_normal();
    if (HandedOverDevice(names[0])) return kMountFailed;
    const BlockLock lock(block_);
    const auto mount = [&](MediumState& medium, const char* device, const char* place) {
        if (names[0] != device || mount_point != std::string(place) + "/" || !medium.present || medium.mounted)
            return false;
        medium.mounted = true;
        return true;
    };
    const bool mounted =
        mount(block_.card, kCardDevice, kCardMountPoint) || mount(block_.nand, kNandDevice, kNandMountPoint);
    return mounted ? 0 : kMountFailed;
}

int BoardShell::Unmount(const Words& words) {
    const Words names = Operands(words);
    if (names.size() != 1) return 1;
    const fs::path name = fs::path(names[0] + "/").lexically_normal();
    // Only a lazy one takes a file system away under open files; force is for file systems of a network.
    const bool lazy = HasOption(words, 'l');
    const auto unmount = [&](Medium which, const char* device, const char* place) {
        if (name != std::string(place) + "/" && name != std::string(device) + "/") return false;
        if (!lazy && !FindOpenFiles(folder_.MediumDirectory(which)).empty()) return false;
        const BlockLock lock(block_);
        return std::exchange((block_.*BoardFolder::StateOf(which)).mounted, false);
    };
    const bool unmounted =
        unmount(Medium::Card, kCardDevice, kCardMountPoint) || unmount(Medium::Nand, kNandDevice, kNandMountPoint);
    return unmounted ? 0 : 1;
}

// Only the card is formatted like this, and only while it is not mounted.
int BoardShell::MakeFileSystem(const Words& words) {
    if (words.size() < 2 || words.back() != kCardDevice || HandedOverDevice(kCardDevice)) return 1;
    {
        const BlockLock lock(block_);
        if (!block_.card.present || block_.card.mounted || block_.card.read_only) return 1;
    }
    folder_.Erase(Medium::Card);
    return 0;
}

int BoardShell::RemoveModule(const Words& words) {
    if (words != Words{words[0], "-r", "g_file_storage"}) return 1;
    for (std::size_t unit = 0; unit < std::size(block_.usb_units); ++unit)
        WriteUnit(unit, "\n");
    return 0;
}

// "stop" detaches the store; "start" makes an empty backing file when there is none, and mounts the store.
int BoardShell::FormatNand(const Words& words) {
    if (words.size() != 2 || (words[1] != "stop" && words[1] != "start")) return 1;
    if (HandedOverDevice(kNandDevice)) return 1;
    const bool start = words[1] == "start";
    const fs::path backing_file = *folder_.Resolve(kNandBackingFile);
    if (start && !fs::exists(backing_file)) {
        folder_.Erase(Medium::Nand);
        std::ofstream(backing_file).flush();
    }
    const BlockLock lock(block_);
    block_.nand.mounted = start;
    return 0;
}

int BoardShell::Nothing(const Words& /*words*/) {
    return 0;
}

}  // namespace board
