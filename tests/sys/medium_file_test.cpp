#include "sys/medium_file.h"

#include <gmock/gmock.h>

#include "tests/support/fake_kernel.h"

namespace {

using Call = support::FakeKernel::Call;

constexpr char kPhoto[] = "/media/sd/DCIM/5F3A1B2C.jpg";
constexpr char kTemporary[] = "/media/sd/DCIM/unfinished.part";

// A file is there already, and what a power cut left.
class MediumFile : public testing::Test {
  protected:
    MediumFile() {
        kernel.Put(kPhoto, "before");
        kernel.Put(kTemporary, "left by a power cut");
        kernel.write_limit = 10000;
        for (int i = 0; i < 200000; ++i)
            content += static_cast<char>(i * 7 + i / 251);
    }
    ~MediumFile() override {
        EXPECT_EQ(kernel.OpenFiles(), 0);
        EXPECT_FALSE(kernel.Exists(kTemporary));
    }
    std::unique_ptr<Varno::MediumFile> Written() {
        auto file = Varno::MediumFile::CreateNew(kPhoto);
        std::fwrite(content.data(), 1, content.size(), file->Stream());
        EXPECT_EQ(kernel.Get(kPhoto), "before");
        return file;
    }

    support::FakeKernel kernel;
    std::string content;
};

TEST_F(MediumFile, AppearsWholeAtCommitOrNotAtAll) {
    Written().reset();
    EXPECT_EQ(kernel.Get(kPhoto), "before");
    EXPECT_FALSE(kernel.Exists(kTemporary));
    kernel.FailNth(Call::Write, 1, EINTR);  // goes on
    auto file = Written();
    EXPECT_TRUE(file->Commit());
    EXPECT_EQ(file->Stream(), nullptr);
    EXPECT_FALSE(file->Commit()) << "a second time";
    EXPECT_TRUE(kernel.Get(kPhoto) == content);
    EXPECT_EQ(kernel.Flushes(), 2) << "the file and its directory";
}

TEST_F(MediumFile, EveryFaultIsSeenAndLeavesTheOldFile) {
    const struct {
        Call call;
        int nth, error;
        bool done, renamed;
    } cases[] = {{Call::Write, 1, ENOSPC, false, false}, {Call::Write, 2, EIO, false, false},
                 {Call::Write, 4, ENOSPC, false, false}, {Call::Flush, 1, EIO, false, false},
                 {Call::Close, 1, EDQUOT, false, false}, {Call::Flush, 2, EINVAL, true, true},  // needs no flush
                 {Call::Flush, 2, EIO, false, true},  // the new name may not last
                 {Call::Open, 2, ENFILE, false, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        kernel.Put(kPhoto, "before");
        kernel.FailNth(c.call, c.nth, c.error);
        auto file = Written();
        EXPECT_EQ(file->Commit(), c.done);
        EXPECT_EQ(file->Error(), c.done ? 0 : c.error) << "the first one counts";
        EXPECT_EQ(errno, file->Error());
        EXPECT_TRUE(kernel.Get(kPhoto) == (c.renamed ? content : "before"));
        EXPECT_FALSE(kernel.Exists(kTemporary));
    }
    kernel.FailNth(Call::Open, 1, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew(kPhoto), nullptr);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(Varno::MediumFile::CreateNew("/media/sd/none/x"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    // A folder has taken the name.
    auto file = Varno::MediumFile::CreateNew("/media/sd/DCIM");
    EXPECT_FALSE(file->Commit());
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(kernel.Exists("/media/sd/unfinished.part"));
}

}  // namespace
