// Opens any bytes as an AVI file and reads all that is in it, by the library and as the player and the browser do.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "media/avilib.h"
#include "media/clip_frame.h"
#include "media/varno_avi_reader.h"
#include "sys/kernel_linux.h"

namespace {

int MemoryFile(const std::uint8_t* data, std::size_t size) {
    const int fd = memfd_create("avi", MFD_CLOEXEC);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    return fd;
}

// A ninth audio track ends the process, and is meant to.
bool HasTooManyTracks(const std::uint8_t* data, std::size_t size) {
    static constexpr char kAudio[] = "AUDS";
    int tracks = 0;
    for (std::size_t i = 0; i + 4 <= size; ++i) {
        if (std::equal(kAudio, kAudio + 4, data + i, [](char a, std::uint8_t b) { return a == std::toupper(b); }))
            ++tracks;
    }
    return tracks > AVI_MAX_TRACKS;
}

void ReadFrames(avi_t* avi, std::vector<char>& buffer) {
    int keyframe = 0;
    for (int i = 0; i < AVI_video_frames(avi); ++i) {
        if (AVI_frame_size(avi, i) > AVI_max_video_chunk(avi)) std::abort();
        if (AVI_read_frame(avi, buffer.data(), &keyframe) < 0) std::abort();  // all of it lies within the file
    }
    if (AVI_read_frame(avi, buffer.data(), &keyframe) != -1) std::abort();
}

void ReadAudio(avi_t* avi) {
    char buffer[16];
    for (int track = 0; track < AVI_audio_tracks(avi); ++track) {
        AVI_set_audio_track(avi, track);
        AVI_set_audio_position(avi, AVI_audio_bytes(avi) / 2);
        while (AVI_read_audio(avi, buffer, sizeof buffer) > 0) {
        }
    }
}

// Every frame of the clip (a few hundred), and its thumbnail.
void ShowClip(const std::uint8_t* data, std::size_t size, bool index) {
    constexpr int kFrames = 300;
    const int fd = MemoryFile(data, size);
    const std::unique_ptr<CVarnoAVIReader> reader(
        CVarnoAVIReader::CreateNew("/proc/self/fd/" + std::to_string(fd), Varno_PIX_FMT_YUYV422, index));
    close(fd);
    const auto frame = reader ? ClipFrame::CreateNew(*reader) : nullptr;
    if (!frame) return;
    frame->ReadFirst(*reader);
    for (int i = 0; index && i < std::min(reader->GetTotalFrames(), kFrames); ++i) {
        reader->SetFramePosition(i);
        if (!frame->ReadNext(*reader) || frame->Picture() == nullptr) std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    static Varno::LinuxKernel kernel;
    Varno::InstallKernel(kernel);
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (HasTooManyTracks(data, size)) return 0;
    for (const int getIndex : {1, 0}) {
        avi_t* avi = AVI_open_fd(MemoryFile(data, size), getIndex);
        if (!avi) continue;
        if (AVI_max_video_chunk(avi) > static_cast<long>(size) && getIndex) std::abort();
        std::vector<char> buffer(size + 1);
        if (getIndex) {
            ReadFrames(avi, buffer);
            ReadAudio(avi);
        }
        AVI_seek_start(avi);
        std::vector<char> sound(size + 1);
        const auto room = static_cast<long>(size);
        long length = 0;
        while (AVI_read_data(avi, buffer.data(), room, sound.data(), room, &length) > 0) {
        }
        AVI_close(avi);
        ShowClip(data, size, getIndex != 0);
    }
    return 0;
}
