#include "board/virtual_kernel.h"

#include <fcntl.h>
#include <linux/watchdog.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace board {
namespace {

constexpr long kVfatMagic = 0x4d44;
constexpr std::int64_t kBlockSize = 1024;
// The device's own flash: what lies on no medium.
constexpr std::int64_t kRootBlocks = std::int64_t{64} * 1024;

// A path where nothing is and nothing can be made.
constexpr const char* kNowhere = "/dev/null/handed-over";

int Fail(int error) {
    errno = error;
    return -1;
}

int Answer(int result) {
    return result < 0 ? Fail(-result) : result;
}

// ioctl(2) takes its request as an int on some machines: only the low 32 bits count.
unsigned long RequestNumber(unsigned long request) {
    return static_cast<std::uint32_t>(request);
}

std::int64_t Length(const struct iovec* parts, int count) {
    std::int64_t length = 0;
    for (int i = 0; i < count; ++i)
        length += static_cast<std::int64_t>(parts[i].iov_len);
    return length;
}

// Counting what lies on a medium takes a walk through it: for so long its result counts while there is plenty of room.
constexpr std::chrono::seconds kRoomAge{1};
constexpr std::int64_t kRoomMargin = std::int64_t{8} * 1024 * 1024;

// Bytes, in whole clusters, by which writing at its position makes a file longer on its medium.
std::int64_t Growth(int fd, std::int64_t bytes) {
    struct stat status {};
    if (fstat(fd, &status) < 0) return 0;
    const bool append = fcntl(fd, F_GETFL) & O_APPEND;
    const std::int64_t end = (append ? status.st_size : lseek(fd, 0, SEEK_CUR)) + bytes;
    const auto clusters = [](std::int64_t size) { return (size + kBlockSize - 1) / kBlockSize; };
    return std::max<std::int64_t>(clusters(end) - clusters(status.st_size), 0) * kBlockSize;
}

}  // namespace

VirtualKernel::VirtualKernel(Block& block, BoardFolder& folder, BoardClock& clock)
    : block_(block),
      folder_(folder),
      clock_(clock),
      shell_(block, folder),
      camera_(block, clock),
      camera_metadata_(block),
      pixel_pipeline_(block),
      watchdog_(block, clock),
      rtc_(block, clock),
      otg_(block) {}

VirtualKernel::~VirtualKernel() {
    for (const auto& [fd, file] : files_)
        close(fd);
}

Device* VirtualKernel::FindDevice(const std::string& path) {
    const std::array<std::pair<const char*, Device*>, 6> devices = {{{kCameraNode, &camera_},
                                                                     {kCameraMetadataNode, &camera_metadata_},
                                                                     {kPixelPipelineNode, &pixel_pipeline_},
                                                                     {"/dev/watchdog", &watchdog_},
                                                                     {"/dev/rtc0", &rtc_},
                                                                     {"/dev/fsl_otg", &otg_}}};
    for (const auto& [node, device] : devices) {
        if (path == node) return device;
    }
    return nullptr;
}

int VirtualKernel::Open(const char* path, int flags, mode_t mode) {
    if (const int error = TakeFault(std::string("open ") + path)) return Fail(error);
    if (std::strcmp(path, "/dev/null") == 0) return open(path, flags | O_CLOEXEC);
    if (Device* device = FindDevice(path)) return OpenDevice(*device, path, flags);
    if (Trespass(path)) return Fail(EBUSY);
    if (const auto medium = folder_.MediumOf(path)) return OpenOnMedium(*medium, path, flags, mode);
    return open(Path(path).c_str(), flags | O_CLOEXEC, mode);
}

int VirtualKernel::OpenDevice(Device& device, const std::string& path, int flags) {
    const int fd = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (fd < 0) return -1;
    OpenFile file;
    file.device = &device;
    file.node = {fd, (flags & O_NONBLOCK) == 0, 0};
    file.path = path;
    const int result = device.Open(file.node);
    if (result < 0) {
        close(fd);
        // A node that is gone is not even there to be opened.
        return Fail(result == -ENODEV ? ENOENT : -result);
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    files_[fd] = file;
    return fd;
}

int VirtualKernel::OpenOnMedium(Medium medium, const std::string& path, int flags, mode_t mode) {
    OpenFile file;
    file.medium = medium;
    file.path = path;
    {
        const BlockLock lock(block_);
        const MediumState& state = block_.*BoardFolder::StateOf(medium);
        file.generation = state.generation;
        const bool writing = (flags & O_ACCMODE) != O_RDONLY || (flags & (O_CREAT | O_TRUNC));
        if (writing && state.read_only) return Fail(EROFS);
    }
    const int fd = open(folder_.Resolve(path)->c_str(), flags | O_CLOEXEC, mode);
    if (fd < 0) return -1;
    clock_.Sleep(open_time_);
    file.node.descriptor = fd;
    const std::lock_guard<std::mutex> guard(mutex_);
    files_[fd] = file;
    return fd;
}

bool VirtualKernel::Trespass(const std::string& path) const {
    if (!folder_.HandedOver(path)) return false;
    RecordUsbViolation(block_, "use of " + path);
    return true;
}

int VirtualKernel::MediumError(const OpenFile& file) const {
    {
        const BlockLock lock(block_);
        const MediumState& state = block_.*BoardFolder::StateOf(file.medium);
        if (!state.present || state.generation != file.generation) return EIO;
        if (!state.handed_over) return 0;
    }
    RecordUsbViolation(block_, "write to " + file.path);
    return EBUSY;
}

std::optional<VirtualKernel::OpenFile> VirtualKernel::Find(int fd) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto file = files_.find(fd);
    return file == files_.end() ? std::nullopt : std::optional<OpenFile>(file->second);
}

int VirtualKernel::Close(int fd) {
    std::optional<OpenFile> file = Find(fd);
    if (file) {
        if (file->device) file->device->Close(file->node);
        const std::lock_guard<std::mutex> guard(mutex_);
        files_.erase(fd);
    }
    const int result = close(fd);
    if (result < 0) {
        const int error = errno;
        RecordViolation(block_, "close of descriptor " + std::to_string(fd) + ", which is not open");
        errno = error;
    }
    return result;
}

int VirtualKernel::WriteError(const OpenFile& file, std::int64_t bytes) {
    if (const int error = MediumError(file)) return error;
    std::int64_t usable_kib = 0;
    {
        const BlockLock lock(block_);
        const MediumState& state = block_.*BoardFolder::StateOf(file.medium);
        if (state.read_only) return EROFS;
        usable_kib = state.capacity_kib - state.reserved_kib;
    }
    const std::int64_t growth = Growth(file.node.descriptor, bytes);
    if (growth == 0) return 0;

    const std::lock_guard<std::mutex> guard(mutex_);
    Room& room = rooms_[file.medium];
    const bool stale = room.usable_kib != usable_kib || clock_.Monotonic() - room.counted > kRoomAge;
    if (stale || room.left < growth + kRoomMargin) {
        room = {usable_kib, folder_.FreeBytes(file.medium), clock_.Monotonic()};
    }
    if (growth > room.left) return ENOSPC;
    room.left -= growth;
    return 0;
}

int VirtualKernel::WaitForMedium(const OpenFile& file) {
    std::chrono::milliseconds duration{};
    {
        const BlockLock lock(block_);
        duration = std::chrono::milliseconds((block_.*BoardFolder::StateOf(file.medium)).write_ms);
    }
    if (duration == std::chrono::milliseconds::zero()) return 0;
    clock_.Sleep(duration);
    return MediumError(file);
}

ssize_t VirtualKernel::Write(int fd, const struct iovec* parts, int count) {
    if (const int error = TakeFault("write")) return Fail(error);
    const std::optional<OpenFile> file = Find(fd);
    if (file && file->device) return Fail(EINVAL);
    if (file) {
        if (const int error = WriteError(*file, Length(parts, count))) return Fail(error);
        if (const int error = WaitForMedium(*file)) return Fail(error);
    }
    const ssize_t written = writev(fd, parts, count);
    const BlockLock lock(block_);
    block_.unsynced_bytes += std::max<ssize_t>(written, 0);
    return written;
}

bool VirtualKernel::Unsynced() const {
    const BlockLock lock(block_);
    return block_.unsynced_bytes > 0;
}

void VirtualKernel::Sync() {
    const BlockLock lock(block_);
    block_.unsynced_bytes = 0;
}

int VirtualKernel::Flush(int fd) {
    if (const int error = TakeFault("flush")) return Fail(error);
    const std::optional<OpenFile> file = Find(fd);
    if (file && file->device) return Fail(EINVAL);
    if (file) {
        if (const int error = MediumError(*file)) return Fail(error);
    }
    // The PC need not write its disk through for a simulated card.
    return fcntl(fd, F_GETFD) < 0 ? -1 : 0;
}

int VirtualKernel::Ioctl(int fd, unsigned long request, void* argument) {
    const unsigned long number = RequestNumber(request);
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        ++ioctls_[number];
    }
    if (const int error = TakeFault("ioctl " + std::to_string(number))) return Fail(error);
    const std::optional<OpenFile> file = Find(fd);
    if (!file || !file->device) return Fail(fcntl(fd, F_GETFD) < 0 ? EBADF : ENOTTY);
    const bool without_argument = number == WDIOC_KEEPALIVE || number == kReadOtgState;
    if (!argument && !without_argument) return Fail(EFAULT);
    const int result = file->device->Ioctl(file->node, number, argument);
    if (result == -ENOTTY) RecordViolation(block_, "unknown ioctl " + std::to_string(number) + " on " + file->path);
    return Answer(result);
}

void* VirtualKernel::Map(int fd, std::size_t length, off_t offset) {
    int error = TakeFault("map");
    const std::optional<OpenFile> file = Find(fd);
    if (!error && (!file || !file->device)) error = file ? ENODEV : EBADF;
    void* address = error ? nullptr : file->device->Map(file->node, length, offset, error);
    if (!address) {
        errno = error;
        return MAP_FAILED;
    }
    const std::lock_guard<std::mutex> guard(mutex_);
    mappings_[address] = file->device;
    return address;
}

int VirtualKernel::Unmap(void* address, std::size_t length) {
    Device* device = nullptr;
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto mapping = mappings_.find(address);
        if (mapping != mappings_.end()) {
            device = mapping->second;
            mappings_.erase(mapping);
        }
    }
    if (device && device->Unmap(address, length)) return 0;
    RecordViolation(block_, "unmapping of memory that is not mapped");
    return Fail(EINVAL);
}

int VirtualKernel::WaitReadable(int fd, std::chrono::milliseconds timeout) {
    const std::optional<OpenFile> file = Find(fd);
    if (!file) return fcntl(fd, F_GETFD) < 0 ? Fail(EBADF) : 1;
    return file->device ? Answer(file->device->WaitReadable(file->node, timeout)) : 1;
}

int VirtualKernel::WaitWritable(int fd, std::chrono::milliseconds timeout) {
    const std::optional<OpenFile> file = Find(fd);
    if (!file) return fcntl(fd, F_GETFD) < 0 ? Fail(EBADF) : 1;
    return file->device ? Answer(file->device->WaitWritable(file->node, timeout)) : 1;
}

int VirtualKernel::System(const char* command) {
    if (!command) return 1;
    const auto lent = [this] {
        const BlockLock lock(block_);
        return block_.card.handed_over || block_.nand.handed_over;
    };
    const bool before = lent();
    const int result = shell_.Run(command);
    if (!before && lent() && Unsynced()) RecordUsbViolation(block_, "a PC that misses what is not written out yet");
    return result;
}

// Between fork and exec nothing of the board can be used; no program of the PC is ever run.
int VirtualKernel::Exec(const char* /*file*/, char* const /*arguments*/[]) {
    return Fail(ENOENT);
}

int VirtualKernel::StatFs(const char* path, struct statfs* result) {
    if (const int error = TakeFault("statfs")) return Fail(error);
    if (Trespass(path)) return Fail(EBUSY);
    if (access(Path(path).c_str(), F_OK) != 0) return -1;
    *result = {};
    result->f_bsize = kBlockSize;
    result->f_blocks = kRootBlocks;
    result->f_bfree = result->f_bavail = kRootBlocks / 2;
    const auto medium = folder_.MediumOf(path);
    if (!medium) return 0;
    result->f_type = kVfatMagic;
    result->f_bfree = result->f_bavail = static_cast<fsblkcnt_t>(folder_.FreeBytes(*medium) / kBlockSize);
    const BlockLock lock(block_);
    result->f_blocks = static_cast<fsblkcnt_t>((block_.*BoardFolder::StateOf(*medium)).capacity_kib);
    return 0;
}

std::timespec VirtualKernel::RealTime() {
    const std::timespec wall = clock_.WallClock();
    std::chrono::nanoseconds now = std::chrono::seconds(wall.tv_sec) + std::chrono::nanoseconds(wall.tv_nsec);
    {
        const BlockLock lock(block_);
        now += std::chrono::nanoseconds(block_.system_offset_ns);
    }
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    std::timespec time{};
    time.tv_sec = static_cast<std::time_t>(seconds.count());
    time.tv_nsec = static_cast<long>((now - seconds).count());
    return time;
}

int VirtualKernel::SetRealTime(const std::timespec& now) {
    if (now.tv_sec < 0 || now.tv_nsec < 0 || now.tv_nsec >= 1000000000) return Fail(EINVAL);
    const std::timespec wall = clock_.WallClock();
    const auto offset =
        std::chrono::seconds(now.tv_sec - wall.tv_sec) + std::chrono::nanoseconds(now.tv_nsec - wall.tv_nsec);
    const BlockLock lock(block_);
    block_.system_offset_ns = std::chrono::nanoseconds(offset).count();
    return 0;
}

std::string VirtualKernel::Path(const std::string& path) {
    if (path == "/dev/null") return path;
    if (Trespass(path)) return kNowhere;
    const auto resolved = folder_.Resolve(path);
    if (!resolved) return path;
    if (!folder_.MediumOf(path)) folder_.Sync();
    return *resolved;
}

void VirtualKernel::FailIoctl(unsigned long request, int nth, int error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    faults_.push_back({"ioctl " + std::to_string(RequestNumber(request)), nth, error});
}

void VirtualKernel::FailOpen(const std::string& path, int nth, int error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    faults_.push_back({"open " + path, nth, error});
}

void VirtualKernel::FailWrite(int nth, int error) {
    const std::lock_guard<std::mutex> guard(mutex_);
    faults_.push_back({"write", nth, error});
}

int VirtualKernel::IoctlCount(unsigned long request) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto count = ioctls_.find(RequestNumber(request));
    return count == ioctls_.end() ? 0 : count->second;
}

int VirtualKernel::OpenCount() const {
    const std::lock_guard<std::mutex> guard(mutex_);
    return static_cast<int>(files_.size());
}

int VirtualKernel::TakeFault(const std::string& call) {
    const std::lock_guard<std::mutex> guard(mutex_);
    for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
        if (fault->call != call || --fault->remaining > 0) continue;
        const int error = fault->error;
        faults_.erase(fault);
        return error;
    }
    return 0;
}

}  // namespace board
