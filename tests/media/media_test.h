// What the tests of this room share: a medium, and clips on it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "media/avilib.h"
#include "tests/media/avi_file.h"
#include "tests/support/fake_kernel.h"

struct AviCloser {
    void operator()(avi_t* avi) const { AVI_close(avi); }
};
using AviHandle = std::unique_ptr<avi_t, AviCloser>;
using Frames = std::vector<std::string>;
using Facts = std::vector<std::int64_t>;  // what some calls answer, one after the other

// Every frame that can be read; none of a file that could not be opened.
inline Frames ReadFrames(avi_t* avi) {
    Frames frames;
    if (!avi) return frames;
    std::string buffer(static_cast<std::size_t>(AVI_max_video_chunk(avi)) + 1, '\0');
    int keyframe = 0;
    for (int i = 0; i < AVI_video_frames(avi); ++i) {
        AVI_set_video_position(avi, i);
        const long bytes = AVI_read_frame(avi, buffer.data(), &keyframe);
        if (bytes >= 0) frames.push_back(buffer.substr(0, static_cast<std::size_t>(bytes)));
    }
    return frames;
}

class MediaTest : public testing::Test {
  protected:
    MediaTest() {
        m_kernel.Put(m_path, "");
        m_kernel.on_statfs = [this](const char*, struct statfs* result) {
            *result = {};
            result->f_bsize = 1024;
            result->f_bavail = static_cast<decltype(result->f_bavail)>(m_freeKib.load());
            return 0;
        };
    }
    std::string Bytes() { return m_kernel.Get(m_path); }
    AviHandle Create(int width = 320, int height = 240, double fps = 25, const char* compressor = "YUY2") {
        AviHandle avi(AVI_open_output_file(m_path.c_str()));
        if (avi) AVI_set_video(avi.get(), width, height, fps, compressor);
        return avi;
    }
    // A clip as the library writes it, or as it lies on the medium before it is finished.
    void Record(const Frames& frames, int width = 4, int height = 2, bool finished = true) {
        AviHandle avi = Create(width, height, 12);
        for (const std::string& frame : frames)
            ASSERT_EQ(AVI_write_frame(avi.get(), frame.c_str(), static_cast<long>(frame.size()), 1), 0);
        const std::string cut = Bytes();
        avi.reset();
        if (!finished) m_kernel.Put(m_path, cut);
    }
    // The frames of the clip, which is finished and without a fault.
    Frames Recorded() {
        const AviFile file(Bytes());
        EXPECT_EQ(file.defect, "");
        return file.frames;
    }
    AviHandle Open(int getIndex = 1) { return AviHandle(AVI_open_input_file(m_path.c_str(), getIndex)); }
    AviHandle Open(const std::string& bytes, int getIndex = 1) {
        m_kernel.Put(m_path, bytes);
        AVI_errno = AVI_ERR_NONE;
        return Open(getIndex);
    }

    support::FakeKernel m_kernel;
    std::atomic<long> m_freeKib{1000000};
    const std::string m_path = "/media/clip.avi";
};
