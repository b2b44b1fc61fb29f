// What the program reads before the first camera picture.
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>

#include "mwin/file_descriptor.h"
#include "tests/scenario/scenario.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace scenario {
namespace {

// The files of a folder that are opened, or renamed to what they are called, as the system tells.
class UsedFiles {
  public:
    explicit UsedFiles(const std::string& folder) : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        // The ends are asked for, too: equal events that follow one another come as one.
        EXPECT_GE(inotify_add_watch(events_.Get(), folder.c_str(), IN_OPEN | IN_CLOSE | IN_MOVED_TO), 0);
    }
    // Names since the last call, in their order.
    std::vector<std::string> Take() {
        std::vector<std::string> names;
        alignas(inotify_event) char buffer[4096];
        ssize_t length = 0;
        while ((length = read(events_.Get(), buffer, sizeof buffer)) > 0) {
            for (const char* at = buffer; at < buffer + length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(at);
                if ((event->mask & IN_ISDIR) == 0 && (event->mask & IN_CLOSE) == 0) names.emplace_back(event->name);
                at += sizeof *event + event->len;
            }
        }
        return names;
    }

  private:
    mwin::FileDescriptor events_;
};

using StartUp = ScenarioTest;

TEST_F(StartUp, ReadsOnlyWhatIsSeen) {
    // A copy: other tests read the pictures of the checkout meanwhile.
    std::filesystem::remove("img");
    std::filesystem::copy(source_directory + "/img", "img");
    UsedFiles pictures("img");
    UsedFiles settings(".");
    StartLive();
    EXPECT_THAT(settings.Take(), ElementsAre("varnosvconf.xml"));
    EXPECT_THAT(pictures.Take(), UnorderedElementsAre("rec_img.gif", "sd.png"));

    // The others when they are first shown, and then no more.
    for (const auto& [key, picture] :
         {std::pair(VK_RIGHT, "bright.png"), std::pair(VK_UP, "zoom.png"), std::pair(VK_F3, "rec_video.gif")}) {
        program->Press(key);
        EXPECT_THAT(pictures.Take(), ElementsAre(picture));
    }
    board.Set(&board::Block::charger, true);
    program->Advance(3s);
    EXPECT_THAT(pictures.Take(), ElementsAre("plug.png"));
    program->Press(VK_RETURN);
    EXPECT_TRUE(RunUntilState("REC_VIDEO"));
    EXPECT_THAT(pictures.Take(), ElementsAre("rec.gif"));
    program->Press(VK_RETURN);
    EXPECT_TRUE(RunUntilState("VIEW"));
    EXPECT_THAT(pictures.Take(), ElementsAre("funnel.gif"));
    program->Press(VK_F3);
    program->Advance(10s);
    EXPECT_THAT(pictures.Take(), IsEmpty());
    EXPECT_THAT(settings.Take(), IsEmpty());
}

}  // namespace
}  // namespace scenario
