#include "media/varno_avi_saver.h"

#include <gmock/gmock.h>

#include <thread>

#include "tests/media/media_test.h"
#include "tests/support/printed.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

constexpr int kFrameBytes = 16 * 8 * 2;
constexpr int kQueueSlots = 15;

class AviSaverTest : public MediaTest {
  protected:
    bool Start() { return m_saver->StartRecord(m_path.c_str(), 30); }
    // The frames numbered from `first` to `last`.
    static Frames Numbered(int last, int first = 0) {
        Frames frames;
        for (int i = first; i <= last; ++i)
            frames.emplace_back(kFrameBytes, static_cast<char>('A' + i % 26));
        return frames;
    }
    void Add(int i) { m_saver->AddFrame(Numbered(i, i)[0].data(), kFrameBytes); }
    // Waits until the writer has done something with each.
    void AddAndWait(int first, int last) {
        for (int i = first; i <= last && !HasFatalFailure(); ++i) {
            const int before = m_kernel.Writes();
            Add(i);
            WaitForEnd(before);
        }
    }
    // Of the recording, or until there was another write than those.
    void WaitForEnd(int writes = -1) {
        for (int tries = 0; m_saver->IsRecording() && (writes < 0 || m_kernel.Writes() == writes); ++tries) {
            ASSERT_LT(tries, 10000) << "the writer does nothing";
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    std::unique_ptr<CVarnoAVISaver> m_saver{CVarnoAVISaver::CreateNew(16, 8)};
};

TEST_F(AviSaverTest, RecordsAtTheMeasuredRate) {
    const std::string printed = support::Printed([&] {
        time_t now = 1700000000;
        for (const auto& [frames, seconds, fps] :
             {std::tuple{3, 0, 25.0}, {3, 1, 3.0}, {123, 10, 12.0}, {5, 10, 0.0}, {0, 10, 25.0}}) {
            SCOPED_TRACE(std::to_string(frames) + " frames");
            ASSERT_TRUE(Start() && m_saver->IsRecording());
            EXPECT_EQ(Read32(Bytes(), 132), 30U * 333333) << "at first, what the caller wants";
            const int syncs = m_kernel.Syncs();
            AddAndWait(0, frames - 1);
            m_kernel.SetWallClock(now += seconds);
            m_saver->StopRecord();
            EXPECT_FALSE(m_saver->IsRecording());
            EXPECT_EQ(m_kernel.Syncs() - syncs, frames / 15);
            EXPECT_EQ(m_kernel.OpenFiles(), 0);
            EXPECT_EQ(Recorded(), Numbered(frames - 1));
            EXPECT_EQ(Read32(Bytes(), 132) / 333333.0, fps);
            // The first frame is no key frame, all others are.
            Facts flags(static_cast<std::size_t>(frames), 0x10);
            if (frames) flags[0] = 0;
            EXPECT_EQ(AviFile(Bytes()).flags, flags);
        }
        m_saver.reset();
    });
    EXPECT_THAT(printed, AllOf(HasSubstr("Enter CVarnoAVISaver::thread_proc()\nStart record avi file " + m_path + "\n"),
                               HasSubstr("\n123 / 10 = 12.000000\nAdded 123 frames, Writed 123 frames\nExit CVarno"),
                               HasSubstr("\n5 / 10 = 0.000000\n"), EndsWith("CVarnoAVISaver::~CVarnoAVISaver\n")));
    EXPECT_EQ(m_kernel.Commands().back(), "echo 1 > /proc/sys/vm/drop_caches");
}

TEST_F(AviSaverTest, StopWritesWhatIsQueuedAndNothingElse) {
    Add(25);
    ASSERT_TRUE(Start());
    std::string empty;
    m_saver->AddFrame(empty.data(), 0);
    m_saver->AddFrame(nullptr, kFrameBytes);
    for (int i = 0; i < kQueueSlots; ++i)
        Add(i);
    m_saver->StopRecord();
    Add(25);
    EXPECT_EQ(Recorded(), Numbered(kQueueSlots - 1));
    // Starting anew ends what runs.
    ASSERT_TRUE(Start());
    AddAndWait(0, 0);
    ASSERT_TRUE(m_saver->StartRecord("/media/other.avi", 30));
    EXPECT_EQ(Recorded(), Numbered(0));
}

TEST_F(AviSaverTest, EndsByItselfWhenSpaceRunsOut) {
    // The check precedes every frame whose number is a multiple of ten, and that frame is still written.
    for (const auto& [before, last] : {std::pair{0, 0}, {7, 10}, {10, 10}}) {
        SCOPED_TRACE(before);
        m_freeKib = 2049;
        ASSERT_TRUE(Start());
        AddAndWait(0, before - 1);
        m_freeKib = 2048;
        AddAndWait(before, last - 1);
        EXPECT_TRUE(m_saver->IsRecording());
        AddAndWait(last, last);
        WaitForEnd();
        m_saver->StopRecord();
        EXPECT_EQ(Recorded(), Numbered(last));
    }
}

TEST_F(AviSaverTest, FailingMediumEndsTheRecordingOrKeepsItFromBeginning) {
    const std::string path = "/media/missing/clip.avi";
    const std::string printed = support::Printed([&] {
        for (const bool heals : {true, false}) {
            ASSERT_TRUE(Start());
            AddAndWait(0, 3);
            m_kernel.FailWritesFrom(1, EIO);
            AddAndWait(4, 4);
            if (heals) m_kernel.Heal();
            WaitForEnd();
            m_saver->StopRecord();
            m_kernel.Heal();
            EXPECT_EQ(ReadFrames(Open().get()), Numbered(3));
        }
        EXPECT_FALSE(m_saver->StartRecord(path.c_str(), 30) || m_saver->IsRecording());
        // A first header that cannot be written would leave a clip that nobody can read after a cut.
        for (const int write : {1, 2}) {
            m_kernel.FailWritesFrom(write, ENOSPC);
            EXPECT_FALSE(Start());
            m_kernel.Heal();
            EXPECT_FALSE(m_kernel.Exists(m_path)) << write;
            EXPECT_EQ(m_kernel.OpenFiles(), 0);
        }
        EXPECT_EQ(CVarnoAVISaver::CreateNew(0, 8), nullptr);
    });
    EXPECT_THAT(printed,
                AllOf(HasSubstr("Frame 4 can't be writed\n"),
                      HasSubstr("Error closing AVI file - Input/output error) close avi file " + m_path),
                      HasSubstr("Error opening AVI file - No such file or directory) open avi file " + path + "\n"),
                      HasSubstr("Error closing AVI file - No space left on device) open avi file " + m_path + "\n")));
}

}  // namespace
