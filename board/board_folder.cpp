#include "board/board_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <tuple>

namespace board {
namespace fs = std::filesystem;
namespace {

constexpr std::array<std::string_view, 7> kDeviceRoots = {"/sys",       "/proc",  "/dev", "/etc",
                                                          "/usr/varno", "/media", "/mnt"};
constexpr const char* kPowerOffState = "/sys/power/poweroff_state";
constexpr const char* kGreenLed = "/sys/class/leds/Green_LED/brightness";
constexpr const char* kLamp = "/sys/class/leds/led-pwm0/brightness";
constexpr const char* kLcdParameters = "/etc/lcdparams";
constexpr std::array<const char*, 2> kMassStorageUnits = {"/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file",
                                                          "/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file"};
constexpr std::int64_t kCluster = 1024;
constexpr int kGpioLines = 160;

// Files that are there from the first start, with what the device's system would have put into them.
struct InitialFile {
    const char* path;
    const char* content;
};
constexpr std::array<InitialFile, 20> kInitialFiles = {{
    {kPowerOffState, "0\n"},
    {kGreenLed, "0\n"},
    {"/sys/class/leds/Green_LED/max_brightness", "255\n"},
    {kLamp, "0\n"},
    {"/sys/class/leds/led-pwm0/max_brightness", "255\n"},
    {"/sys/class/power_supply/battery/voltage_now", "0\n"},
    {"/sys/class/power_supply/usb/online", "0\n"},
    {"/sys/class/gpio/export", ""},
    {"/sys/class/gpio/unexport", ""},
    {"/sys/class/video4linux/video16/name", "MXS PxP\n"},
    {"/sys/devices/platform/mxs-pxp.0/nextreg_state", "0\n"},
    {"/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file", ""},
    {"/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun1/file", ""},
    {"/proc/mounts", ""},
    {"/proc/sys/vm/drop_caches", "0\n"},
    {"/dev/loop0", ""},
    {"/dev/video16", ""},
    {"/dev/watchdog", ""},
    {kLcdParameters, "lcd_panel=ili9341\n"},
    {kNandBackingFile, ""},
}};

// As their drivers have them: for writing only.
constexpr const char* kWriteOnlyFiles[] = {"/sys/class/gpio/export", "/sys/class/gpio/unexport",
                                           "/sys/devices/platform/mxs-pxp.0/nextreg_state"};

// The first line, at most `limit` bytes. Empty when the file cannot be read.
std::string FirstLine(const fs::path& path, std::size_t limit = 127) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return {};
    std::string text(limit, '\0');
    const ssize_t length = read(fd, text.data(), text.size());
    close(fd);
    text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return text.substr(0, text.find_first_of(std::string_view("\n\0", 2)));
}

// In place, so that a program that has the file open goes on seeing it; a file that is not there stays away.
void Rewrite(const fs::path& path, std::string_view content) {
    const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) return;
    const bool written = pwrite(fd, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size());
    if (written && ftruncate(fd, static_cast<off_t>(content.size())) < 0) errno = 0;  // the next change writes it anew
    close(fd);
}

bool WriteNew(const fs::path& path, std::string_view content) {
    std::error_code ignored;
    fs::create_directories(path.parent_path(), ignored);
    std::ofstream file(path, std::ios::binary);
    file << content;
    return static_cast<bool>(file.flush());
}

// Leaves a file that is there alone: another process may be reading it.
void Ensure(const fs::path& path, std::string_view content) {
    if (!fs::exists(path)) WriteNew(path, content);
}

std::uint8_t Brightness(const std::string& text) {
    return static_cast<std::uint8_t>(std::clamp(std::strtol(text.c_str(), nullptr, 10), 0L, 255L));
}

bool StartsWithFolder(std::string_view path, std::string_view folder) {
    return path.substr(0, folder.size()) == folder && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Lexically normal and without a slash at the end; `..` stops at the root.
std::string Normal(std::string_view path) {
    std::string normal = fs::path(path).lexically_normal().string();
    while (normal.size() > 1 && normal.back() == '/')
        normal.pop_back();
    return normal;
}

}  // namespace

bool BoardFolder::Shown::operator==(const Shown& other) const {
    const auto tie = [](const Shown& s) {
        return std::tie(s.camera, s.card, s.card_mounted, s.nand_mounted, s.charger, s.tv_cable, s.power_off_requested,
                        s.card_read_only, s.nand_read_only, s.battery_millivolts);
    };
    return tie(*this) == tie(other);
}

BoardFolder::BoardFolder(Block& block, const fs::path& directory, const fs::path& checkout)
    : block_(block), directory_(fs::absolute(directory)), checkout_(fs::absolute(checkout)) {}

bool BoardFolder::Create(std::string& error) {
    std::error_code code;
    for (const fs::path& folder : {directory_ / "card", directory_ / "nand", ProgramDirectory(),
                                   Device(kCardMountPoint), Device(kNandMountPoint)}) {
        fs::create_directories(folder, code);
        if (code) {
            error = folder.string() + ": " + code.message();
            return false;
        }
    }
    for (const InitialFile& file : kInitialFiles) {
        // The display parameters live on the device's flash; all the rest starts anew with the board.
        if (file.path == kLcdParameters && fs::exists(Device(file.path))) continue;
        if (!WriteNew(Device(file.path), file.content)) {
            error = Device(file.path).string() + ": " + std::strerror(errno);
            return false;
        }
    }
    std::error_code ignored;
    for (const char* path : kWriteOnlyFiles)
        fs::permissions(Device(path), fs::perms::owner_write, ignored);
    const fs::path settings = ProgramDirectory() / "varnosvconf.xml";
    if (!fs::exists(settings)) fs::copy_file(checkout_ / "settings" / "varnosvconf.xml", settings, code);
    if (!code) {
        fs::copy_file(checkout_ / "settings" / "varnosvconf.xml", ProgramDirectory() / "varnosvconf.default.xml",
                      fs::copy_options::overwrite_existing, code);
    }
    for (const fs::path& link : {ProgramDirectory() / "img", Device("/usr/varno/img")}) {
        if (code) break;
        fs::create_directories(link.parent_path(), code);
        if (fs::is_symlink(link)) fs::remove(link, code);
        if (!fs::exists(link)) fs::create_directory_symlink(checkout_ / "img", link, code);
    }
    if (code) {
        error = directory_.string() + ": " + code.message();
        return false;
    }
    Sync();
    return true;
}

fs::path BoardFolder::Device(std::string_view path) const {
    return directory_ / "device" / path.substr(1);
}

fs::path BoardFolder::MediumDirectory(Medium medium) const {
    return directory_ / (medium == Medium::Card ? "card" : "nand");
}

std::optional<Medium> BoardFolder::MediumOf(std::string_view path) const {
    const std::string normal = Normal(path);
    const BlockLock lock(block_);
    if (StartsWithFolder(normal, kCardMountPoint) && block_.card.mounted) return Medium::Card;
    if (StartsWithFolder(normal, kNandMountPoint) && block_.nand.mounted) return Medium::Nand;
    return std::nullopt;
}

std::optional<std::string> BoardFolder::Resolve(std::string_view path) const {
    const std::string normal = Normal(path);
    if (const auto medium = MediumOf(normal)) {
        const std::size_t mount_point = std::strlen(*medium == Medium::Card ? kCardMountPoint : kNandMountPoint);
        return MediumDirectory(*medium).string() + normal.substr(mount_point);
    }
    for (const std::string_view root : kDeviceRoots) {
        if (StartsWithFolder(normal, root)) return Device(normal).string();
    }
    return std::nullopt;
}

std::optional<std::string> BoardFolder::ResolveForCommand(std::string_view path) const {
    if (path.empty()) return std::nullopt;
    if (path.front() == '/') return Resolve(path);
    // Seen from a root of its own, `..` cannot leave the working directory.
    return ProgramDirectory().string() + Normal("/" + std::string(path));
}

void BoardFolder::Sync() {
    const std::lock_guard<std::mutex> guard(mutex_);
    Collect();
    const Shown now = Wanted();
    if (shown_ == now) return;
    Publish(now);
    shown_ = now;
}

void BoardFolder::Collect() {
    const std::uint8_t green_led = Brightness(FirstLine(Device(kGreenLed)));
    const std::uint8_t lamp = Brightness(FirstLine(Device(kLamp)));
    const std::string lcd_parameters = FirstLine(Device(kLcdParameters), sizeof(Block::lcd_parameters) - 1);
    // The program's answer to the request, four zeros, is what switches the device off.
    const bool power_off = FirstLine(Device(kPowerOffState)) == "0000";

    const BlockLock lock(block_);
    block_.green_led = green_led;
    block_.lamp = lamp;
    CopyText(block_.lcd_parameters, lcd_parameters);
    if (power_off) {
        block_.powered_off = true;
        block_.power_off_requested = false;
        shown_.reset();  // so that the file is put back to rest
    }
}

BoardFolder::Shown BoardFolder::Wanted() const {
    const BlockLock lock(block_);
    return {block_.camera.plugged, block_.card.present,      block_.card.mounted,        block_.nand.mounted,
            block_.charger,        block_.tv_cable,          block_.power_off_requested, block_.card.read_only,
            block_.nand.read_only, block_.battery_millivolts};
}

void BoardFolder::Publish(const Shown& now) {
    Rewrite(Device("/sys/class/power_supply/battery/voltage_now"), std::to_string(now.battery_millivolts) + "000\n");
    Rewrite(Device("/sys/class/power_supply/usb/online"), now.charger ? "1\n" : "0\n");
    Rewrite(Device(kPowerOffState), now.power_off_requested ? "1\n" : "0\n");
    PublishCamera(now.camera);
    PublishCard(now.card);
    PublishMounts(now);
    PublishLines(now.tv_cable);
}

void BoardFolder::PublishCamera(bool plugged) const {
    std::error_code ignored;
    for (const char* const node : {kCameraNode, kCameraMetadataNode}) {
        const fs::path entry = Device("/sys/class/video4linux") / fs::path(node).filename();
        if (plugged) {
            Ensure(entry / "name", std::string(kCameraName) + "\n");
            Ensure(Device(node), "");
        } else {
            fs::remove_all(entry, ignored);
            fs::remove(Device(node), ignored);
        }
    }
}

void BoardFolder::PublishCard(bool present) const {
    std::error_code ignored;
    const fs::path card = Device("/sys/block/mmcblk0");
    if (present) {
        Ensure(card / "stat", "0\n");
        Ensure(card / "mmcblk0p1" / "stat", "0\n");
        Ensure(Device("/dev/mmcblk0"), "");
        Ensure(Device(kCardDevice), "");
    } else {
        fs::remove_all(card, ignored);
        fs::remove(Device("/dev/mmcblk0"), ignored);
        fs::remove(Device(kCardDevice), ignored);
    }
    fs::create_directories(Device("/sys/block/loop0"), ignored);
}

void BoardFolder::PublishMounts(const Shown& now) const {
    std::string mounts =
        "rootfs / rootfs rw 0 0\nubi0:rootfs / ubifs rw,relatime 0 0\nproc /proc proc rw,relatime 0 0\n"
        "sysfs /sys sysfs rw,relatime 0 0\nubi1:user /mnt/ubifs ubifs rw,relatime 0 0\n";
    const auto add = [&mounts](const char* device, const char* mount_point, bool read_only) {
        mounts += std::string(device) + " " + mount_point + " vfat " + (read_only ? "ro" : "rw") + ",relatime 0 0\n";
    };
    if (now.nand_mounted) add(kNandDevice, kNandMountPoint, now.nand_read_only);
    if (now.card_mounted) add(kCardDevice, kCardMountPoint, now.card_read_only);
    Rewrite(Device("/proc/mounts"), mounts);
}

// Every input line reads the TV cable's detection: it is the one input the program looks at.
void BoardFolder::PublishLines(bool tv_cable) const {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(Device(kGpioFolder), ignored)) {
        if (FirstLine(entry.path() / "direction") == "in") Rewrite(entry.path() / "value", tv_cable ? "1\n" : "0\n");
    }
}

bool BoardFolder::ExportGpio(std::string_view number) {
    const std::string text(number);
    char* end = nullptr;
    const long line = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || line < 0 || line >= kGpioLines) return false;
    const fs::path folder = Device(kGpioFolder) / ("gpio" + std::to_string(line));
    if (fs::exists(folder)) return false;
    {
        const BlockLock lock(block_);
        WriteNew(folder / "value", block_.tv_cable ? "1\n" : "0\n");
    }
    return WriteNew(folder / "direction", "in\n");
}

bool BoardFolder::UnexportGpio(std::string_view number) {
    std::error_code failed;
    const std::string name(number);
    if (name.empty() || name.find_first_not_of("0123456789") != std::string::npos) return false;
    return fs::remove_all(Device(kGpioFolder) / ("gpio" + name), failed) > 0 && !failed;
}

bool BoardFolder::HandedOver(std::string_view path) const {
    const auto medium = MediumOf(path);
    if (!medium) return false;
    const BlockLock lock(block_);
    return (block_.*StateOf(*medium)).handed_over;
}

std::optional<std::size_t> BoardFolder::MassStorageUnit(std::string_view path) {
    const auto* const unit = std::find(kMassStorageUnits.begin(), kMassStorageUnits.end(), Normal(path));
    if (unit == kMassStorageUnits.end()) return std::nullopt;
    return static_cast<std::size_t>(unit - kMassStorageUnits.begin());
}

bool BoardFolder::OfferToPc(std::size_t unit, std::string_view device) {
    const std::lock_guard<std::mutex> guard(mutex_);
    {
        const BlockLock lock(block_);
        const bool exists = device.empty() || (device == kCardDevice && block_.card.present) ||
                            (device == kNandDevice && block_.nand.present);
        if (!exists) return false;
        const auto mark = [this](std::string_view named, bool handed_over) {
            if (named == kCardDevice) block_.card.handed_over = handed_over;
            if (named == kNandDevice) block_.nand.handed_over = handed_over;
        };
        if (block_.usb_units[unit] != device) mark(block_.usb_units[unit], false);
        CopyText(block_.usb_units[unit], device);
        mark(device, true);
    }
    Rewrite(Device(kMassStorageUnits[unit]), std::string(device) + "\n");
    return true;
}

void BoardFolder::SetLcdParameters(std::string_view parameters) {
    Rewrite(Device(kLcdParameters), std::string(parameters) + "\n");
}

std::int64_t BoardFolder::UsedBytes(Medium medium) const {
    std::int64_t used = 0;
    std::error_code failed;
    for (fs::recursive_directory_iterator entry(MediumDirectory(medium), failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code gone;
        if (!entry->is_regular_file(gone)) continue;
        const auto bytes = static_cast<std::int64_t>(entry->file_size(gone));
        if (!gone) used += (bytes + kCluster - 1) / kCluster * kCluster;
    }
    return used;
}

std::int64_t BoardFolder::FreeBytes(Medium medium) const {
    const std::int64_t used = UsedBytes(medium);
    std::error_code failed;
    const fs::space_info pc = fs::space(directory_, failed);
    std::int64_t capacity = 0;
    {
        const BlockLock lock(block_);
        const MediumState& state = block_.*StateOf(medium);
        capacity = (state.capacity_kib - state.reserved_kib) * 1024;
    }
    const std::int64_t free = std::max<std::int64_t>(capacity - used, 0);
    return failed ? free : std::min<std::int64_t>(free, static_cast<std::int64_t>(pc.available));
}

std::int64_t BoardFolder::UsedKib(Medium medium) const {
    return UsedBytes(medium) / 1024;
}

void BoardFolder::SetSizeKib(Medium medium, std::int64_t kib) {
    const BlockLock lock(block_);
    MediumState& state = block_.*StateOf(medium);
    state.capacity_kib = kib;
    state.reserved_kib = 0;
}

void BoardFolder::SetFreeKib(Medium medium, std::int64_t kib) {
    const std::int64_t needed = UsedKib(medium) + kib;
    const BlockLock lock(block_);
    MediumState& state = block_.*StateOf(medium);
    state.capacity_kib = std::max(state.capacity_kib, needed);
    state.reserved_kib = state.capacity_kib - needed;
}

void BoardFolder::Erase(Medium medium) {
    std::error_code failed;
    for (const auto& entry : fs::directory_iterator(MediumDirectory(medium), failed))
        fs::remove_all(entry.path(), failed);
    const BlockLock lock(block_);
    (block_.*StateOf(medium)).reserved_kib = 0;
}

}  // namespace board
