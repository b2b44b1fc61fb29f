// AVI files for tests: written by the library, or put together byte by byte.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "media/avilib.h"

struct AviCloser {
    void operator()(avi_t* avi) const { AVI_close(avi); }
};
using AviHandle = std::unique_ptr<avi_t, AviCloser>;

inline std::string Le32(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

inline std::string Chunk(const std::string& tag, const std::string& data) {
    return tag + Le32(static_cast<std::uint32_t>(data.size())) + data + std::string(data.size() & 1, '\0');
}

inline std::string List(const std::string& type, const std::string& data) {
    return Chunk("LIST", type + data);
}

// A stream list: header of kind "vids" or "auds" and its format.
inline std::string Stream(const std::string& kind, const std::string& format, std::uint32_t scale = 1,
                          std::uint32_t rate = 25, std::uint32_t length = 0) {
    const std::string header = kind + "YUY2" + std::string(12, '\0') + Le32(scale) + Le32(rate) + Le32(0) +
                               Le32(length) + std::string(20, '\0');
    return List("strl", Chunk("strh", header) + Chunk("strf", format));
}

inline std::string BitmapFormat(std::uint32_t width, std::uint32_t height) {
    return Le32(40) + Le32(width) + Le32(height) + std::string(4, '\0') + "YUY2" + std::string(20, '\0');
}

inline std::string IndexRecord(const std::string& tag, std::uint32_t flags, std::uint32_t offset,
                               std::uint32_t length) {
    return tag + Le32(flags) + Le32(offset) + Le32(length);
}

inline std::string Riff(const std::string& chunks) {
    return "RIFF" + Le32(static_cast<std::uint32_t>(chunks.size() + 4)) + "AVI " + chunks;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline std::uint32_t Read32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + i));
    return value;
}

// Every frame of a file as text; what a broken frame gives is left out.
inline std::vector<std::string> ReadFrames(avi_t* avi) {
    std::vector<std::string> frames;
    std::string buffer(static_cast<std::size_t>(AVI_max_video_chunk(avi)) + 1, '\0');
    int keyframe = 0;
    for (int i = 0; i < AVI_video_frames(avi); ++i) {
        AVI_set_video_position(avi, i);
        const long bytes = AVI_read_frame(avi, buffer.data(), &keyframe);
        if (bytes >= 0) frames.push_back(buffer.substr(0, static_cast<std::size_t>(bytes)));
    }
    return frames;
}
