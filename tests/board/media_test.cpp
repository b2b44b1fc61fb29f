// The media: inserted, pulled, full, read-only, slow.
#include <sys/statfs.h>

#include "tests/board/board_test.h"

namespace board_test {

class MediaTest : public BoardTest {
  protected:
    using Kib = std::pair<long, long>;
    // Size and free space, as statfs(2) tells.
    Kib Space(const std::string& path) {
        struct statfs space {};
        if (kernel.StatFs(path.c_str(), &space) < 0) return {-1, -1};
        const long unit = space.f_bsize / 1024;
        return {static_cast<long>(space.f_blocks) * unit, static_cast<long>(space.f_bavail) * unit};
    }

    const std::string card = board::kCardMountPoint;
};

TEST_F(MediaTest, SpaceIsExactAndFollowsTheFiles) {
    board.Write(card + "/old.avi", std::string(3000, 'x'));
    board::BoardFolder& folder = board.Folder();
    const int fd = Open(card + "/new.avi");
    const int over = Open(card + "/new.avi");
    const auto size = [&](int kib) { return folder.SetSizeKib(board::Medium::Card, kib), 0; };
    const auto free = [&](int kib) { return folder.SetFreeKib(board::Medium::Card, kib), 0; };
    // A size makes all free; a free space keeps the size unless it has to grow.
    const std::tuple<const char*, std::function<int()>, int, Kib> steps[] = {
        {"size and free", [&] { return size(1000) + free(100); }, 0, {1000, 100}},
        {"more free", [&] { return free(2048); }, 0, {2051, 2048}},
        {"write", [&] { return Write(fd, 100 * 1024); }, 0, {2051, 1948}},
        {"too much", [&] { return Write(fd, 1949 * 1024); }, ENOSPC, {2051, 1948}},
        {"all there is", [&] { return Write(fd, 1948 * 1024); }, 0, {2051, 0}},
        {"full", [&] { return Write(fd, 1); }, ENOSPC, {2051, 0}},
        {"overwrite", [&] { return Write(over, 4096); }, 0, {2051, 0}},
        {"remove", [&] { return Run("rm -f " + card + "/old.avi"); }, 0, {2051, 3}},
        {"fill up and unmount", [&] { return free(1) + Run("umount -l " + card); }, 0, {65536, 32768}},
        {"format", [&] { return Run("mkdosfs /dev/mmcblk0p1"); }, 0, {65536, 32768}},
        {"mount", [&] { return Run("mount -t vfat /dev/mmcblk0p1 " + card); }, 0, {2051, 2051}},
        {"size", [&] { return size(100); }, 0, {100, 100}}};
    for (const auto& [what, action, error, space] : steps) {
        EXPECT_EQ(action(), error) << what;
        EXPECT_EQ(Space(card), space) << what;
    }
}

TEST_F(MediaTest, ReadOnly) {
    const int before = Open(card + "/a");
    EXPECT_EQ(Run("mkdir " + card + "/DCIM"), 0);
    board.Set(&board::Block::card, &board::MediumState::read_only, true);
    EXPECT_EQ(Mounts(), "locked card nand");
    EXPECT_EQ(Write(before, 1), EROFS);
    EXPECT_TRUE(Open(card + "/b") == -1 && errno == EROFS);
    EXPECT_GE(Open(card + "/a", O_RDONLY), 0);
    EXPECT_EQ(Run("/bin/mkdir -p " + card + "/DCIM"), 0) << "it is there already";
    for (const std::string& line : {"mkdir -p " + card + "/new", "rm " + card + "/a", "mv " + card + "/a /etc/a",
                                    "mv /etc/lcdparams " + card, "echo x > " + card + "/b"})
        EXPECT_NE(Run(line), 0) << line;
    EXPECT_EQ((Errors{Run("umount -l " + card), Run("mkdosfs /dev/mmcblk0p1")}), (Errors{0, 1}));
    EXPECT_EQ(board.Files(board::Medium::Card), (Words{"DCIM", "a"}));
}

TEST_F(MediaTest, PulledAndInserted) {
    const int fd = Open(card + "/a");
    EXPECT_EQ(Write(fd, 1), 0);
    for (const bool inserted : {false, true}) {
        board.InsertCard(inserted);
        for (const char* path :
             {"/sys/block/mmcblk0/mmcblk0p1/stat", "/dev/mmcblk0", "/dev/mmcblk0p1", "/media/sd-mmcblk0p1/a"})
            EXPECT_EQ(std::filesystem::exists(kernel.Path(path)), inserted) << path;
        EXPECT_EQ(Mounts(), inserted ? "card nand" : "nand");
        EXPECT_EQ(Write(fd, 1), EIO) << "the file was opened before";
        EXPECT_TRUE(kernel.Flush(fd) == -1 && errno == EIO);
    }
    EXPECT_EQ((Errors{Write(Open(card + "/a"), 1), kernel.Close(fd)}), (Errors{0, 0}));
}

TEST_F(MediaTest, ASlowCardTakesItsTime) {
    const std::array fds = {Open(card + "/a"), Open(card + "/b")};
    const int on_nand = Open("/media/nand/a");
    const auto written = [this] { return (board.Read(card + "/a") + board.Read(card + "/b")).size(); };
    board.Block().card.write_ms = 80;
    // Two write at once, and nobody else waits for them. Pulled meanwhile, the card loses what they write.
    for (const bool pulled : {false, true}) {
        std::atomic<int> errors{-2};
        std::thread first([&] { errors += 1 + Write(fds[0], 1000); });
        std::thread second([&] { errors += 1 + Write(fds[1], 1000); });
        Advance(79);
        EXPECT_EQ(Write(on_nand, 1), 0);
        EXPECT_EQ((Errors{errors, static_cast<int>(written())}), (Errors{-2, pulled ? 2000 : 0})) << "still writing";
        if (pulled) board.InsertCard(false);
        Advance(1);
        EXPECT_EQ(errors, pulled ? 2 * EIO : 0);
        first.join();
        second.join();
    }
    const long start = Now();
    EXPECT_EQ(Answer([&] { return Write(fds[0], 1); }), EIO);
    EXPECT_EQ(Now(), start) << "without the card a write fails at once";
    board.InsertCard(true);
    EXPECT_EQ(written(), 2000U);
}

}  // namespace board_test
