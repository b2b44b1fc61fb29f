// The settings dialogs over a kernel in memory: every command, message and clock that they touch.
#include <linux/rtc.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>

#include "app/globals.h"
#include "settings/varno_sv_setting.h"
#include "sys/board_config.h"
#include "tests/ui/ui_fixture.h"
#include "ui/controls/varno_new_edit.h"
#include "ui/settings/varno_ui_ctrl_date_time.h"
#include "ui/settings/varno_ui_dlg_color.h"
#include "ui/settings/varno_ui_dlg_format_media.h"
#include "ui/settings/varno_ui_dlg_language.h"
#include "ui/settings/varno_ui_dlg_setting.h"
#include "ui/settings/varno_ui_dlg_tv_out.h"

namespace {

int g_programEnds = 0;
std::vector<std::string> g_order;  // of what happens around a clock change

}  // namespace

// The program's end, which the TV output asks for.
void sig_int_handler(int /*signal*/) {
    ++g_programEnds;
}

namespace ui_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr char kFile[] = "varnosvconf.xml";

// With the shipped settings in a working directory of its own.
class SettingsUi : public UiTest {
  protected:
    SettingsUi() : source_(std::filesystem::current_path()) {
        const std::string work = kernel.Root() + "/work";
        std::filesystem::create_directories(work);
        std::filesystem::create_directory_symlink(source_ / "img", work + "/img");
        std::filesystem::current_path(work);
        std::filesystem::copy_file(source_ / "settings/varnosvconf.xml", kFile);
        settings.InitConfigFile();
        MwRegisterVarnoNewEditControl(Instance());
        Varno::InitFunnelCtrl();
        m_isNewOutputSet = false;
        g_programEnds = 0;
        g_order.clear();
        PrintedSoFar();
    }
    ~SettingsUi() override {
        g_mainWindowHooks = {};
        Varno::DeinitFunnelCtrl();
        std::filesystem::current_path(source_);
    }

    // Runs a dialog to its end with these keys; its result.
    template <class Dialog>
    int Run(const std::vector<int>& pressed) {
        for (const int key : pressed)
            clock.WhenIdle([this, key] { keys.Type(key); });
        const std::unique_ptr<CVarnoUIDialog> dialog(Dialog::CreateNew(Instance(), parent));
        const int result = dialog->DoModel();
        clock.DropSteps();
        RunUntilIdle();
        return result;
    }
    void SetLanguages(const std::string& entries) {
        kernel.Put(kFile,
                   "<?xml version=\"1.0\"?><Varno><Item name=\"Settings\"><Settings name=\"language\" value=\"aa\"/>"
                   "</Item><Item name=\"Languages\">" +
                       entries + "</Item></Varno>");
        settings.InitConfigFile();
    }
    void PlugTvCable(bool plugged) {
        kernel.Put("/sys/class/gpio/gpio" + std::to_string(Varno::Board::kTvDetectGpio) + "/value",
                   plugged == (Varno::Board::kTvCablePresentLevel == 1) ? "1\n" : "0\n");
    }
    // Without those that look for the cable.
    std::vector<std::string> Commands() {
        std::vector<std::string> commands = kernel.Commands();
        commands.erase(std::remove_if(commands.begin(), commands.end(),
                                      [](const std::string& line) { return line.find("gpio") != std::string::npos; }),
                       commands.end());
        return commands;
    }

    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();

  private:
    const std::filesystem::path source_;
};

class DateTime : public SettingsUi {
  protected:
    enum Field { Month, Day, Year, Hour, Minute };

    DateTime() {
        kernel.Put("/dev/rtc0", "");
        kernel.SetWallClock(1715947200);  // 2024-05-17 12:00:00
        control.reset(CVarnoUICtrlDateTime::CreateNew(parent));
        EXPECT_TRUE(control->InitWindow(80, 48, 230, 180));
        // The fields are those that want keys, in reading order.
        for (HWND child = GetWindow(control->Window(), GW_CHILD); child != nullptr;
             child = GetWindow(child, GW_HWNDNEXT)) {
            if (SendMessage(child, WM_GETDLGCODE, 0, 0) != 0) fields.push_back(child);
        }
        std::sort(fields.begin(), fields.end(), [](HWND a, HWND b) {
            RECT left{};
            RECT right{};
            GetWindowRect(a, &left);
            GetWindowRect(b, &right);
            return std::pair(left.top, left.left) < std::pair(right.top, right.left);
        });
    }
    void Press(int key) const { SendMessage(control->Window(), WM_KEYDOWN, static_cast<WPARAM>(key), 0); }
    void Fill(const std::vector<std::string>& texts) {
        for (std::size_t i = 0; i < fields.size(); ++i)
            SetWindowText(fields[i], texts[i].c_str());
    }
    std::string Shown() {
        std::string text;
        for (HWND field : fields)
            text += TextOf(field) + " ";
        text.pop_back();
        return text;
    }
    // The one that is marked; -1 when it is not one.
    int Marked() {
        int marked = -1;
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (SendMessage(fields[i], EM_GETSEL, 0, 0) >> 16 == SendMessage(fields[i], EM_GETSEL, 0, 0) % 65536)
                continue;
            if (marked >= 0) return -1;
            marked = static_cast<int>(i);
        }
        return marked;
    }

    std::unique_ptr<CVarnoUICtrlDateTime> control;
    std::vector<HWND> fields;
};

TEST_F(DateTime, FieldsHaveTheirLimits) {
    ASSERT_EQ(fields.size(), 5U);
    EXPECT_EQ(Shown(), "05 17 2024 12 00");
    const struct {
        std::vector<std::string> fields;
        Field field;
        int key;
        const char* shown;
    } cases[] = {
        {{"12", "31", "2024", "00", "00"}, Month, VK_UP, "01 31 2024 00 00"},
        {{"01", "31", "2024", "00", "00"}, Month, VK_DOWN, "12 31 2024 00 00"},
        {{"01", "31", "2023", "00", "00"}, Month, VK_UP, "02 31 2023 00 00"},  // the day stays
        {{"02", "29", "2024", "00", "00"}, Day, VK_UP, "02 01 2024 00 00"},
        {{"02", "28", "2024", "00", "00"}, Day, VK_UP, "02 29 2024 00 00"},
        {{"02", "01", "2024", "00", "00"}, Day, VK_DOWN, "02 29 2024 00 00"},
        {{"02", "28", "2023", "00", "00"}, Day, VK_UP, "02 01 2023 00 00"},
        {{"02", "01", "2023", "00", "00"}, Day, VK_DOWN, "02 28 2023 00 00"},
        {{"02", "31", "2023", "00", "00"}, Day, VK_UP, "02 01 2023 00 00"},
        {{"02", "31", "2023", "00", "00"}, Day, VK_DOWN, "02 30 2023 00 00"},
        {{"02", "01", "", "00", "00"}, Day, VK_DOWN, "02 28  00 00"},
        {{"04", "30", "2024", "00", "00"}, Day, VK_UP, "04 01 2024 00 00"},
        {{"11", "01", "2024", "00", "00"}, Day, VK_DOWN, "11 30 2024 00 00"},
        {{"12", "31", "2024", "00", "00"}, Day, VK_UP, "12 01 2024 00 00"},
        {{"", "01", "2024", "00", "00"}, Day, VK_DOWN, " 31 2024 00 00"},
        {{"13", "05", "2024", "00", "00"}, Day, VK_UP, "13 01 2024 00 00"},
        {{"00", "05", "2024", "00", "00"}, Day, VK_DOWN, "00 01 2024 00 00"},
        {{"05", "", "2024", "00", "00"}, Day, VK_UP, "05  2024 00 00"},  // not to be read: left alone
        {{"05", "1x", "2024", "00", "00"}, Day, VK_UP, "05 1x 2024 00 00"},
        {{"05", "17", "2099", "00", "00"}, Year, VK_UP, "05 17 2010 00 00"},
        {{"05", "17", "2010", "00", "00"}, Year, VK_DOWN, "05 17 2099 00 00"},
        {{"05", "17", "2024", "00", "00"}, Year, VK_UP, "05 17 2025 00 00"},
        {{"05", "17", "2024", "23", "00"}, Hour, VK_UP, "05 17 2024 00 00"},
        {{"05", "17", "2024", "00", "00"}, Hour, VK_DOWN, "05 17 2024 23 00"},
        {{"05", "17", "2024", "00", "59"}, Minute, VK_UP, "05 17 2024 00 00"},
        {{"05", "17", "2024", "00", "00"}, Minute, VK_DOWN, "05 17 2024 00 59"},
    };
    for (const auto& c : cases) {
        Fill({"01", "01", "2024", "01", "01"});  // an empty field would not be seen to be marked
        for (int i = 0; i < 5 && Marked() != c.field; ++i)
            Press(VK_RIGHT);
        Fill(c.fields);
        Press(c.key);
        EXPECT_EQ(Shown(), c.shown);
    }
}

TEST_F(DateTime, LeftAndRightGoAround) {
    for (const int field : {Month, Day, Year, Hour, Minute, Month}) {
        EXPECT_EQ(Marked(), field);
        Press(VK_RIGHT);
    }
    for (const int field : {Day, Month, Minute, Hour}) {
        EXPECT_EQ(Marked(), field);
        Press(VK_LEFT);
    }
    Press(VK_UP);
    Press(VK_DOWN);
    Press(VK_F2);
    EXPECT_THAT(PrintedSoFar(),
                testing::MatchesRegex("(HandleKeyDown:[0-9]+ Right down\n){6}(HandleKeyDown:[0-9]+ Left "
                                      "down\n){4}HandleKeyDown:[0-9]+ Up down\nHandleKeyDown:[0-9]+ Down down\n"));
}

TEST_F(DateTime, EnterSetsBothClocks) {
    std::string rtc;
    kernel.on_ioctl = [&](const std::string& path, unsigned long request, void* argument) {
        EXPECT_EQ(path, "/dev/rtc0");
        EXPECT_EQ(request, 0x4024700AUL);
        const auto* time = static_cast<const rtc_time*>(argument);
        char text[40];
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time->tm_year + 1900, time->tm_mon + 1,
                      time->tm_mday, time->tm_hour, time->tm_min, time->tm_sec);
        rtc = text;
        g_order.emplace_back("rtc");
        return 0;
    };
    g_mainWindowHooks.stop_all_timers = [] { g_order.emplace_back("stop"); };
    g_mainWindowHooks.start_all_timers = [] { g_order.emplace_back("start"); };
    struct Case {
        std::vector<std::string> fields;
        const char* rtc;
        long long seconds;
    };
    std::vector<Case> cases{{{"05", "17", "2024", "12", "00"}, "2024-05-17 12:00:00", 1715947200},
                            {{"02", "31", "2023", "23", "59"}, "2023-03-03 23:59:00", 1677887940},
                            {{"02", "31", "2024", "00", "00"}, "2024-03-02 00:00:00", 1709337600},
                            {{"01", "01", "2010", "00", "00"}, "2010-01-01 00:00:00", 1262304000},
                            {{"", "x", "", "7", ""}, "2024-05-17 07:00:00", 1715929200}};
    // Where the calendar ends in 2038, as on the board, the services refuse it with a message of their own.
    if (sizeof(time_t) > 4) cases.push_back({{"12", "31", "2099", "23", "59"}, "2099-12-31 23:59:00", 4102444740});
    for (const bool refused : {false, true}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.rtc);
            kernel.SetWallClock(1715947222);
            kernel.sets_clock = !refused;
            if (refused) kernel.FailNth(support::FakeKernel::Call::SetRealTime, 1, EPERM);
            g_order.clear();
            Fill(c.fields);
            Press(VK_RETURN);
            EXPECT_EQ(rtc, c.rtc);
            EXPECT_EQ(kernel.RealTime().tv_sec, refused ? 1715947222 : c.seconds);
            EXPECT_THAT(g_order, ElementsAre("stop", "rtc", "start"));
            EXPECT_EQ(PrintedSoFar(), "StopStateMachine\nts.tv_sec = " + std::to_string(c.seconds) + "\n" +
                                          (refused ? "Error: stime(Operation not permitted)\n" : ""));
        }
    }
    g_mainWindowHooks = {};
    Press(VK_RETURN);
    EXPECT_THAT(PrintedSoFar(), Not(HasSubstr("StopStateMachine")));
}

class FormatMedia : public SettingsUi {
  protected:
    FormatMedia() {
        kernel.on_system = [this](const std::string&) {
            busy.push_back(BusyPixels() > 40);
            return status;
        };
    }
    int BusyPixels() const {
        const RECT place{150, 120, 165, 141};
        return 15 * 21 - Count(place, 0xFFFFFFFF);
    }

    std::vector<bool> busy;  // was the busy picture shown while the command ran?
    int status = 0;
};

TEST_F(FormatMedia, RunsItsCommandsAfterTwoConfirmations) {
    const std::vector<std::string> card{"/bin/umount -l /media/sd-mmcblk0p1", "/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1",
                                        "/bin/mount -t vfat /dev/mmcblk0p1 /media/sd-mmcblk0p1"};
    const std::vector<std::string> nand{"/bin/umount -l /media/nand", "rm  -f  /mnt/ubifs/backing_file  ",
                                        "/usr/varno/nandformat  stop  ", "/usr/varno/nandformat  start  "};
    const int yes = VK_RETURN;
    const struct {
        std::vector<int> answers;
        bool formats;
    } cases[] = {{{VK_RIGHT, VK_RETURN}, false}, {{VK_F1}, false},   {{yes, VK_LEFT, VK_RETURN}, false},
                 {{yes, VK_F1}, false},          {{yes, yes}, true}, {{VK_LEFT, VK_RIGHT, yes, yes}, true}};
    std::vector<std::string> expected;
    for (const bool with_card : {true, false}) {
        SetSpace(with_card ? 5000 : -1, 5000);
        for (const auto& c : cases) {
            status = with_card ? 0 : 256;  // whatever a command answers
            EXPECT_EQ(Run<CVarnoUIDlgFormatMedia>(c.answers), 1);
            const auto& commands = with_card ? card : nand;
            if (c.formats) expected.insert(expected.end(), commands.begin(), commands.end());
            EXPECT_EQ(kernel.Commands(), expected);
            std::string told;
            for (const std::string& command : card)
                told += "Run " + command + "\n";
            const std::string printed = PrintedSoFar();
            EXPECT_EQ(printed.find(told) != std::string::npos, c.formats && with_card);
            EXPECT_EQ(printed.find("Run ") != std::string::npos, c.formats && with_card);
            EXPECT_EQ(printed.find("Start Formating media\n") != std::string::npos, c.answers[0] == yes || c.formats);
            FlushNow();
            EXPECT_EQ(Count({0, 0, 320, 240}, kKeyPixel), 320 * 240) << "nothing is left on the screen";
        }
    }
    EXPECT_THAT(busy, testing::Each(true));
    EXPECT_EQ(busy.size(), 2 * card.size() + 2 * nand.size());
}

TEST_F(FormatMedia, StartsOnce) {
    SetSpace(5000);
    clock.WhenIdle([&] {
        HWND dialog = GetWindow(GetActiveWindow(), GW_OWNER);
        ASSERT_NE(dialog, parent);
        EXPECT_TRUE(PostMessage(dialog, WM_ENTERIDLE, 0, 0));
    });
    EXPECT_EQ(Run<CVarnoUIDlgFormatMedia>({VK_F1}), 1) << "a second question would wait for ever";
}

TEST_F(FormatMedia, ACardThatIsPulledBetweenTheQuestionsIsNotMistaken) {
    SetSpace(5000, 5000);
    clock.WhenIdle([&] { keys.Type(VK_RETURN); });
    clock.WhenIdle([&] { SetSpace(-1, 5000); });
    EXPECT_EQ(Run<CVarnoUIDlgFormatMedia>({VK_RETURN}), 1);
    EXPECT_EQ(kernel.Commands(),
              (std::vector<std::string>{"/bin/umount -l /media/sd-mmcblk0p1", "/usr/bin/mkdosfs -F 32 /dev/mmcblk0p1",
                                        "/bin/mount -t vfat /dev/mmcblk0p1 /media/sd-mmcblk0p1"}));
}

TEST_F(SettingsUi, TheTvOutputIsWrittenWhenTheCableIsThere) {
    const std::vector<int> no_cable{VK_RETURN, VK_RETURN, VK_RETURN, VK_F1};
    PlugTvCable(false);
    EXPECT_EQ(Run<CVarnoUIDlgTVout>(no_cable), 2);
    EXPECT_EQ(Run<CVarnoUIDlgTVout>({VK_DOWN, VK_RETURN, VK_RIGHT, VK_RETURN, VK_F1}), 2);
    PlugTvCable(true);
    EXPECT_EQ(Run<CVarnoUIDlgTVout>({VK_RETURN, VK_F1, VK_F1}), 2) << "no to the question";
    EXPECT_THAT(Commands(), IsEmpty());
    EXPECT_FALSE(m_isNewOutputSet);
    EXPECT_EQ(g_programEnds, 0);

    EXPECT_EQ(Run<CVarnoUIDlgTVout>({VK_RETURN, VK_RETURN}), 1);
    EXPECT_EQ(Run<CVarnoUIDlgTVout>({VK_UP, VK_RETURN, VK_RETURN}), 1);
    EXPECT_THAT(PrintedSoFar(), Not(HasSubstr("set lcd panel error\n")));
    kernel.on_system = [](const std::string& command) {
        return command.find("lcdparams") != std::string::npos ? -1 : 0;
    };
    EXPECT_EQ(Run<CVarnoUIDlgTVout>({VK_DOWN, VK_DOWN, VK_RETURN, VK_RETURN}), 1);
    EXPECT_THAT(PrintedSoFar(), HasSubstr("set lcd panel error\n"));
    EXPECT_THAT(Commands(),
                ElementsAre("echo lcd_panel=tvenc_ntsc > /etc/lcdparams", "echo lcd_panel=tvenc_pal > /etc/lcdparams",
                            "echo lcd_panel=tvenc_ntsc > /etc/lcdparams"));
    EXPECT_EQ(g_programEnds, 3);
}

// Where the program's end does not end it at once, every menu goes in turn.
TEST_F(SettingsUi, ANewTvOutputClosesTheMenus) {
    PlugTvCable(true);
    EXPECT_EQ(Run<CVarnoUIDlgSetting>({VK_RETURN, VK_UP, VK_RETURN, VK_RETURN, VK_RETURN}), 1);
    EXPECT_TRUE(m_isNewOutputSet);
    EXPECT_EQ(g_programEnds, 1);
    std::string printed = PrintedSoFar();
    for (int closed = 0; closed < 4; ++closed) {
        const std::size_t at = printed.find("~CVarnoUIDialog\n");
        ASSERT_NE(at, std::string::npos) << closed;
        printed.erase(0, at + 1);
    }
    // Leaving the advanced menu says something else than the setup menu does.
    m_isNewOutputSet = true;
    EXPECT_EQ(Run<CVarnoUIDlgSetting>({VK_RETURN, VK_F1, VK_DOWN, VK_F1}), 1);
    EXPECT_THAT(Commands(), testing::SizeIs(1));
}

TEST_F(SettingsUi, TheMainWindowCanEndUnderOpenMenus) {
    clock.WhenIdle([&] { keys.Type(VK_RETURN); });
    clock.WhenIdle([&] { keys.Type(VK_RETURN); });
    clock.WhenIdle([&] { DestroyWindow(parent); });
    const std::unique_ptr<CVarnoUIDialog> dialog(CVarnoUIDlgSetting::CreateNew(Instance(), parent));
    dialog->DoModel();
    RunUntilIdle();
    EXPECT_THAT(PrintedSoFar(), HasSubstr("Date and Time\n"));
    EXPECT_EQ(GetWindow(GetDesktopWindow(), GW_CHILD), nullptr);
}

TEST_F(SettingsUi, TheLanguageIsFoundByItsFullName) {
    const struct {
        const char* entries;
        std::vector<int> keys;
        const char* code;
    } cases[] = {
        // Ids that are no row numbers: the wrong row is selected, the right language stored.
        {"<Languages name=\"aa\" fullname=\"Alpha\" id=\"1\"/><Languages name=\"bb\" fullname=\"Beta\" id=\"2\"/>",
         {VK_RETURN},
         "bb"},
        {"<Languages name=\"aa\" fullname=\"Alpha\" id=\"30\"/><Languages name=\"bb\" fullname=\"Beta\" id=\"7\"/>",
         {VK_UP, VK_RETURN},
         "aa"},
        // One name for all: the first one.
        {"<Languages name=\"aa\" id=\"0\"/><Languages name=\"bb\" id=\"1\"/>", {VK_DOWN, VK_RETURN}, "aa"},
        // None at all.
        {"", {VK_UP, VK_DOWN, VK_RETURN}, "true"},
    };
    for (const auto& c : cases) {
        SetLanguages(c.entries);
        EXPECT_EQ(Run<CVarnoUIDlgLanguage>(c.keys), 1);
        EXPECT_EQ(settings.GetXMLConfSettingsItemVal("language", ""), c.code) << c.entries;
        EXPECT_EQ(Run<CVarnoUIDlgLanguage>({VK_DOWN, VK_F1}), 2);
        EXPECT_EQ(settings.GetXMLConfSettingsItemVal("language", ""), c.code) << c.entries;
    }
}

TEST_F(SettingsUi, ManyLanguagesScroll) {
    std::string entries;
    for (int id = 0; id < 40; ++id)
        entries += "<Languages name=\"l" + std::to_string(id) + "\" fullname=\"Language number " + std::to_string(id) +
                   ", with a long name\" id=\"" + std::to_string(id) + "\"/>";
    SetLanguages(entries);
    EXPECT_EQ(Run<CVarnoUIDlgLanguage>({VK_UP, VK_UP, VK_RETURN}), 1);
    EXPECT_EQ(settings.GetLanguage(), 38);
}

TEST_F(SettingsUi, TheColourIsSavedOnlyByEnter) {
    const struct {
        std::vector<int> keys;
        bool colorful;
    } cases[] = {{{VK_RIGHT, VK_F1}, true}, {{VK_RIGHT, VK_RETURN}, false},          {{VK_LEFT, VK_F1}, false},
                 {{VK_RETURN}, false},      {{VK_LEFT, VK_RIGHT, VK_RETURN}, false}, {{VK_LEFT, VK_RETURN}, true}};
    for (const auto& c : cases) {
        const int flushes = kernel.Flushes();
        const bool changes = settings.GetColorful() != c.colorful;
        EXPECT_EQ(Run<CVarnoUIDlgColor>(c.keys), 1);
        EXPECT_EQ(settings.GetColorful(), c.colorful);
        EXPECT_EQ(kernel.Flushes() > flushes, changes) << "an unchanged setting is not written";
        EXPECT_EQ(settings.GetXMLConfSettingsItemVal("colorful", ""), c.colorful ? "true" : "false");
    }
}

}  // namespace
}  // namespace ui_test
