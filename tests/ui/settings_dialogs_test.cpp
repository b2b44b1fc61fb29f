// What the settings dialogs do to the board: every command, message and clock that they touch.
#include <linux/rtc.h>

#include <algorithm>

#include "app/globals.h"
#include "sys/board_config.h"
#include "tests/ui/ui_fixture.h"
#include "ui/base/busy_picture.h"
#include "ui/settings/varno_ui_ctrl_date_time.h"
#include "ui/settings/varno_ui_dlg_format_media.h"
#include "ui/settings/varno_ui_dlg_language.h"
#include "ui/settings/varno_ui_dlg_setting.h"

namespace {

int g_programEnds = 0;
std::string g_order;  // of what happens around a clock change

}  // namespace

// The program's end, which the TV output asks for.
void sig_int_handler(int /*signal*/) {
    ++g_programEnds;
}

namespace ui_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

using SettingsUi = UiTest;

class DateTime : public UiTest {
  protected:
    DateTime() {
        kernel.Put("/dev/rtc0", "");
        kernel.SetWallClock(1715947200);  // 2024-05-17 12:00:00
        control.reset(CVarnoUICtrlDateTime::CreateNew(parent));
        EXPECT_TRUE(control->InitWindow(80, 48, 230, 180));
        for (HWND child : Children(control->Window())) {
            if (SendMessage(child, WM_GETDLGCODE, 0, 0) != 0) fields.push_back(child);
        }
    }
    void Press(int key) const { SendMessage(control->Window(), WM_KEYDOWN, static_cast<WPARAM>(key), 0); }
    void Fill(const std::vector<std::string>& texts) {
        for (std::size_t i = 0; i < fields.size(); ++i)
            SetWindowText(fields[i], texts[i].c_str());
    }
    std::vector<std::string> Shown() {
        std::vector<std::string> texts;
        std::transform(fields.begin(), fields.end(), std::back_inserter(texts), TextOf);
        return texts;
    }
    static std::string Text(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }
    // The numbers of the fields that are marked.
    std::string Marked() {
        std::string marked;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const LRESULT selection = SendMessage(fields[i], EM_GETSEL, 0, 0);
            if (LOWORD(selection) != HIWORD(selection)) marked += std::to_string(i);
        }
        return marked;
    }
    // Every value of the marked field, upwards and down again, around both ends; the others stay.
    void ExpectRound(int low, int high, std::vector<std::string> texts = {"02", "31", "2023", "10", "10"}) {
        std::string& text = texts[static_cast<std::size_t>(Marked().at(0) - '0')];
        text = Text(low);
        Fill(texts);
        for (int i = low; i <= high; ++i) {
            Press(VK_UP);
            text = Text(i < high ? i + 1 : low);
            ASSERT_EQ(Shown(), texts);
        }
        for (int i = high; i >= low; --i) {
            Press(VK_DOWN);
            text = Text(i);
            ASSERT_EQ(Shown(), texts);
        }
    }

    std::unique_ptr<CVarnoUICtrlDateTime> control;
    std::vector<HWND> fields;
};

TEST_F(DateTime, EveryFieldGoesAroundItsLimits) {
    const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    EXPECT_THAT(Shown(), testing::ElementsAre("05", "17", "2024", "12", "00"));
    ExpectRound(1, 12);
    Press(VK_RIGHT);
    for (int month = 1; month <= 12; ++month) {
        for (const int year : {2010, 2023, 2024, 2096}) {
            const int last = days[month - 1] + (month == 2 && year % 4 == 0 ? 1 : 0);
            ExpectRound(1, last, {Text(month), "01", Text(year), "10", "10"});
        }
    }
    for (const auto& [low, high] : {std::pair{2010, 2099}, {0, 23}, {0, 59}}) {
        Press(VK_RIGHT);
        ExpectRound(low, high);
    }
    Printed();
    Press(VK_RIGHT);
    for (const char* field : {"0", "4", "3", "2", "1", "0"}) {
        EXPECT_EQ(Marked(), field);
        Press(VK_LEFT);
    }
    // A field leaves the keys to its parent: all of them when it is marked, else those that do not edit.
    for (const auto& [field, key] : {std::pair{4U, VK_UP}, {4U, VK_F2}, {0U, VK_LEFT}, {0U, VK_DOWN}})
        SendMessage(fields[field], WM_KEYDOWN, static_cast<WPARAM>(key), 0);
    EXPECT_THAT(Printed(),
                testing::MatchesRegex("HandleKeyDown:[0-9]+ Right down\n(HandleKeyDown:[0-9]+ Left down\n){6}"
                                      "HandleKeyDown:[0-9]+ Up down\nHandleKeyDown:[0-9]+ Down down\n"));
}

// The day when a field cannot be read or is out of its range; the fields' limits are those of the shown month.
TEST_F(DateTime, TheDayCopesWithWhatIsShown) {
    const struct {
        const char *month, *day, *year;
        int key;
        const char* expected;
    } cases[] = {{"02", "31", "2023", VK_UP, "01"}, {"02", "31", "2023", VK_DOWN, "30"},
                 {"02", "01", "", VK_DOWN, "28"},   {"", "01", "2024", VK_DOWN, "31"},
                 {"13", "05", "2024", VK_UP, "01"}, {"00", "05", "2024", VK_DOWN, "01"},
                 {"05", "", "2024", VK_UP, ""},     {"05", "1x", "2024", VK_UP, "1x"}};
    Press(VK_RIGHT);
    for (const auto& c : cases) {
        Fill({c.month, c.day, c.year, "00", "00"});
        Press(c.key);
        EXPECT_THAT(Shown(), testing::ElementsAre(c.month, c.expected, c.year, "00", "00"));
    }
}

// What cannot be read stays as it was; 31 February is in March.
TEST_F(DateTime, EnterSetsBothClocksWhileTheTimersRest) {
    kernel.on_ioctl = [&](const std::string& path, unsigned long request, void* argument) {
        const auto* time = static_cast<const rtc_time*>(argument);
        char text[80];
        std::snprintf(text, sizeof text, "%s %lX %04d-%02d-%02d %02d:%02d:%02d ", path.c_str(), request,
                      time->tm_year + 1900, time->tm_mon + 1, time->tm_mday, time->tm_hour, time->tm_min, time->tm_sec);
        g_order += text;
        return 0;
    };
    g_mainWindowHooks.stop_all_timers = [] { g_order += "stop "; };
    g_mainWindowHooks.start_all_timers = [] { g_order += "start"; };
    for (const bool refused : {false, true}) {
        kernel.SetWallClock(1715947222);  // 2024-05-17 12:00:22
        kernel.sets_clock = !refused;
        if (refused) kernel.FailNth(support::FakeKernel::Call::SetRealTime, 1, EPERM);
        g_order.clear();
        Printed();
        Fill({"02", "31", "", "7", "x"});
        Press(VK_RETURN);
        EXPECT_EQ(kernel.RealTime().tv_sec, refused ? 1715947222 : 1709362800);
        EXPECT_EQ(g_order, "stop /dev/rtc0 4024700A 2024-03-02 07:00:00 start");
        EXPECT_EQ(Printed(), std::string("StopStateMachine\nts.tv_sec = 1709362800\n") +
                                 (refused ? "Error: stime(Operation not permitted)\n" : ""));
    }
    g_mainWindowHooks = {};
    Press(VK_RETURN);
    EXPECT_THAT(Printed(), Not(HasSubstr("StopStateMachine")));
}

// Both questions, and what is asked for meanwhile; a scenario shows that no is no.
TEST_F(SettingsUi, FormattingRunsItsCommandsBehindTheBusyPicture) {
    const std::vector<std::string> card{"/bin/umount -l /media/sd-mmcblk0p1", "/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1",
                                        "/bin/mount -t vfat /dev/mmcblk0p1 /media/sd-mmcblk0p1"};
    const std::vector<std::string> nand{"/bin/umount -l /media/nand", "rm  -f  /mnt/ubifs/backing_file  ",
                                        "/usr/varno/nandformat  stop  ", "/usr/varno/nandformat  start  "};
    for (const bool with_card : {true, false}) {
        { const BusyPicture earlier; }  // somebody else's
        std::vector<std::string> commands;
        kernel.on_system = [&](const std::string& command) {
            EXPECT_TRUE(Busy());
            commands.push_back(command);
            return with_card ? 0 : 256;  // whatever a command answers
        };
        SetSpace(with_card ? 5000 : -1, 5000);
        Printed();
        clock.steps.emplace_back([&] {  // no second question comes of it
            EXPECT_TRUE(PostMessage(GetWindow(GetActiveWindow(), GW_OWNER), WM_ENTERIDLE, 0, 0));
        });
        clock.steps.emplace_back([&] { keys.Type(VK_RETURN); });
        clock.steps.emplace_back([&] { SetSpace(-1, 5000); });  // a card that is pulled now is not mistaken
        EXPECT_EQ(Run<CVarnoUIDlgFormatMedia>({VK_RETURN}), 1);
        EXPECT_EQ(commands, with_card ? card : nand);
        const std::string printed = Printed();
        EXPECT_THAT(printed, HasSubstr("Start Formating media\n"));
        const std::string told = "Run " + card[0] + "\nRun " + card[1] + "\nRun " + card[2] + "\n";
        EXPECT_EQ(printed.find("Run "), with_card ? printed.find(told) : std::string::npos);
        FlushNow();
        EXPECT_EQ(Count({0, 0, 320, 240}, kKeyPixel), 320 * 240) << "nothing is left on the screen";
    }
}

// Where the program's end does not end it at once, every menu goes in turn.
TEST_F(SettingsUi, ANewTvOutputClosesTheMenus) {
    const std::string gpio = "/sys/class/gpio/gpio" + std::to_string(Varno::Board::kTvDetectGpio) + "/value";
    kernel.Put(gpio, Varno::Board::kTvCablePresentLevel == 1 ? "1\n" : "0\n");
    g_programEnds = 0;
    for (const int answer : {0, -1}) {
        kernel.on_system = [&](const std::string& command) {
            return command.find("lcdparams") != std::string::npos ? answer : 0;
        };
        m_isNewOutputSet = false;
        EXPECT_EQ(Run<CVarnoUIDlgSetting>({VK_RETURN, VK_UP, VK_RETURN, VK_RETURN, VK_RETURN}), 1);
        EXPECT_TRUE(m_isNewOutputSet);
        const std::string closed = "CVarnoUIDialog::DestoryDialog\n~CVarnoUIDialog\n";
        EXPECT_THAT(Printed(), EndsWith(std::string("TV out Line: 1\n") + (answer < 0 ? "set lcd panel error\n" : "") +
                                        closed + closed + closed));
    }
    EXPECT_EQ(g_programEnds, 2);
    // Leaving a menu by its key says something else.
    EXPECT_EQ(Run<CVarnoUIDlgSetting>({VK_RETURN, VK_UP, VK_RETURN, VK_F1, VK_F1, VK_DOWN, VK_RETURN, VK_F1, VK_F1}),
              1);
    EXPECT_THAT(Printed(), HasSubstr("Color Menu\n"));
    m_isNewOutputSet = false;
}

TEST_F(SettingsUi, TheMainWindowCanEndUnderOpenMenus) {
    for (int i = 0; i < 2; ++i)
        clock.steps.emplace_back([&] { keys.Type(VK_RETURN); });
    clock.steps.emplace_back([&] { DestroyWindow(parent); });
    Run<CVarnoUIDlgSetting>({});
    EXPECT_THAT(Printed(), HasSubstr("Date and Time\n"));
    EXPECT_EQ(GetWindow(GetDesktopWindow(), GW_CHILD), nullptr);
}

TEST_F(SettingsUi, TheLanguageIsFoundByItsFullName) {
    // Ids that are no row numbers: the wrong row is selected, the right language stored.
    const char* const reversed =
        "<Languages name=\"aa\" fullname=\"Alpha\" id=\"30\"/><Languages name=\"bb\" fullname=\"Beta\" id=\"7\"/>";
    const struct {
        std::string entries;
        std::vector<int> keys;
        const char* code;
    } cases[] = {
        {reversed, {VK_RETURN}, "bb"}, {reversed, {VK_UP, VK_RETURN}, "aa"}, {"", {VK_UP, VK_DOWN, VK_RETURN}, "true"}};
    for (const auto& c : cases) {
        kernel.Put("varnosvconf.xml",
                   "<?xml version=\"1.0\"?><Varno><Item name=\"Settings\"><Settings name=\"language\" value=\"aa\"/>"
                   "</Item><Item name=\"Languages\">" +
                       c.entries + "</Item></Varno>");
        settings.InitConfigFile();
        EXPECT_EQ(Run<CVarnoUIDlgLanguage>(c.keys), 1);
        EXPECT_EQ(Run<CVarnoUIDlgLanguage>({VK_DOWN, VK_F1}), 2);
        EXPECT_EQ(settings.GetXMLConfSettingsItemVal("language", ""), c.code) << c.entries;
    }
}

}  // namespace
}  // namespace ui_test
