// What somebody who looks at the machine's LCD would see, and what he should see.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/kernel/virtual_machine.h"

namespace kernel_test {

// The pixel pipeline's settings by name, and the picture it was given last. Read in one go.
struct Pipeline {
    std::map<std::string, unsigned> settings;
    std::vector<std::uint8_t> picture;  // planar 4:2:2, signed chroma, settings' width x height

    unsigned Get(const std::string& name) const;
    // Which of the camera's pictures it is.
    std::uint32_t FrameNumber() const;
};
Pipeline ReadPipeline(VirtualMachine& machine);

// The plane data that picture `number` of the camera gives at the pipeline's size; `coloured` as the camera sent it.
std::vector<std::uint8_t> ExpectedPicture(std::uint32_t number, int width, int height, bool coloured = true);

// Composes the screen as the hardware does from what the machine has, 0xFFRRGGBB.
std::vector<std::uint32_t> Compose(const ScreenPicture& interface, const Pipeline& pipeline);

// The pixels of a YUYV picture, 0xFFRRGGBB; ITU-R BT.601, full range.
std::vector<std::uint32_t> ColoursOf(const std::vector<std::uint8_t>& yuyv);

// What the camera's picture `number` looks like on the screen, from the camera's side: zoomed to width x height, then
// mirrored or flipped.
std::vector<std::uint32_t> SeenFromCamera(std::uint32_t number, int width, int height, bool hflip, bool vflip,
                                          bool half_turn, bool coloured = true);

// Mean absolute difference of a colour component over the pixels where the interface lets the video through.
double MeanDifference(const ScreenPicture& interface, const std::vector<std::uint32_t>& a,
                      const std::vector<std::uint32_t>& b);

// Whether the screen, which lets no video through, looks like the virtual board's reference picture of this name.
bool ShowsReference(const ScreenPicture& interface, const std::string& name);

// Whether the interface covers the live picture: but for single pixels of an icon that happen to have the key's colour.
bool HidesVideo(const ScreenPicture& interface);

// Mean absolute difference of a colour component of two pictures of one size.
double MeanDifference(const std::vector<std::uint32_t>& a, const std::vector<std::uint32_t>& b);

// How many of the screen's pixels have this colour, 0x00RRGGBB.
int CountPixels(const ScreenPicture& interface, std::uint32_t colour);

}  // namespace kernel_test
