#include "sys/medium_file.h"

#include <gmock/gmock.h>

#include "tests/support/fake_kernel.h"

namespace {

using Call = support::FakeKernel::Call;

constexpr char kPath[] = "/media/sd/DCIM/5F3A1B2C.jpg";
constexpr char kTemporary[] = "/media/sd/DCIM/unfinished.part";

// A file is there already, and what a power cut left.
class MediumFile : public testing::Test {
  protected:
    MediumFile() {
        kernel.Put(kPath, "before");
        kernel.Put(kTemporary, "left by a power cut");
        kernel.write_limit = 10000;
        for (int i = 0; i < 200000; ++i)
            content += static_cast<char>(i * 7 + i / 251);
    }
    ~MediumFile() override { EXPECT_EQ(kernel.OpenFiles(), 0); }
    std::unique_ptr<Varno::MediumFile> Written() {
        auto file = Varno::MediumFile::CreateNew(kPath);
        std::fwrite(content.data(), 1, content.size(), file->Stream());
        return file;
    }

    support::FakeKernel kernel;
    std::string content;
};

TEST_F(MediumFile, AppearsWholeAtCommit) {
    auto file = Written();
    EXPECT_EQ(kernel.Get(kPath), "before");
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(file->Stream(), nullptr);
    EXPECT_FALSE(file->Commit()) << "a second time";
    EXPECT_TRUE(kernel.Get(kPath) == content);
    EXPECT_FALSE(kernel.Exists(kTemporary));
    EXPECT_EQ(kernel.Flushes(), 2) << "the file and its directory";
}

TEST_F(MediumFile, WithoutCommitNothingIsLeft) {
    Written().reset();
    EXPECT_EQ(kernel.Get(kPath), "before");
    EXPECT_FALSE(kernel.Exists(kTemporary));
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
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        kernel.FailNth(c.call, c.nth, c.error);
        auto file = Written();
        EXPECT_FALSE(file->Commit());
        EXPECT_EQ(errno, c.error);
        EXPECT_EQ(file->Error(), c.error) << "the first one counts";
        EXPECT_EQ(kernel.Get(kPath), "before");
        EXPECT_FALSE(kernel.Exists(kTemporary));
    }
    kernel.FailNth(Call::Open, 1, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew(kPath), nullptr);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew("/media/sd/none/x"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(MediumFile, InterruptedWritesGoOnAndDirectoriesNeedNotFlush) {
    kernel.FailNth(Call::Write, 1, EINTR);
    auto file = Written();
    kernel.FailNth(Call::Flush, 2, EINVAL);
    EXPECT_TRUE(file->Commit());
    EXPECT_TRUE(kernel.Get(kPath) == content);
    file = Written();
    kernel.FailNth(Call::Flush, 2, EIO);
    EXPECT_FALSE(file->Commit()) << "the new name may not last";
    EXPECT_TRUE(kernel.Exists(kPath));
}

}  // namespace
