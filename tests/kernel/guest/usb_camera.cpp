// A USB camera for the kernel's own driver: a USB Video Class 1.0 device with YUYV at 320x240 and 640x480, 30 frames a
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
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "tests/kernel/guest/camera_controls.h"
#include "tests/kernel/guest/camera_picture.h"
#include "tests/kernel/guest/usb_video_descriptors.h"

namespace {

using namespace kernel_test;

// USB/IP, protocol version 1.1.1: every field big-endian.
constexpr std::uint32_t kCommandSubmit = 1;
constexpr std::uint32_t kCommandUnlink = 2;
constexpr std::uint32_t kReturnSubmit = 3;
constexpr std::uint32_t kReturnUnlink = 4;
constexpr std::size_t kHeaderWords = 12;
constexpr std::int32_t kStall = -EPIPE;

// A sensor's lines, as in VGA timing: 480 visible ones and the vertical blanking.
constexpr int kAllLines = 525;
constexpr int kBlankLines = 45;

using Header = std::array<std::uint32_t, kHeaderWords>;
enum HeaderWord { kCommand, kSequence, kDevice, kDirection, kEndpoint, kWord5, kWord6, kWord7, kWord8, kWord9, kSetup };

struct IsoPacket {
    std::uint32_t offset, length, actual_length, status;
};

// A request of the driver that is not answered yet.
struct Request {
    std::uint32_t sequence = 0;
    std::uint32_t device = 0;
    std::vector<IsoPacket> packets;
};

std::int64_t NowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
}

class UsbCamera {
  public:
    explicit UsbCamera(int socket) : socket_(socket) {}
    void Run();

  private:
    void Read(void* to, std::size_t size) const;
    void Write(const void* from, std::size_t size) const;
    void ReadRequest();
    void Submit(const Header& header);
    void Unlink(const Header& header);
    void Answer(const Header& header, std::int32_t status, const std::vector<std::uint8_t>& data, bool in) const;
    void Control(const Header& header, const std::vector<std::uint8_t>& sent);
    bool StandardRequest(const SetupPacket& setup, std::vector<std::uint8_t>& data);
    bool VideoRequest(const SetupPacket& setup, const std::vector<std::uint8_t>& sent, std::vector<std::uint8_t>& data);
    void SelectAlternate(int alternate);
    std::int64_t PeriodNs() const { return std::int64_t{commit_.frame_interval} * 100; }
    void BeginFrame();
    void AnswerWithVideo();

    int socket_;
    CameraControls controls_;
    std::deque<Request> waiting_;
    StreamingControl probe_ = DefaultStreamingControl();
    StreamingControl commit_ = DefaultStreamingControl();
    bool streaming_ = false;
    std::int64_t next_frame_ns_ = 0;
    std::uint32_t number_ = 0;
    std::uint8_t frame_id_ = 0;
    std::vector<std::uint8_t> frame_;
    std::size_t sent_ = 0;  // bytes of frame_ that left
};

void UsbCamera::Read(void* to, std::size_t size) const {
    auto* at = static_cast<char*>(to);
    while (size > 0) {
        const ssize_t got = read(socket_, at, size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) std::exit(EXIT_SUCCESS);  // the controller let the device go
        at += got;
        size -= static_cast<std::size_t>(got);
    }
}

void UsbCamera::Write(const void* from, std::size_t size) const {
    const auto* at = static_cast<const char*>(from);
    while (size > 0) {
        const ssize_t put = write(socket_, at, size);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) std::exit(EXIT_SUCCESS);
        at += put;
        size -= static_cast<std::size_t>(put);
    }
}

void UsbCamera::Run() {
    for (;;) {
        const bool sending = streaming_ && !waiting_.empty();
        int timeout_ms = -1;
        if (sending)
            timeout_ms = sent_ < frame_.size()
                             ? 0
                             : static_cast<int>(std::max<std::int64_t>(0, next_frame_ns_ - NowNs() + 999999) / 1000000);
        pollfd ready{socket_, POLLIN, 0};
        if (poll(&ready, 1, timeout_ms) > 0) {
            ReadRequest();
            continue;
        }
        if (!sending) continue;
        if (sent_ == frame_.size() && NowNs() >= next_frame_ns_) BeginFrame();
        if (sent_ < frame_.size()) AnswerWithVideo();
    }
}

void UsbCamera::BeginFrame() {
    const std::int64_t period_ns = PeriodNs();
    next_frame_ns_ = std::max(next_frame_ns_ + period_ns, NowNs() - period_ns);
    const FrameSize size = SizeOfFrame(commit_.frame_index);
    frame_ = CameraPicture(size.width, size.height, ++number_, controls_.IsColoured());
    frame_id_ ^= 1U;
    sent_ = 0;
}

void UsbCamera::AnswerWithVideo() {
    constexpr std::size_t kPayloadHeader = 2;
    constexpr std::uint8_t kEndOfFrame = 2;
    Request request = std::move(waiting_.front());
    waiting_.pop_front();
    std::vector<std::uint8_t> data;
    for (IsoPacket& packet : request.packets) {
        packet.status = 0;
        packet.actual_length = 0;
        if (sent_ == frame_.size() || packet.length <= kPayloadHeader) continue;
        const std::size_t part = std::min<std::size_t>(packet.length - kPayloadHeader, frame_.size() - sent_);
        const bool last = sent_ + part == frame_.size();
        data.push_back(kPayloadHeader);
        data.push_back(static_cast<std::uint8_t>(0x80U | frame_id_ | (last ? kEndOfFrame : 0U)));
        data.insert(data.end(), frame_.begin() + static_cast<std::ptrdiff_t>(sent_),
                    frame_.begin() + static_cast<std::ptrdiff_t>(sent_ + part));
        packet.actual_length = static_cast<std::uint32_t>(part + kPayloadHeader);
        sent_ += part;
        // However late it is: no sensor begins a frame sooner.
        if (last) next_frame_ns_ = std::max(next_frame_ns_, NowNs() + PeriodNs() * kBlankLines / kAllLines);
    }
    Header answer{};
    answer[kCommand] = kReturnSubmit;
    answer[kSequence] = request.sequence;
    answer[kWord6] = static_cast<std::uint32_t>(data.size());
    answer[kWord8] = static_cast<std::uint32_t>(request.packets.size());
    for (std::uint32_t& word : answer)
        word = htobe32(word);
    for (IsoPacket& packet : request.packets)
        packet = {htobe32(packet.offset), htobe32(packet.length), htobe32(packet.actual_length), 0};
    std::vector<std::uint8_t> all(sizeof answer);
    std::memcpy(all.data(), answer.data(), sizeof answer);
    all.insert(all.end(), data.begin(), data.end());
    const auto* packets = reinterpret_cast<const std::uint8_t*>(request.packets.data());
    all.insert(all.end(), packets, packets + request.packets.size() * sizeof(IsoPacket));
    Write(all.data(), all.size());
}

void UsbCamera::ReadRequest() {
    Header header;
    Read(header.data(), sizeof header);
    for (std::size_t i = 0; i < kSetup; ++i)
        header[i] = be32toh(header[i]);
    if (header[kCommand] == kCommandSubmit) {
        Submit(header);
    } else if (header[kCommand] == kCommandUnlink) {
        Unlink(header);
    } else {
        std::fprintf(stderr, "usb_camera: unknown command %u\n", header[kCommand]);
        std::exit(EXIT_FAILURE);
    }
}

void UsbCamera::Submit(const Header& header) {
    const bool in = header[kDirection] != 0;
    std::vector<std::uint8_t> sent(in ? 0 : header[kWord6]);
    Read(sent.data(), sent.size());
    if (header[kEndpoint] == 0) {
        Control(header, sent);
        return;
    }
    Request request{header[kSequence], header[kDevice], {}};
    request.packets.resize(header[kWord8] == 0xFFFFFFFF ? 0 : header[kWord8]);
    Read(request.packets.data(), request.packets.size() * sizeof(IsoPacket));
    for (IsoPacket& packet : request.packets)
        packet = {be32toh(packet.offset), be32toh(packet.length), 0, 0};
    waiting_.push_back(std::move(request));
}

void UsbCamera::Unlink(const Header& header) {
    const auto is_it = [&](const Request& request) { return request.sequence == header[kWord5]; };
    const auto found = std::find_if(waiting_.begin(), waiting_.end(), is_it);
    Header answer{};
    answer[kCommand] = htobe32(kReturnUnlink);
    answer[kSequence] = htobe32(header[kSequence]);
    if (found != waiting_.end()) {
        waiting_.erase(found);
        answer[kWord5] = htobe32(static_cast<std::uint32_t>(-ECONNRESET));
    }
    Write(answer.data(), sizeof answer);
}

void UsbCamera::Answer(const Header& header, std::int32_t status, const std::vector<std::uint8_t>& data,
                       bool in) const {
    Header answer{};
    answer[kCommand] = htobe32(kReturnSubmit);
    answer[kSequence] = htobe32(header[kSequence]);
    answer[kWord5] = htobe32(static_cast<std::uint32_t>(status));
    answer[kWord6] = htobe32(in ? static_cast<std::uint32_t>(data.size()) : header[kWord6]);
    Write(answer.data(), sizeof answer);
    if (in) Write(data.data(), data.size());
}

void UsbCamera::Control(const Header& header, const std::vector<std::uint8_t>& sent) {
    SetupPacket setup;
    static_assert(sizeof setup == 8);
    std::memcpy(&setup, &header[kSetup], sizeof setup);
    setup.value = le16toh(setup.value);
    setup.index = le16toh(setup.index);
    setup.length = le16toh(setup.length);
    std::vector<std::uint8_t> data;
    const bool is_class = (setup.request_type & 0x60U) == 0x20U;
    const bool known = is_class ? VideoRequest(setup, sent, data) : StandardRequest(setup, data);
    data.resize(std::min<std::size_t>(data.size(), setup.length));
    Answer(header, known ? 0 : kStall, data, header[kDirection] != 0);
}

bool UsbCamera::StandardRequest(const SetupPacket& setup, std::vector<std::uint8_t>& data) {
    switch (setup.request) {
        case kGetStatus:
            data = {0, 0};
            return true;
        case kGetDescriptor:
            return FindDescriptor(setup.value, data);
        case kSetInterface:
            if (setup.index == kStreamingInterface) SelectAlternate(setup.value);
            return true;
        case kSetConfiguration:
        case kClearFeature:
        case kSetFeature:
            return true;
        default:
            return false;
    }
}

void UsbCamera::SelectAlternate(int alternate) {
    streaming_ = alternate != 0;
    frame_.clear();
    sent_ = 0;
    next_frame_ns_ = NowNs();
}

bool UsbCamera::VideoRequest(const SetupPacket& setup, const std::vector<std::uint8_t>& sent,
                             std::vector<std::uint8_t>& data) {
    if ((setup.index & 0xFFU) == 0) return controls_.Answer(setup, sent, data);
    const unsigned selector = setup.value >> 8U;
    if ((setup.index & 0xFFU) != kStreamingInterface || (selector != 1 && selector != 2)) return false;
    StreamingControl& control = selector == 1 ? probe_ : commit_;
    if (setup.request == kSetCurrent) {
        if (sent.size() < sizeof control) return false;
        std::memcpy(&control, sent.data(), sizeof control);
        Negotiate(control);
        return true;
    }
    if (setup.request == kGetInfo) {
        data = {3};
    } else if (setup.request == kGetLength) {
        data = {sizeof control, 0};
    } else {
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(&control);
        data.assign(bytes, bytes + sizeof control);
    }
    return true;
}

// What to attach: port, socket, device and speed. A port whose last device was just pulled is busy for a moment.
bool Attach(const std::string& what) {
    const int attach = open("/sys/devices/platform/vhci_hcd.0/attach", O_WRONLY);
    if (attach < 0) return false;
    bool attached = false;
    for (int attempt = 0; attempt < 500 && !attached; ++attempt) {
        attached = write(attach, what.data(), what.size()) >= 0;
        if (!attached && errno != EBUSY) break;
        if (!attached) usleep(10000);
    }
    close(attach);
    return attached;
}

}  // namespace

int main() {
    signal(SIGPIPE, SIG_IGN);
    constexpr int kHighSpeed = 3;
    constexpr int kDeviceId = 0x10002;
    constexpr int kPort = 0;
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0) {
        std::perror("usb_camera: socketpair");
        return EXIT_FAILURE;
    }
    const std::string line = std::to_string(kPort) + " " + std::to_string(sockets[1]) + " " +
                             std::to_string(kDeviceId) + " " + std::to_string(kHighSpeed);
    if (!Attach(line)) {
        std::perror("usb_camera: attach");
        return EXIT_FAILURE;
    }
    close(sockets[1]);
    UsbCamera(sockets[0]).Run();
}
