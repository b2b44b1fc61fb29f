#include "media/varno_avi_saver.h"

#include <thread>

#include "tests/media/avi_file.h"
#include "tests/media/test_kernel.h"

namespace {

constexpr int kFrameBytes = 16 * 8 * 2;
constexpr int kQueueSlots = 15;

class AviSaverTest : public MediaTest {
  protected:
    AviSaverTest() { testing::internal::CaptureStdout(); }
    ~AviSaverTest() override {
        if (m_saver) Printed();
    }

    std::string Printed() {
        m_saver.reset();
        return testing::internal::GetCapturedStdout();
    }
    static std::string Frame(int i) { return std::string(kFrameBytes, static_cast<char>('A' + i % 26)); }
    // Hands over one frame and waits until the writer has seen it.
    void AddAndWait(int i) {
        const int before = m_kernel.m_writes;
        std::string frame = Frame(i);
        m_saver->AddFrame(frame.data(), kFrameBytes);
        while (m_kernel.m_writes == before && m_saver->IsRecording())
            std::this_thread::yield();
    }
    std::vector<std::string> Frames(double* fps = nullptr) {
        const AviHandle avi(AVI_open_input_file(m_path.c_str(), 1));
        if (!avi) return {};
        if (fps) *fps = AVI_frame_rate(avi.get());
        return ReadFrames(avi.get());
    }
    void WaitForEnd() {
        while (m_saver->IsRecording())
            std::this_thread::yield();
    }

    const std::string m_path = File("clip.avi");
    std::unique_ptr<CVarnoAVISaver> m_saver{CVarnoAVISaver::CreateNew(16, 8)};
};

TEST_F(AviSaverTest, RecordsAtTheMeasuredRate) {
    const struct {
        int frames;
        int seconds;
        double fps;
    } cases[] = {{3, 0, 25}, {123, 10, 12}, {5, 10, 0}, {0, 10, 25}};
    for (const auto& test : cases) {
        SCOPED_TRACE(std::to_string(test.frames) + " frames");
        EXPECT_FALSE(m_saver->IsRecording());
        ASSERT_TRUE(m_saver->StartRecord(m_path.c_str(), 30));
        EXPECT_TRUE(m_saver->IsRecording());
        const int syncs = m_kernel.m_syncs;
        for (int i = 0; i < test.frames; ++i)
            AddAndWait(i);
        m_kernel.m_now += test.seconds;
        m_saver->StopRecord();
        EXPECT_FALSE(m_saver->IsRecording());
        EXPECT_EQ(m_kernel.m_syncs - syncs, test.frames / 15);
        if (test.frames == 0) {
            EXPECT_EQ(ReadFile(m_path).size(), 2056U);
            continue;
        }
        double fps = -1;
        const std::vector<std::string> frames = Frames(&fps);
        ASSERT_EQ(frames.size(), static_cast<std::size_t>(test.frames));
        for (int i = 0; i < test.frames; ++i)
            ASSERT_EQ(frames[static_cast<std::size_t>(i)], Frame(i));
        EXPECT_EQ(fps, test.fps);
        // The first frame is no key frame, all others are.
        const std::string index =
            ReadFile(m_path).substr(2048 + static_cast<std::size_t>(test.frames) * (8 + kFrameBytes) + 8);
        for (int i = 0; i < test.frames; ++i)
            EXPECT_EQ(Read32(index, static_cast<std::size_t>(i) * 16 + 4), i ? 0x10U : 0U);
    }
    const std::string printed = Printed();
    for (const char* line : {"Enter CVarnoAVISaver::thread_proc()\n", "123 / 10 = 12.000000\n", "5 / 10 = 0.000000\n",
                             "Exit CVarnoAVISaver::thread_proc()\n", "Added 123 frames, Writed 123 frames\n",
                             "CVarnoAVISaver::~CVarnoAVISaver\n"}) {
        EXPECT_NE(printed.find(line), std::string::npos) << line;
    }
    EXPECT_NE(printed.find("Start record avi file " + m_path + "\n"), std::string::npos);
    EXPECT_EQ(m_kernel.m_commands.back(), "echo 1 > /proc/sys/vm/drop_caches");
}

TEST_F(AviSaverTest, StopWritesWhatIsQueuedAndNothingElse) {
    std::string early = Frame(25);
    m_saver->AddFrame(early.data(), kFrameBytes);
    ASSERT_TRUE(m_saver->StartRecord(m_path.c_str(), 30));
    std::string empty;
    m_saver->AddFrame(empty.data(), 0);
    m_saver->AddFrame(nullptr, kFrameBytes);
    for (int i = 0; i < kQueueSlots; ++i) {
        std::string frame = Frame(i);
        m_saver->AddFrame(frame.data(), kFrameBytes);
    }
    m_saver->StopRecord();
    m_saver->AddFrame(early.data(), kFrameBytes);
    const std::vector<std::string> frames = Frames();
    ASSERT_EQ(frames.size(), static_cast<std::size_t>(kQueueSlots));
    for (int i = 0; i < kQueueSlots; ++i)
        EXPECT_EQ(frames[static_cast<std::size_t>(i)], Frame(i));
    // Starting anew ends what runs.
    ASSERT_TRUE(m_saver->StartRecord(m_path.c_str(), 30));
    AddAndWait(0);
    ASSERT_TRUE(m_saver->StartRecord(File("other.avi").c_str(), 30));
    EXPECT_EQ(Frames().size(), 1U);
}

TEST_F(AviSaverTest, EndsByItselfWhenSpaceRunsOut) {
    // The check precedes every frame whose number is a multiple of ten, and that frame is still written.
    for (const auto& [before, last] : {std::pair<int, int>{0, 0}, {7, 10}, {10, 10}}) {
        SCOPED_TRACE(before);
        m_kernel.m_freeKib = 2049;
        ASSERT_TRUE(m_saver->StartRecord(m_path.c_str(), 30));
        for (int i = 0; i < before; ++i)
            AddAndWait(i);
        m_kernel.m_freeKib = 2048;
        for (int i = before; i <= last; ++i) {
            EXPECT_TRUE(m_saver->IsRecording());
            AddAndWait(i);
        }
        WaitForEnd();
        m_saver->StopRecord();
        EXPECT_EQ(Frames().size(), static_cast<std::size_t>(last) + 1);
    }
}

TEST_F(AviSaverTest, FailingMediumEndsTheRecording) {
    for (const bool heals : {true, false}) {
        m_kernel.FailWrites(0, 0);
        ASSERT_TRUE(m_saver->StartRecord(m_path.c_str(), 30));
        for (int i = 0; i < 4; ++i)
            AddAndWait(i);
        m_kernel.FailWrites(1, EIO);
        AddAndWait(4);
        if (heals) m_kernel.FailWrites(0, 0);
        WaitForEnd();
        m_saver->StopRecord();
        m_kernel.FailWrites(0, 0);
        const std::vector<std::string> frames = Frames();
        ASSERT_GE(frames.size(), 4U);
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(frames[static_cast<std::size_t>(i)], Frame(i));
    }
    const std::string printed = Printed();
    EXPECT_NE(printed.find("Frame 4 can't be writed\n"), std::string::npos);
    EXPECT_NE(printed.find("Error:(avilib - Error closing AVI file - Input/output error) close avi file " + m_path),
              std::string::npos);
}

TEST_F(AviSaverTest, FileThatCannotBeOpened) {
    const std::string path = File("missing/clip.avi");
    EXPECT_FALSE(m_saver->StartRecord(path.c_str(), 30));
    EXPECT_FALSE(m_saver->IsRecording());
    // A first header that cannot be written would leave a clip that nobody can read after a cut.
    for (const int write : {1, 2}) {
        m_kernel.FailWrites(write, ENOSPC);
        EXPECT_FALSE(m_saver->StartRecord(m_path.c_str(), 30));
        m_kernel.FailWrites(0, 0);
        EXPECT_FALSE(std::filesystem::exists(m_path)) << write;
    }
    EXPECT_EQ(CVarnoAVISaver::CreateNew(0, 8), nullptr);
    const std::string printed = Printed();
    EXPECT_NE(printed.find("Error:(avilib - Error opening AVI file - No such file or directory) open avi file " + path +
                           "\n"),
              std::string::npos);
    EXPECT_NE(printed.find("Error:(avilib - Error closing AVI file - No space left on device) open avi file " + m_path +
                           "\n"),
              std::string::npos);
}

}  // namespace
