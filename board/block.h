// What the board and the program running on it share: one block of memory.
//
// The board's process creates it, the program's process attaches to it by descriptor; in tests both live in one
// process. It holds plain data only, never a pointer.
#pragma once

#include <pthread.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace board {

constexpr int kScreenWidth = 320;
constexpr int kScreenHeight = 240;
// Largest picture the pixel pipeline's buffers hold: 640x480, planar 4:2:2.
constexpr std::size_t kVideoBytes = std::size_t{640} * 480 * 2;
constexpr unsigned kKeyRingSize = 16;
constexpr unsigned kCommandRingSize = 64;
constexpr unsigned kCommandLength = 192;
// The one colour of the user interface through which the video shows.
constexpr std::uint32_t kDefaultChromaKey = 0x010101;

// What can be wrong with the camera; bits of CameraState::faults.
enum CameraFault : std::uint32_t {
    kDqbufStuck = 1U << 0U,       // no frame is ever finished
    kDqbufEio = 1U << 1U,         // taking a frame fails with EIO
    kStreamonRefused = 1U << 2U,  // streaming does not start (ENOSPC, as without USB bandwidth)
    kQbufRefused = 1U << 3U,      // no buffer is taken (EIO)
    kShortFrame = 1U << 4U,       // only half of each frame arrives
    kSizeRefused = 1U << 5U,      // 640x480 is answered with 320x240
    kFormatOther = 1U << 6U,      // YUYV is answered with motion JPEG
    kErrorFlag = 1U << 7U,        // frames are marked as damaged
};
struct CameraFaultName {
    CameraFault fault;
    std::string_view name;
};
constexpr std::array<CameraFaultName, 8> kCameraFaultNames = {{{kDqbufStuck, "dqbuf-stuck"},
                                                               {kDqbufEio, "dqbuf-eio"},
                                                               {kStreamonRefused, "streamon-refused"},
                                                               {kQbufRefused, "qbuf-refused"},
                                                               {kShortFrame, "short-frame"},
                                                               {kSizeRefused, "size-refused"},
                                                               {kFormatOther, "format-other"},
                                                               {kErrorFlag, "error-flag"}}};

struct Rectangle {
    std::int32_t left, top, width, height;
};

struct CameraState {
    bool plugged;
    std::uint32_t generation;  // counts every plugging and unplugging: an open node of an earlier one is dead
    char source[512];          // "scene", "file:PATH" or "/dev/videoN"
    std::uint32_t faults;      // CameraFault bits
    // Outputs.
    bool streaming;
    std::uint32_t width, height, fps;
    std::uint32_t frames;  // delivered since the program started
};

// A medium is an ordinary folder on the PC; its capacity is settable.
struct MediumState {
    bool present;  // in its slot (the NAND store always is)
    bool mounted;
    bool read_only;
    bool handed_over;          // a mass-storage unit offers it to a PC: the program has to keep its hands off it
    std::uint32_t generation;  // counts every change of `present`: files opened before are dead
    std::uint32_t write_ms;    // how long each write to one of its files takes
    std::int64_t capacity_kib;
    std::int64_t reserved_kib;  // of the capacity, taken by nothing that lies in the folder
};

struct PixelPipelineState {
    bool streaming;
    std::uint32_t output;                       // 0: video under the user interface, 1: the user interface alone
    std::uint32_t source_width, source_height;  // the current format: how the queued picture's bytes are read
    std::uint32_t rotation;                     // degrees clockwise: 0, 90, 180, 270
    bool hflip, vflip;
    Rectangle crop;  // where the video appears on the screen
    bool overlay;    // the user interface lies over the video
    bool chroma_key_enabled;
    std::uint32_t chroma_key;  // 0xRRGGBB
};

struct WatchdogState {
    bool armed;
    std::uint32_t timeout_seconds;
    std::int64_t deadline_ns;  // BoardClock::Monotonic time; starved when passed while armed
    std::uint32_t resets;      // counted by whoever resets the program
};

struct KeyRing {
    std::uint32_t head, tail;  // head: next to write; tail: next to read; both count up and wrap
    struct Event {
        std::int32_t virtual_key;
        std::int32_t kind;  // mwin::KeyEvent::Kind
    } events[kKeyRingSize];
};

struct CommandRing {
    std::uint32_t count;  // all commands ever run; the last kCommandRingSize are kept
    struct Command {
        char line[kCommandLength];
        std::int32_t status;  // as system(3) returns it
    } commands[kCommandRingSize];
};

struct Block {
    pthread_mutex_t mutex;

    // Settable by the board.
    CameraState camera;
    MediumState card, nand;
    std::int32_t battery_millivolts;
    bool charger;
    bool usb_host;
    bool tv_cable;
    bool power_off_requested;
    std::int64_t system_offset_ns;  // the board's wall clock minus the PC's
    std::int64_t rtc_offset_s;      // the RTC's fields, read as if UTC, minus the PC's time in seconds since 1970
    std::int64_t boot_offset_s;     // the same, read as the local time that they are: what a power-up sets the clock by

    // Outputs of the devices.
    PixelPipelineState pxp;
    WatchdogState watchdog;
    std::uint8_t lamp;         // PWM value of "led-pwm0"
    std::uint8_t green_led;    // brightness of "Green_LED"
    char usb_units[2][128];    // backing device of each mass-storage unit; empty when there is none
    char lcd_parameters[64];   // first line of /etc/lcdparams
    char display[64];          // the same as it was at Boot: what shows the picture since then
    bool powered_off;          // the program confirmed the power-off; stays until Boot
    std::uint32_t violations;  // uses of the kernel that no correct program makes
    char last_violation[128];
    std::uint32_t usb_violations;  // of them, uses of a medium that was handed over to a PC
    std::int64_t unsynced_bytes;   // written to files since the program last had the file systems written out

    // Pictures.
    std::uint32_t ui_sequence;                       // counts updates
    std::uint32_t ui[kScreenWidth * kScreenHeight];  // 0xAARRGGBB
    std::uint32_t video_sequence;                    // counts queued pictures; 0: none since Boot
    std::uint32_t video_length;                      // bytes valid in `video`
    std::uint8_t video[kVideoBytes];                 // planar 4:2:2, signed chroma

    KeyRing keys;
    CommandRing commands;
};
static_assert(std::is_trivial_v<Block> && std::is_standard_layout_v<Block>, "shared between processes");

// A block in shared memory. The object is one thread's; the block's content belongs to whoever holds its mutex.
class SharedBlock {
  public:
    // A fresh block with a board's usual state. Throws std::system_error when memory is short.
    SharedBlock();
    // Attaches to another process's block; takes `descriptor` over. Throws std::system_error when it is none.
    explicit SharedBlock(int descriptor);
    ~SharedBlock();
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;

    // For passing to another process; closed on exec unless the passer clears that. Owned by this object.
    int Descriptor() const { return descriptor_; }
    Block& operator*() const { return *block_; }
    Block* operator->() const { return block_; }

  private:
    void Map();

    int descriptor_;
    Block* block_ = nullptr;
};

// Holds the block's mutex, also after a process died with it. Never held while sleeping, waiting or calling the
// program.
class BlockLock {
  public:
    explicit BlockLock(Block& block);
    ~BlockLock();
    BlockLock(const BlockLock&) = delete;
    BlockLock& operator=(const BlockLock&) = delete;

  private:
    Block& block_;
};

// The helpers below take the mutex themselves. Thread-safe.

// The devices without power: nothing streams, shines, counts or is offered to a PC. The settable state, the counters of
// resets and violations and the commands' record stay.
void Rest(Block& block);
// What a power-up does before the program starts: devices at rest, no picture, no keys, media mounted.
void Boot(Block& block);
// What the kernel does when the program's process ends: it closes the devices. The picture stays, and the watchdog
// counts on.
void CloseDevices(Block& block);
void PlugCamera(Block& block, bool plugged);
// Changes the source of the picture ("scene", "file:PATH", "/dev/videoN"; see camera_source.h for checking one first).
void SetCameraSource(Block& block, std::string_view source);
// Inserted, a medium is mounted at its place at once, as the device's system does; pulled, it is gone.
void InsertMedium(Block& block, MediumState Block::*medium, bool inserted);
// Queues one key event; false when the ring is full.
bool PushKey(Block& block, int virtual_key, int kind);
void RecordCommand(Block& block, std::string_view line, int status);
void RecordViolation(Block& block, std::string_view what);
// Counts as a violation, too.
void RecordUsbViolation(Block& block, std::string_view what);
// Armed, and not kept alive in time.
bool WatchdogStarved(Block& block, std::chrono::nanoseconds now);

// Copies text into a fixed field, cut to fit and always terminated.
template <std::size_t Size>
void CopyText(char (&field)[Size], std::string_view text) {
    field[text.copy(field, Size - 1)] = '\0';
}

}  // namespace board
