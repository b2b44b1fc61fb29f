#include "tests/kernel/guest/usb_video_descriptors.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace kernel_test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr FrameSize kFrames[] = {{640, 480}, {320, 240}};
constexpr unsigned kFrameCount = 2;
constexpr std::uint32_t kFrameInterval = 333333;
constexpr unsigned kPacketBytes = 1024;
constexpr unsigned kPacketsPerMicroframe = 3;
constexpr std::uint8_t kEndpoint = 0x81;

void Append(Bytes& to, const Bytes& from) {
    std::copy(from.begin(), from.end(), std::back_inserter(to));
}
std::uint8_t Byte(std::uint32_t value, unsigned at) {
    return static_cast<std::uint8_t>(value >> (8 * at));
}
Bytes Little(std::uint32_t value, unsigned bytes) {
    Bytes result;
    for (unsigned i = 0; i < bytes; ++i)
        result.push_back(Byte(value, i));
    return result;
}
std::uint32_t FrameBytes(const FrameSize& size) {
    return static_cast<std::uint32_t>(size.width * size.height * 2);
}

Bytes FrameDescriptor(std::uint8_t index) {
    const FrameSize size = SizeOfFrame(index);
    const std::uint32_t rate = FrameBytes(size) * 8 * 30;
    Bytes frame{30, 0x24, 0x05, index, 0};
    Append(frame, Little(static_cast<std::uint32_t>(size.width), 2));
    Append(frame, Little(static_cast<std::uint32_t>(size.height), 2));
    Append(frame, Little(rate, 4));
    Append(frame, Little(rate, 4));
    Append(frame, Little(FrameBytes(size), 4));
    Append(frame, Little(kFrameInterval, 4));
    frame.push_back(1);  // one discrete interval
    Append(frame, Little(kFrameInterval, 4));
    return frame;
}

Bytes ControlInterface() {
    constexpr std::uint8_t kExposureMode = 0x02;
    constexpr std::uint8_t kBrightnessAndSaturation = 0x09;
    Bytes all{8, 11, 0, 2, 0x0E, 3, 0, 0};                                  // both interfaces belong together
    Append(all, {9, 4, 0, 0, 0, 0x0E, 1, 0, 0});                            // video control
    Append(all, {13, 0x24, 1, 0x00, 0x01, 50, 0, 0, 0x6C, 0xDC, 2, 1, 1});  // UVC 1.0, 50 bytes, 48 MHz
    Append(all, {17, 0x24, 2, kCameraTerminal, 0x01, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 2, kExposureMode, 0});
    Append(all, {11, 0x24, 5, kProcessingUnit, kCameraTerminal, 0, 0, 2, kBrightnessAndSaturation, 0, 0});
    Append(all, {9, 0x24, 3, kStreamTerminal, 0x01, 0x01, 0, kProcessingUnit, 0});
    return all;
}

Bytes StreamingInterface() {
    Bytes all{9, 4, kStreamingInterface, 0, 0, 0x0E, 2, 0, 0};  // at rest: no bandwidth
    Bytes formats{27, 0x24, 4, 1, kFrameCount};
    Append(formats, {'Y', 'U', 'Y', '2', 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71});
    Append(formats, {16, 1, 0, 0, 0, 0});
    for (std::uint8_t i = 1; i <= kFrameCount; ++i)
        Append(formats, FrameDescriptor(i));
    Append(formats, {6, 0x24, 13, 1, 1, 4});  // BT.709 primaries and gamma, SMPTE 170M matrix
    Bytes header{14, 0x24, 1, 1};
    Append(header, Little(static_cast<std::uint32_t>(14 + formats.size()), 2));
    Append(header, {kEndpoint, 0, kStreamTerminal, 0, 0, 0, 1, 0});
    Append(all, header);
    Append(all, formats);
    Append(all, {9, 4, kStreamingInterface, 1, 1, 0x0E, 2, 0, 0});
    const unsigned packet = kPacketBytes | (kPacketsPerMicroframe - 1) << 11U;
    Append(all, {7, 5, kEndpoint, 0x05, Byte(packet, 0), Byte(packet, 1), 1});
    return all;
}

Bytes Configuration() {
    Bytes all = ControlInterface();
    Append(all, StreamingInterface());
    Bytes configuration{9, 2};
    Append(configuration, Little(static_cast<std::uint32_t>(all.size() + 9), 2));
    Append(configuration, {2, 1, 0, 0x80, 250});
    Append(configuration, all);
    return configuration;
}

Bytes String(const std::string& text) {
    Bytes descriptor{static_cast<std::uint8_t>(2 + 2 * text.size()), 3};
    for (const char letter : text)
        Append(descriptor, {static_cast<std::uint8_t>(letter), 0});
    return descriptor;
}

}  // namespace

FrameSize SizeOfFrame(int frame_index) {
    return kFrames[std::clamp(frame_index, 1, static_cast<int>(kFrameCount)) - 1];
}

StreamingControl DefaultStreamingControl() {
    StreamingControl control{};
    control.format_index = 1;
    control.frame_index = 1;
    Negotiate(control);
    return control;
}

void Negotiate(StreamingControl& control) {
    control.format_index = 1;
    control.frame_index = static_cast<std::uint8_t>(std::clamp<unsigned>(control.frame_index, 1, kFrameCount));
    control.frame_interval = kFrameInterval;
    control.max_frame_size = FrameBytes(SizeOfFrame(control.frame_index));
    control.max_payload = kPacketBytes * kPacketsPerMicroframe;
}

bool FindDescriptor(unsigned value, std::vector<std::uint8_t>& data) {
    switch (value >> 8U) {
        case 1:  // device: USB 2.0, miscellaneous class with interface association
            data = {18, 1, 0, 2, 0xEF, 2, 1, 64, 0x6B, 0x1D, 0x02, 0x01, 0, 1, 1, 2, 0, 1};
            return true;
        case 2:
            data = Configuration();
            return true;
        case 3:
            if ((value & 0xFFU) == 0) {
                data = {4, 3, 0x09, 0x04};
            } else {
                data = String((value & 0xFFU) == 1 ? "Varno" : "Probe Camera");
            }
            return true;
        case 6:  // device qualifier
            data = {10, 6, 0, 2, 0xEF, 2, 1, 64, 1, 0};
            return true;
        default:
            return false;
    }
}

}  // namespace kernel_test
