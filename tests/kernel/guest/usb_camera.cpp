// A USB camera for the kernel's own driver: a USB Video Class 1.0 device with YUYV at 640x480 and 320x240, 30 frames a
// second, attached to the kernel's virtual host controller over USB/IP. The end of this process is the plug pulled out.
#include <endian.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "tests/kernel/guest/camera_picture.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// What the camera tells of itself, in hexadecimal: USB 2.0 chapter 9, and USB Device Class Definition for Video Devices
// 1.0. It has no name of its own; the driver calls it "UVC Camera".
constexpr char kDevice[] = "12 01 0002 ef0201 40 6b1d 0201 0001 00 00 00 01";
constexpr char kConfiguration[] =
    "09 02 c500 02 01 00 80 fa"                                            // the 197 bytes of all below, two interfaces
    "08 0b 00 02 0e0300 00"                                                // that belong together
    "09 04 00 00 00 0e0100 00"                                             // control:
    "0d 24 01 0001 2700 006cdc02 01 01"                                    // UVC 1.0, 39 bytes, 48 MHz
    "11 24 02 01 0102 00 00 0000 0000 0000 02 0000"                        // a camera without adjustments,
    "09 24 03 03 0101 00 01 00"                                            // and its way to the host
    "09 04 01 00 00 0e0200 00"                                             // streaming at rest: no bandwidth
    "0e 24 01 01 6b00 81 00 03 00 00 00 01 00"                             // 107 bytes:
    "1b 24 04 01 02 59555932 00001000 800000aa00389b71 10 01 00 00 00 00"  // YUY2 in two sizes, at 30 frames a second
    "1e 24 05 01 00 8002 e001 0000ca08 0000ca08 00600900 15160500 01 15160500"
    "1e 24 05 02 00 4001 f000 00803202 00803202 00580200 15160500 01 15160500"
    "06 24 0d 01 01 04"         // BT.709 primaries and gamma, SMPTE 170M matrix
    "09 04 01 01 01 0e0200 00"  // streaming, with three packets of 1024 bytes in every microframe
    "07 05 81 05 0014 01";
constexpr int kSizes[][2] = {{640, 480}, {320, 240}};
constexpr std::int64_t kPeriodNs = 33333300;
// A sensor's lines, as in VGA timing: 480 visible ones and the vertical blanking.
constexpr int kAllLines = 525;
constexpr int kBlankLines = 45;

Bytes FromHex(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

// Requests of the standard and of the video class.
enum : std::uint8_t { kGetDescriptor = 6, kSetInterface = 11, kSetCurrent = 0x01, kGetLength = 0x85, kGetInfo = 0x86 };

// USB/IP, protocol version 1.1.1: every field but the set-up packet big-endian.
enum Command : std::uint32_t { kSubmit = 1, kUnlink, kSubmitted, kUnlinked };
enum Word { kCommand, kSequence, kDirection = 3, kEndpoint, kStatus, kLength, kPackets = 8, kSetup = 10, kWords = 12 };

struct Setup {
    std::uint8_t type, request;
    std::uint16_t value, index, length;
};

struct Packet {
    std::uint32_t offset, length, actual_length, status;
};

// A request for pictures that is not answered yet.
struct Waiting {
    std::uint32_t sequence;
    std::vector<Packet> packets;
};

// The camera's answer to what the host proposes, little-endian.
struct __attribute__((packed)) StreamingControl {
    std::uint16_t hint = 0;
    std::uint8_t format = 1, frame = 1;
    std::uint32_t interval = 333333;  // units of 100 ns
    std::uint16_t rates[5] = {};
    std::uint32_t frame_bytes = 640 * 480 * 2, payload_bytes = 3 * 1024;
};
static_assert(sizeof(StreamingControl) == 26, "as UVC 1.0 has it");

std::int64_t NowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

class UsbCamera {
  public:
    explicit UsbCamera(int socket) : socket_(socket) {}
    [[noreturn]] void Run();

  private:
    void Read(void* to, std::size_t size) const;
    void Reply(Command command, std::uint32_t sequence, int status, std::size_t length, const Bytes& data = {},
               std::size_t packets = 0) const;
    void ReadRequest();
    bool Control(const Setup& setup, const Bytes& sent, Bytes& data);
    void BeginFrame();
    void SendVideo();

    int socket_;
    std::deque<Waiting> waiting_;
    StreamingControl control_;
    bool streaming_ = false;
    std::int64_t next_frame_ns_ = 0;
    std::uint32_t number_ = 0;
    std::uint8_t frame_id_ = 0;
    Bytes drawn_[2][kernel_test::kPictures];
    Bytes frame_;
    std::size_t sent_ = 0;  // bytes of frame_ that left
};

void UsbCamera::Read(void* to, std::size_t size) const {
    // Otherwise the controller let the device go.
    if (size > 0 && recv(socket_, to, size, MSG_WAITALL) != static_cast<ssize_t>(size)) std::exit(EXIT_SUCCESS);
}

void UsbCamera::Reply(Command command, std::uint32_t sequence, int status, std::size_t length, const Bytes& data,
                      std::size_t packets) const {
    std::array<std::uint32_t, kWords> header{};
    header[kCommand] = htobe32(command);
    header[kSequence] = htobe32(sequence);
    header[kStatus] = htobe32(static_cast<std::uint32_t>(status));
    header[kLength] = htobe32(static_cast<std::uint32_t>(length));
    header[kPackets] = htobe32(static_cast<std::uint32_t>(packets));
    Bytes all(sizeof header);
    std::memcpy(all.data(), header.data(), sizeof header);
    all.insert(all.end(), data.begin(), data.end());
    if (send(socket_, all.data(), all.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(all.size()))
        std::exit(EXIT_SUCCESS);
}

void UsbCamera::Run() {
    for (;;) {
        const bool sending = streaming_ && !waiting_.empty();
        int timeout_ms = sending ? 0 : -1;
        if (sending && sent_ == frame_.size())
            timeout_ms = static_cast<int>(std::max<std::int64_t>(0, next_frame_ns_ - NowNs() + 999999) / 1000000);
        pollfd ready{socket_, POLLIN, 0};
        if (poll(&ready, 1, timeout_ms) > 0) {
            ReadRequest();
        } else if (sending) {
            if (sent_ == frame_.size() && NowNs() >= next_frame_ns_) BeginFrame();
            if (sent_ < frame_.size()) SendVideo();
        }
    }
}

void UsbCamera::BeginFrame() {
    next_frame_ns_ = std::max(next_frame_ns_ + kPeriodNs, NowNs() - kPeriodNs);
    const auto& [width, height] = kSizes[control_.frame - 1];
    // Drawing takes more of the machine's time than all else: each picture is drawn once.
    Bytes& drawn = drawn_[control_.frame - 1][++number_ % kernel_test::kPictures];
    if (drawn.empty()) drawn = kernel_test::CameraPicture(width, height, number_);
    kernel_test::WriteNumber(drawn, width, height, number_);
    frame_ = drawn;
    frame_id_ ^= 1U;
    sent_ = 0;
}

void UsbCamera::SendVideo() {
    constexpr std::size_t kPayloadHeader = 2;
    constexpr std::uint8_t kEndOfFrame = 2;
    Waiting request = std::move(waiting_.front());
    waiting_.pop_front();
    Bytes data;
    for (Packet& packet : request.packets) {
        const std::size_t room = be32toh(packet.length);
        packet.actual_length = packet.status = 0;
        if (sent_ == frame_.size() || room <= kPayloadHeader) continue;
        const std::size_t part = std::min(room - kPayloadHeader, frame_.size() - sent_);
        const bool last = sent_ + part == frame_.size();
        data.push_back(kPayloadHeader);
        data.push_back(static_cast<std::uint8_t>(0x80U | frame_id_ | (last ? kEndOfFrame : 0U)));
        const auto from = frame_.begin() + static_cast<std::ptrdiff_t>(sent_);
        data.insert(data.end(), from, from + static_cast<std::ptrdiff_t>(part));
        packet.actual_length = htobe32(static_cast<std::uint32_t>(part + kPayloadHeader));
        sent_ += part;
        // However late it is: no sensor begins a frame sooner.
        if (last) next_frame_ns_ = std::max(next_frame_ns_, NowNs() + kPeriodNs * kBlankLines / kAllLines);
    }
    const std::size_t length = data.size();
    const auto* packets = reinterpret_cast<const std::uint8_t*>(request.packets.data());
    data.insert(data.end(), packets, packets + request.packets.size() * sizeof(Packet));
    Reply(kSubmitted, request.sequence, 0, length, data, request.packets.size());
}

void UsbCamera::ReadRequest() {
    std::array<std::uint32_t, kWords> header;
    Read(header.data(), sizeof header);
    const auto word = [&](Word which) { return be32toh(header[which]); };
    const std::uint32_t sequence = word(kSequence);
    if (word(kCommand) == kUnlink) {
        const std::uint32_t unlinked = word(kStatus);  // at this place
        const auto found = std::find_if(waiting_.begin(), waiting_.end(),
                                        [&](const Waiting& request) { return request.sequence == unlinked; });
        Reply(kUnlinked, sequence, found != waiting_.end() ? -ECONNRESET : 0, 0);
        if (found != waiting_.end()) waiting_.erase(found);
        return;
    }
    const bool in = word(kDirection) != 0;
    Bytes sent(in ? 0 : word(kLength));
    Read(sent.data(), sent.size());
    if (word(kEndpoint) != 0) {
        waiting_.push_back({sequence, std::vector<Packet>(word(kPackets))});
        Read(waiting_.back().packets.data(), waiting_.back().packets.size() * sizeof(Packet));
        return;
    }
    Setup setup;
    std::memcpy(&setup, &header[kSetup], sizeof setup);
    Bytes data;
    const int status = Control(setup, sent, data) ? 0 : -EPIPE;
    data.resize(std::min<std::size_t>(data.size(), setup.length));
    Reply(kSubmitted, sequence, status, in ? data.size() : sent.size(), data);
}

// False for a request that the camera does not know.
bool UsbCamera::Control(const Setup& setup, const Bytes& sent, Bytes& data) {
    constexpr std::uint8_t kStreaming = 1;  // the interface
    const bool is_class = (setup.type & 0x60U) == 0x20U;
    if (is_class) {
        if (setup.index != kStreaming) return false;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&control_);
        if (setup.request == kSetCurrent) {
            control_.frame = std::clamp<std::uint8_t>(sent.at(3), 1, 2);
            const auto& [width, height] = kSizes[control_.frame - 1];
            control_.frame_bytes = static_cast<std::uint32_t>(width * height * 2);
        } else if (setup.request == kGetLength) {
            data = {sizeof control_, 0};
        } else if (setup.request == kGetInfo) {
            data = {3};
        } else {
            data.assign(bytes, bytes + sizeof control_);
        }
    } else if (setup.request == kGetDescriptor) {
        const int type = setup.value >> 8U;
        data = FromHex(type == 1 ? kDevice : type == 2 ? kConfiguration : "");
        return !data.empty();
    } else if (setup.request == kSetInterface && setup.index == kStreaming) {
        streaming_ = setup.value != 0;
        frame_.clear();
        sent_ = 0;
        next_frame_ns_ = NowNs();
    } else {
        data = {0, 0};  // its status, if it was asked for
    }
    return true;
}

// What to attach: port, socket, device and speed. A port whose last device was just pulled is busy for a moment.
bool Attach(const std::string& what) {
    const int attach = open("/sys/devices/platform/vhci_hcd.0/attach", O_WRONLY);
    for (int attempt = 0; attempt < 500; ++attempt) {
        if (write(attach, what.data(), what.size()) >= 0) return close(attach) == 0;
        if (errno != EBUSY) break;
        usleep(10000);
    }
    return false;
}

}  // namespace

int main() {
    constexpr char kHighSpeed[] = " 65538 3";
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0 || !Attach("0 " + std::to_string(sockets[1]) + kHighSpeed)) {
        std::perror("usb_camera");
        return EXIT_FAILURE;
    }
    close(sockets[1]);
    UsbCamera(sockets[0]).Run();
}
