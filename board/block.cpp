#include "board/block.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <system_error>

namespace board {
namespace {

constexpr std::int64_t kDefaultCardKib = std::int64_t{4} * 1024 * 1024;
constexpr std::int64_t kDefaultNandKib = std::int64_t{256} * 1024;

[[noreturn]] void Fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void InitMutex(pthread_mutex_t& mutex) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

PixelPipelineState PipelineAtRest() {
    PixelPipelineState pxp{};
    pxp.source_width = kScreenWidth;
    pxp.source_height = kScreenHeight;
    pxp.crop = {0, 0, kScreenWidth, kScreenHeight};
    pxp.chroma_key = kDefaultChromaKey;
    return pxp;
}

}  // namespace

SharedBlock::SharedBlock() : descriptor_(memfd_create("board", MFD_CLOEXEC)) {
    if (descriptor_ < 0 || ftruncate(descriptor_, sizeof(Block)) < 0) Fail("board memory");
    Map();
    Block& block = *block_;
    InitMutex(block.mutex);
    block.camera.plugged = true;
    CopyText(block.camera.source, "scene");
    block.card.present = block.nand.present = true;
    block.card.capacity_kib = kDefaultCardKib;
    block.nand.capacity_kib = kDefaultNandKib;
    block.battery_millivolts = 2046;
    CopyText(block.lcd_parameters, "lcd_panel=ili9341");
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    block.rtc_offset_s = localtime_r(&now, &local)->tm_gmtoff;
    Boot(block);
}

SharedBlock::SharedBlock(int descriptor) : descriptor_(descriptor) {
    struct stat status {};
    if (fstat(descriptor_, &status) < 0) Fail("board memory");
    if (static_cast<std::size_t>(status.st_size) != sizeof(Block)) {
        errno = EINVAL;
        Fail("board memory");
    }
    Map();
}

void SharedBlock::Map() {
    void* memory = mmap(nullptr, sizeof(Block), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor_, 0);
    if (memory == MAP_FAILED) Fail("board memory");
    block_ = static_cast<Block*>(memory);
}

SharedBlock::~SharedBlock() {
    if (block_) munmap(block_, sizeof(Block));
    if (descriptor_ >= 0) close(descriptor_);
}

BlockLock::BlockLock(Block& block) : block_(block) {
    // Every field is plain data: whatever a dead process left behind can be used.
    if (pthread_mutex_lock(&block_.mutex) == EOWNERDEAD) pthread_mutex_consistent(&block_.mutex);
}

BlockLock::~BlockLock() {
    pthread_mutex_unlock(&block_.mutex);
}

void Rest(Block& block) {
    const BlockLock lock(block);
    block.camera.streaming = false;
    block.camera.width = block.camera.height = block.camera.fps = block.camera.frames = 0;
    block.pxp = PipelineAtRest();
    const std::uint32_t resets = block.watchdog.resets;
    block.watchdog = {};
    block.watchdog.resets = resets;
    block.lamp = block.green_led = 0;
    block.usb_units[0][0] = block.usb_units[1][0] = '\0';
    block.card.handed_over = block.nand.handed_over = false;
    block.power_off_requested = false;
}

void Boot(Block& block) {
    Rest(block);
    const BlockLock lock(block);
    block.card.mounted = block.card.present;
    block.nand.mounted = block.nand.present;
    block.powered_off = false;
    block.system_offset_ns = block.boot_offset_s * 1000000000;
    CopyText(block.display, block.lcd_parameters);
    block.video_sequence = block.video_length = 0;
    block.keys = {};
    for (std::uint32_t& pixel : block.ui)
        pixel = 0;
    ++block.ui_sequence;
}

void CloseDevices(Block& block) {
    const BlockLock lock(block);
    block.camera.streaming = block.pxp.streaming = false;
}

void PlugCamera(Block& block, bool plugged) {
    const BlockLock lock(block);
    if (block.camera.plugged == plugged) return;
    block.camera.plugged = plugged;
    ++block.camera.generation;
    block.camera.streaming = false;
}

void SetCameraSource(Block& block, std::string_view source) {
    const BlockLock lock(block);
    CopyText(block.camera.source, source);
}

void InsertMedium(Block& block, MediumState Block::*medium, bool inserted) {
    const BlockLock lock(block);
    MediumState& state = block.*medium;
    if (state.present == inserted) return;
    state.present = state.mounted = inserted;
    // A unit that offered the medium before has lost it; another one in its place is not the unit's.
    state.handed_over = false;
    ++state.generation;
}

bool PushKey(Block& block, int virtual_key, int kind) {
    const BlockLock lock(block);
    KeyRing& keys = block.keys;
    if (keys.head - keys.tail >= kKeyRingSize) return false;
    keys.events[keys.head++ % kKeyRingSize] = {virtual_key, kind};
    return true;
}

void RecordCommand(Block& block, std::string_view line, int status) {
    const BlockLock lock(block);
    CommandRing::Command& command = block.commands.commands[block.commands.count++ % kCommandRingSize];
    CopyText(command.line, line);
    command.status = status;
}

void RecordViolation(Block& block, std::string_view what) {
    const BlockLock lock(block);
    ++block.violations;
    CopyText(block.last_violation, what);
}

void RecordUsbViolation(Block& block, std::string_view what) {
    RecordViolation(block, what);
    const BlockLock lock(block);
    ++block.usb_violations;
}

bool WatchdogStarved(Block& block, std::chrono::nanoseconds now) {
    const BlockLock lock(block);
    return block.watchdog.armed && now.count() > block.watchdog.deadline_ns;
}

}  // namespace board
