#include "settings/key_value_file.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/support/fake_kernel.h"

namespace {

constexpr char kFile[] = "/etc/settings.conf";

class KeyValueFile : public testing::Test {
  protected:
    KeyValueFile() {
        kernel.on_system = [this](const std::string& command) {
            if (command != std::string("mv ") + kFile + ".tmp " + kFile) return 127 << 8;
            std::filesystem::rename(kernel.Path(kFile) + ".tmp", kernel.Path(kFile));
            return 0;
        };
    }
    support::FakeKernel kernel;
};

TEST_F(KeyValueFile, Reads) {
    const std::string filler(250, 'x');
    kernel.Put(kFile, "# a=comment\na=1 # one\r\nb=x=y\n\nno pair\n=nameless\n" + filler + "=tail\nlong=" + filler +
                          "more=stuff\na=2\nlast=end");
    const struct {
        const char* key;
        bool found;
        const std::string value;
    } cases[] = {{"a", true, "1 "},     {"b", true, "x=y"},  {"", true, "nameless"}, {"more", false, ""},
                 {"last", true, "end"}, {"none", false, ""}, {"stuff", false, ""}};
    for (const auto& c : cases) {
        std::string value;
        EXPECT_EQ(ReadKeyValue(kFile, c.key, value), c.found) << c.key;
        EXPECT_EQ(value, c.value);
    }
    kernel.Put(kFile, "a=1#x\nb\nc=2\n");
    std::string value;
    testing::internal::CaptureStdout();
    ReadKeyValue(kFile, "a", value);
    ReadKeyValue("/etc/none", "a", value);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "name:a, value:1\nname:c, value:2\nError: read file /etc/none\n");
}

TEST_F(KeyValueFile, Writes) {
    const std::string filler(300, 'x');
    const struct {
        std::string before, after;
    } cases[] = {{"", "k=new\n"},
                 {"a=1\nk=old # gone\nb=2\n", "a=1\nk=new\nb=2\n"},
                 {"a=1", "a=1\nk=new\n"},
                 {"# k=1\nkk=1\n", "# k=1\nkk=1\nk=new\n"},
                 {"k=" + filler + "\na=" + filler + "k=\n", "k=new\na=" + filler + "k=\n"}};
    for (const auto& c : cases) {
        kernel.Put(kFile, c.before);
        EXPECT_TRUE(WriteKeyValue(kFile, "k", "new"));
        EXPECT_EQ(kernel.Get(kFile), c.after);
    }
}

TEST_F(KeyValueFile, ReportsFailures) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(WriteKeyValue("/etc/none", "k", "v"));
    kernel.Put(kFile, "k=1\n");
    std::filesystem::create_directory(kernel.Path(kFile) + ".tmp");
    EXPECT_FALSE(WriteKeyValue(kFile, "k", "v"));
    std::filesystem::remove(kernel.Path(kFile) + ".tmp");
    kernel.FailNth(support::FakeKernel::Call::System, 1, EAGAIN);
    EXPECT_FALSE(WriteKeyValue(kFile, "k", "v"));
    EXPECT_EQ(kernel.Get(kFile), "k=1\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Error: read orig file /etc/none\nError: read file /etc/settings.conf.tmp\n"
              "Error: Excute mv /etc/settings.conf.tmp /etc/settings.conf\n");
}

}  // namespace
