// What the camera tells of itself: USB 2.0 chapter 9, and USB Device Class Definition for Video Devices 1.0.
#pragma once

#include <cstdint>
#include <vector>

namespace kernel_test {

struct SetupPacket {
    std::uint8_t request_type, request;
    std::uint16_t value, index, length;  // in the host's byte order once read
};

constexpr std::uint8_t kGetStatus = 0;
constexpr std::uint8_t kClearFeature = 1;
constexpr std::uint8_t kSetFeature = 3;
constexpr std::uint8_t kGetDescriptor = 6;
constexpr std::uint8_t kSetConfiguration = 9;
constexpr std::uint8_t kSetInterface = 11;
// Requests of the video class.
constexpr std::uint8_t kSetCurrent = 0x01;
constexpr std::uint8_t kGetCurrent = 0x81;
constexpr std::uint8_t kGetMinimum = 0x82;
constexpr std::uint8_t kGetMaximum = 0x83;
constexpr std::uint8_t kGetResolution = 0x84;
constexpr std::uint8_t kGetLength = 0x85;
constexpr std::uint8_t kGetInfo = 0x86;
constexpr std::uint8_t kGetDefault = 0x87;

constexpr unsigned kStreamingInterface = 1;
constexpr std::uint8_t kCameraTerminal = 1;
constexpr std::uint8_t kStreamTerminal = 2;
constexpr std::uint8_t kProcessingUnit = 3;

// Probe and commit control, little-endian.
#pragma pack(push, 1)
struct StreamingControl {
    std::uint16_t hint;
    std::uint8_t format_index, frame_index;
    std::uint32_t frame_interval;  // units of 100 ns
    std::uint16_t key_frame_rate, p_frame_rate, quality, window_size, delay;
    std::uint32_t max_frame_size, max_payload;  // bytes
};
#pragma pack(pop)
static_assert(sizeof(StreamingControl) == 26, "as UVC 1.0 has it");

struct FrameSize {
    int width, height;
};

FrameSize SizeOfFrame(int frame_index);
StreamingControl DefaultStreamingControl();
// Makes of what the host asked what the camera does.
void Negotiate(StreamingControl& control);
// `value` as in the request: type and index; false for one the camera does not have.
bool FindDescriptor(unsigned value, std::vector<std::uint8_t>& data);

}  // namespace kernel_test
