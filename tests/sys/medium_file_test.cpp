#include "sys/medium_file.h"

#include <gmock/gmock.h>

#include "tests/support/fake_kernel.h"

namespace {

using Call = support::FakeKernel::Call;

constexpr char kPath[] = "/media/sd/DCIM/5F3A1B2C.jpg";
constexpr char kTemporary[] = "/media/sd/DCIM/unfinished.part";

class MediumFile : public testing::Test {
  protected:
    MediumFile() {
        kernel.Put("/media/sd/DCIM/other.jpg", "");
        for (int i = 0; i < 200000; ++i)
            content += static_cast<char>(i * 7 + i / 251);
    }

    support::FakeKernel kernel;
    std::string content;
};

TEST_F(MediumFile, AppearsWholeAtCommit) {
    kernel.Put(kPath, "before");
    kernel.Put(kTemporary, "left by a power cut");
    kernel.write_limit = 10000;
    auto file = Varno::MediumFile::CreateNew(kPath);
    ASSERT_TRUE(file);
    EXPECT_EQ(std::fwrite(content.data(), 1, content.size(), file->Stream()), content.size());
    EXPECT_EQ(kernel.Get(kPath), "before");
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(file->Stream(), nullptr);
    EXPECT_FALSE(file->Commit()) << "a second time";
    EXPECT_TRUE(kernel.Get(kPath) == content);
    EXPECT_FALSE(kernel.Exists(kTemporary));
    EXPECT_EQ(kernel.Flushes(), 2) << "the file and its directory";
    EXPECT_EQ(kernel.OpenFiles(), 0);
}

TEST_F(MediumFile, WithoutCommitNothingIsLeft) {
    kernel.Put(kPath, "before");
    auto file = Varno::MediumFile::CreateNew(kPath);
    ASSERT_TRUE(file);
    std::fputs("half", file->Stream());
    file.reset();
    EXPECT_EQ(kernel.Get(kPath), "before");
    EXPECT_FALSE(kernel.Exists(kTemporary));
    EXPECT_EQ(kernel.OpenFiles(), 0);
}

TEST_F(MediumFile, EveryFaultIsSeenAndLeavesTheOldFile) {
    const struct {
        Call call;
        int nth, error;
    } cases[] = {{Call::Write, 1, ENOSPC},
                 {Call::Write, 2, EIO},
                 {Call::Write, 4, ENOSPC},
                 {Call::Flush, 1, EIO},
                 {Call::Close, 1, EDQUOT}};
    kernel.write_limit = 10000;
    for (const auto& c : cases) {
        kernel.Put(kPath, "before");
        kernel.FailNth(c.call, c.nth, c.error);
        auto file = Varno::MediumFile::CreateNew(kPath);
        ASSERT_TRUE(file);
        std::fwrite(content.data(), 1, content.size(), file->Stream());
        EXPECT_FALSE(file->Commit());
        EXPECT_EQ(errno, c.error);
        EXPECT_EQ(file->Error(), c.error) << "the first one counts";
        EXPECT_TRUE(kernel.Get(kPath) == "before");
        EXPECT_FALSE(kernel.Exists(kTemporary));
        EXPECT_EQ(kernel.OpenFiles(), 0);
    }
    kernel.FailNth(Call::Open, 1, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew(kPath), nullptr);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew("/media/sd/none/x"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(MediumFile, InterruptedWritesGoOnAndDirectoriesNeedNotFlush) {
    kernel.FailNth(Call::Write, 1, EINTR);
    auto file = Varno::MediumFile::CreateNew(kPath);
    ASSERT_TRUE(file);
    std::fwrite(content.data(), 1, content.size(), file->Stream());
    kernel.FailNth(Call::Flush, 2, EINVAL);
    EXPECT_TRUE(file->Commit());
    EXPECT_TRUE(kernel.Get(kPath) == content);

    file = Varno::MediumFile::CreateNew(kPath);
    ASSERT_TRUE(file);
    kernel.FailNth(Call::Flush, 2, EIO);
    EXPECT_FALSE(file->Commit()) << "the new name may not last";
    EXPECT_TRUE(kernel.Exists(kPath));
}

}  // namespace
