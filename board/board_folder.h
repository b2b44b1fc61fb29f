// The board's files, in an ordinary folder of the PC.
#pragma once

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "board/block.h"

namespace board {

// Where the nodes and mount points of this board are.
constexpr const char* kCardMountPoint = "/media/sd-mmcblk0p1";
constexpr const char* kNandMountPoint = "/media/nand";
constexpr const char* kCardDevice = "/dev/mmcblk0p1";
constexpr const char* kNandDevice = "/dev/loop0";
constexpr const char* kNandBackingFile = "/mnt/ubifs/backing_file";
constexpr const char* kCameraNode = "/dev/video0";
constexpr const char* kCameraMetadataNode = "/dev/video1";
constexpr const char* kPixelPipelineNode = "/dev/video16";
constexpr const char* kCameraName = "USB 2.0 Camera";
constexpr const char* kPixelPipelineName = "MXS PxP";
constexpr const char* kGpioFolder = "/sys/class/gpio";

// One of the two storage media, as a folder.
enum class Medium { Card, Nand };

// DIR/card and DIR/nand hold the media's files, DIR/program is the program's working directory, DIR/device holds the
// device's own tree: the files under /sys, /proc, /dev, /etc, /usr/varno, /media and /mnt. Every process has its own
// object over the one folder. Thread-safe.
class BoardFolder {
  public:
    // `checkout` holds img/ and settings/varnosvconf.xml.
    BoardFolder(Block& block, const std::filesystem::path& directory, const std::filesystem::path& checkout);

    // Lays out what is missing; what lies on the media and the program's settings stay. False, with a reason, on
    // failure.
    bool Create(std::string& error);

    // Brings files and block in step: first what the program wrote (lights, power-off answer, display parameters) into
    // the block, then the block's state (camera, battery, media, lines) into the files.
    void Sync();

    // Where a path of the device lies on the PC; `..` never leads out of the device's tree. Nothing for any other path.
    std::optional<std::string> Resolve(std::string_view path) const;
    // As Resolve, and relative paths lie in the program's working directory. Nothing for any other absolute path.
    std::optional<std::string> ResolveForCommand(std::string_view path) const;
    // The mounted medium that holds a path of the device.
    std::optional<Medium> MediumOf(std::string_view path) const;

    const std::filesystem::path& Directory() const { return directory_; }
    std::filesystem::path ProgramDirectory() const { return directory_ / "program"; }
    std::filesystem::path MediumDirectory(Medium medium) const;
    static MediumState Block::*StateOf(Medium medium) { return medium == Medium::Card ? &Block::card : &Block::nand; }

    // Free space of a medium in bytes: its capacity less what its files take in 1 KiB clusters, and never more than the
    // PC has. Negative never.
    std::int64_t FreeBytes(Medium medium) const;
    // What the medium's files take, in 1 KiB clusters.
    std::int64_t UsedKib(Medium medium) const;
    // Makes it a medium of this size, of which its files are all that takes room. `kib` is no less than UsedKib.
    void SetSizeKib(Medium medium, std::int64_t kib);
    // Fills the medium up, by nothing that can be seen in its folder, until just now `kib` are free; one that is too
    // small for that grows.
    void SetFreeKib(Medium medium, std::int64_t kib);
    // Removes every file from a medium, as formatting does; all of it is free then.
    void Erase(Medium medium);

    // Is the medium that holds this path of the device offered to a PC? Then the program has no business there.
    bool HandedOver(std::string_view path) const;
    // Which mass-storage unit's backing file is this path of the device?
    static std::optional<std::size_t> MassStorageUnit(std::string_view path);
    // What writing to a unit's backing file does: from now on it offers this device to a PC, or nothing (""). False
    // when there is no such device; then the unit stays as it is.
    bool OfferToPc(std::size_t unit, std::string_view device);
    // Writes the display parameters that the next start finds.
    void SetLcdParameters(std::string_view parameters);

    // Makes one line's folder, as writing its number to "export" does. False when there is none of that number, or it
    // is there.
    bool ExportGpio(std::string_view number);
    bool UnexportGpio(std::string_view number);

  private:
    // What of the block the device's files show.
    struct Shown {
        bool camera, card, card_mounted, nand_mounted, charger, tv_cable, power_off_requested;
        bool card_read_only, nand_read_only;
        std::int32_t battery_millivolts;
        bool operator==(const Shown& other) const;
    };

    std::filesystem::path Device(std::string_view path) const;
    void Collect();
    void Publish(const Shown& now);
    void PublishCamera(bool plugged) const;
    void PublishCard(bool present) const;
    void PublishMounts(const Shown& now) const;
    void PublishLines(bool tv_cable) const;
    Shown Wanted() const;
    std::int64_t UsedBytes(Medium medium) const;

    Block& block_;
    const std::filesystem::path directory_;
    const std::filesystem::path checkout_;
    std::mutex mutex_;
    std::optional<Shown> shown_;
};

}  // namespace board
