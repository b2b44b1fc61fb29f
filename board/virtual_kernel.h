// The operating system as the program meets it on the virtual board.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "board/block.h"
#include "board/board_clock.h"
#include "board/board_folder.h"
#include "board/board_shell.h"
#include "board/camera_device.h"
#include "board/device.h"
#include "board/pixel_pipeline_device.h"
#include "board/small_devices.h"
#include "sys/kernel.h"

namespace board {

// Device nodes are the board's devices, files lie in the board's folder, commands go to the board's shell. Descriptors
// are real ones of this process, so that numbers never collide with the PC's. Thread-safe.
class VirtualKernel final : public Varno::Kernel {
  public:
    VirtualKernel(Block& block, BoardFolder& folder, BoardClock& clock);
    ~VirtualKernel();
    VirtualKernel(const VirtualKernel&) = delete;
    VirtualKernel& operator=(const VirtualKernel&) = delete;

    int Open(const char* path, int flags, mode_t mode = 0) override;
    int Close(int fd) override;
    ssize_t Write(int fd, const struct iovec* parts, int count) override;
    int Flush(int fd) override;
    int Ioctl(int fd, unsigned long request, void* argument) override;
    void* Map(int fd, std::size_t length, off_t offset) override;
    int Unmap(void* address, std::size_t length) override;
    int WaitReadable(int fd, std::chrono::milliseconds timeout) override;
    int WaitWritable(int fd, std::chrono::milliseconds timeout) override;
    int System(const char* command) override;
    int Exec(const char* file, char* const arguments[]) override;
    int StatFs(const char* path, struct statfs* result) override;
    void Sync() override;
    std::timespec RealTime() override;
    int SetRealTime(const std::timespec& now) override;
    std::chrono::nanoseconds Monotonic() override { return clock_.Monotonic(); }
    void Sleep(std::chrono::nanoseconds duration) override { clock_.Sleep(duration); }
    std::string Path(const std::string& path) override;

    // Faults for tests: the nth next (1: the very next) call of the kind fails with `error`, once.
    void FailIoctl(unsigned long request, int nth, int error);
    void FailOpen(const std::string& path, int nth, int error);
    void FailWrite(int nth, int error);
    // Each opening of a file on a medium takes so long from now on.
    void SetOpenTime(std::chrono::nanoseconds duration) { open_time_ = duration; }
    // How often an ioctl was issued since the start.
    int IoctlCount(unsigned long request) const;

    CameraDevice& Camera() { return camera_; }
    PixelPipelineDevice& PixelPipeline() { return pixel_pipeline_; }
    // Device nodes and files that are open.
    int OpenCount() const;

  private:
    struct OpenFile {
        Device* device = nullptr;  // null: a file on a medium
        OpenNode node{};
        Medium medium = Medium::Card;
        unsigned generation = 0;  // the medium's
        std::string path;
    };
    struct Fault {
        std::string call;
        int remaining;
        int error;
    };

    // What was last known of a medium's free space, less what was written since.
    struct Room {
        std::int64_t usable_kib = -1;
        std::int64_t left = 0;
        std::chrono::nanoseconds counted{};
    };

    Device* FindDevice(const std::string& path);
    int OpenDevice(Device& device, const std::string& path, int flags);
    int OpenOnMedium(Medium medium, const std::string& path, int flags, mode_t mode);
    std::optional<OpenFile> Find(int fd) const;
    // The fault that is due for this call; 0: none.
    int TakeFault(const std::string& call);
    bool Unsynced() const;
    // Tells whether a medium that was handed over to a PC is used without leave; counts it then.
    bool Trespass(const std::string& path) const;
    // 0, or the errno that every use of this file fails with, because of its medium.
    int MediumError(const OpenFile& file) const;
    // 0, or the errno that writing to this file fails with.
    int WriteError(const OpenFile& file, std::int64_t bytes);
    // Takes the time of a write on the file's medium. 0, or the errno that the write fails with, because the medium did
    // not stay for so long.
    int WaitForMedium(const OpenFile& file);

    Block& block_;
    BoardFolder& folder_;
    BoardClock& clock_;
    BoardShell shell_;
    CameraDevice camera_;
    CameraMetadataDevice camera_metadata_;
    PixelPipelineDevice pixel_pipeline_;
    WatchdogDevice watchdog_;
    RtcDevice rtc_;
    OtgDevice otg_;
    std::atomic<std::chrono::nanoseconds> open_time_{};

    mutable std::mutex mutex_;  // of what follows; not held during a device's call
    std::map<int, OpenFile> files_;
    std::map<void*, Device*> mappings_;
    std::vector<Fault> faults_;
    std::map<unsigned long, int> ioctls_;
    std::map<Medium, Room> rooms_;
};

}  // namespace board
