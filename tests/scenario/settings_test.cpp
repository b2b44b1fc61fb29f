// The settings menus, through the device's keys.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "board/font_substitute.h"
#include "mwin/font_face.h"
#include "mwin/text_coding.h"
#include "settings/built_in_texts.h"
#include "settings/varno_sv_setting.h"
#include "sys/clock.h"
#include "tests/scenario/scenario.h"

using testing::HasSubstr;

namespace scenario {
namespace {

constexpr const char* kFile = "varnosvconf.xml";

std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class SettingsMenu : public ScenarioTest {
  protected:
    void Press(std::initializer_list<int> keys) {
        for (const int key : keys)
            program->Press(key);
    }
    void Down(int rows) {
        for (int i = 0; i < rows; ++i)
            program->Press(VK_DOWN);
    }
    // From live view to the setup menu, which comes when the camera has stopped.
    void OpenMenu() {
        program->Press(VK_F1);
        ASSERT_TRUE(RunUntilState("STOP"));
    }
    // From live view into a row of the setup menu, or of the advanced menu.
    void OpenSetup(int row) {
        OpenMenu();
        Down(row);
        program->Press(VK_RETURN);
    }
    void OpenAdvanced(int row) {
        OpenSetup(0);
        Down(row);
        program->Press(VK_RETURN);
    }
    void BackToLive(int levels) {
        for (int i = 0; i < levels; ++i)
            program->Press(VK_F1);
        EXPECT_TRUE(RunUntilState("VIEW"));
    }
    // A setting as the file has it.
    static std::string Stored(const std::string& key) {
        const std::string file = Contents(kFile);
        const std::string entry = "<Settings name=\"" + key + "\" value=\"";
        const std::size_t at = file.find(entry);
        return at == std::string::npos
                   ? ""
                   : file.substr(at + entry.size(), file.find('"', at + entry.size()) - at - entry.size());
    }
    void Restart() {
        EXPECT_EQ(End(), 0);
        program.reset();
        StartLive();
    }
    // How many commands contain a text.
    static int Count(const std::vector<std::string>& commands, const std::string& text) {
        return static_cast<int>(std::count_if(commands.begin(), commands.end(), [&](const std::string& command) {
            return command.find(text) != std::string::npos;
        }));
    }
    // The saturation of the most colourful point of the live picture, away from the icons.
    int MostColourful() {
        const board::LcdPicture picture = board.Lcd();
        int most = 0;
        for (std::size_t i = 320 * 60; i < 320 * 200; ++i) {
            const int red = static_cast<int>(picture[i] >> 16 & 255);
            const int green = static_cast<int>(picture[i] >> 8 & 255);
            const int blue = static_cast<int>(picture[i] & 255);
            most = std::max(most, std::max({red, green, blue}) - std::min({red, green, blue}));
        }
        return most;
    }
};

TEST_F(SettingsMenu, ReadsWellInEveryLanguage) {
    StartLive();
    const char* const languages[] = {"en", "es", "fr", "de", "nl"};
    for (int i = 0; i < 5; ++i) {
        const std::string name = std::string("settings_") + languages[i] + "_";
        OpenAdvanced(1);
        if (i > 0) Press({VK_DOWN, VK_RETURN, VK_RETURN});
        ExpectLcd(name + "language");
        program->Press(VK_F1);
        ExpectLcd(name + "advanced");
        Press({VK_UP, VK_RETURN});
        ExpectLcd(name + "date_time");
        Press({VK_F1, VK_UP, VK_RETURN});
        ExpectLcd(name + "tv_out");
        program->Press(VK_RETURN);
        ExpectLcd(name + "tv_question");
        program->Press(VK_RETURN);
        ExpectLcd(name + "no_wire");
        Press({VK_F1, VK_F1, VK_F1});
        ExpectLcd(name + "setup");
        Press({VK_DOWN, VK_RETURN});
        ExpectLcd(name + "color");
        Press({VK_F1, VK_DOWN, VK_RETURN});
        ExpectLcd(name + "format");
        Press({VK_F1, VK_DOWN, VK_RETURN});
        program->Advance(2s);
        ExpectLcd(name + "help");
        Press({VK_RETURN});
        BackToLive(1);
        EXPECT_EQ(Stored("language"), languages[i]);
    }
    EXPECT_THAT(board.Commands(), testing::Not(testing::Contains(HasSubstr("lcdparams"))));
}

// A language that a user adds; its list has more rows than five.
TEST_F(SettingsMenu, TakesALanguageThatTheFileGained) {
    std::string file = Contents(source_directory + "/settings/varnosvconf.xml");
    file.replace(file.find("    </Item>\n</Varno>"), std::string::npos,
                 "<Languages name=\"zh\" fullname=\"中文\" id=\"5\"><StringTable ID=\"10001\" string=\"设置\"/>"
                 "<StringTable ID=\"10002\" string=\"高级设置\"/><StringTable ID=\"10003\" string=\"彩色或黑白\"/>"
                 "<StringTable ID=\"10004\" string=\"\xB8\xF1\xCA\xBD\xBB\xAF\xB4\xE6\xB4\xA2\"/>"
                 "<StringTable ID=\"10005\" string=\"帮助\"/><StringTable ID=\"10007\" string=\"语言\"/>"
                 "</Languages></Item></Varno>");
    std::ofstream(kFile, std::ios::binary) << file;
    StartLive();
    OpenAdvanced(1);
    program->Press(VK_UP);
    ExpectLcd("settings_zh_language");
    Press({VK_RETURN, VK_F1});
    ExpectLcd("settings_zh_setup");
    BackToLive(1);
    EXPECT_EQ(Stored("language"), "zh");
    EXPECT_THAT(Contents(kFile).substr(Contents(kFile).find("中文")),
                HasSubstr("ID=\"10006\" string=\"Date and Time\""));
    Restart();
    EXPECT_EQ(CVarnoSVSetting::GetInstance().GetLanguage(), 5);
}

// The start without a file makes one with English menus, and no language to choose from.
TEST_F(SettingsMenu, WorksWithoutItsFile) {
    std::remove(kFile);
    StartLive();
    EXPECT_EQ(Printed("Error in varnosvconf.xml: Failed to open file\n"), 1);
    OpenMenu();
    ExpectLcd("settings_en_setup_top");
    Press({VK_RETURN, VK_DOWN, VK_RETURN, VK_UP, VK_RETURN});
    BackToLive(2);
    EXPECT_EQ(Stored("language"), "true");
    EXPECT_EQ(Stored("colorful"), "true");
    Restart();
    OpenMenu();
    ExpectLcd("settings_en_setup_top");
    BackToLive(1);
    EXPECT_EQ(Stored("language"), "true");
}

// In the face itself, not in one that stands in for it.
TEST_F(SettingsMenu, EveryCharacterOfEveryTextHasItsGlyph) {
    board::InstallFontSubstitutes();
    MwSetTextCoding(1);
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    settings.InitConfigFile();
    std::map<unsigned, LanguageType*> languages;
    settings.CopyLanguageList(languages);
    ASSERT_EQ(languages.size(), 5U);
    std::vector<std::pair<const char*, std::string>> texts{{"Arial.ttf", "NTSC PAL SV410 Firmware Version V2.0"},
                                                           {"Arialb.ttf", "Month Day Year Time(24) 0123456789"}};
    for (const auto& [id, language] : languages) {
        texts.emplace_back("MSYH.TTF", language->fullname);
        for (int text = 10001; text <= 10025; ++text)
            texts.emplace_back("MSYH.TTF", settings.GetXMLConfLangItemVal(language->name, text, ""));
    }
    for (const BuiltInTexts& language : kBuiltInTexts) {
        for (const char* text : language.texts)
            texts.emplace_back("MSYH.TTF", text);
    }
    std::size_t characters = 0;
    for (const auto& [name, text] : texts) {
        const mwin::FontFace* face = mwin::FontLibrary::Instance().Find(name);
        ASSERT_NE(face, nullptr) << name;
        for (const char32_t character : mwin::DecodeText(text.data(), text.size())) {
            EXPECT_NE(face->IndexOf(character), 0U)
                << static_cast<unsigned>(character) << " of " << text << " in " << name;
            ++characters;
        }
    }
    EXPECT_GT(characters, 2000U);
}

TEST_F(SettingsMenu, OnePressIsOneStep) {
    StartLive();
    program->Advance(1s);
    OpenMenu();
    EXPECT_EQ(board.Get(&board::Block::lamp), 18) << "the light is off";
    ExpectLcd("settings_en_setup_top");
    Press({VK_UP});  // around the end
    ExpectLcd("settings_en_setup_bottom");
    Press({VK_RETURN, VK_RETURN});
    EXPECT_EQ(Printed("Help Menu\n"), 1);
    ExpectLcd("settings_en_setup_bottom");
    Press({VK_DOWN});
    ExpectLcd("settings_en_setup_top");
    // The other keys do nothing here; Left and Right move without going around.
    Press({VK_F2, VK_F3, VK_F4, VK_LEFT});
    ExpectLcd("settings_en_setup_top");
    Press({VK_RIGHT, VK_RETURN});
    EXPECT_EQ(Printed("Color Menu\n"), 1);
    Press({VK_F1, VK_LEFT, VK_RETURN});
    EXPECT_EQ(Printed("Advanced settings Menu\n"), 1);
    BackToLive(2);
    EXPECT_TRUE(VideoRuns());
    EXPECT_EQ(board.Get(&board::Block::lamp), 70);
    program->Advance(3s);
    ExpectLcd("live_view");
    EXPECT_EQ(Printed("~CVarnoUIDialog\n"), 4);
}

TEST_F(SettingsMenu, MonochromeStays) {
    StartLive();
    EXPECT_TRUE(VideoRuns());
    ASSERT_GT(MostColourful(), 60);
    // Changed, but not saved.
    OpenSetup(1);
    program->Press(VK_RIGHT);
    BackToLive(2);
    EXPECT_TRUE(VideoRuns());
    EXPECT_GT(MostColourful(), 60);

    OpenSetup(1);
    Press({VK_RIGHT, VK_LEFT, VK_LEFT, VK_RETURN});
    BackToLive(1);
    EXPECT_TRUE(VideoRuns());
    EXPECT_LT(MostColourful(), 12);
    EXPECT_EQ(Stored("colorful"), "false");
    ExpectLcd("monochrome");

    board.PlugCamera(false);
    EXPECT_TRUE(RunUntilState("DETECT"));
    board.PlugCamera(true);
    ASSERT_TRUE(RunUntilState("VIEW"));
    EXPECT_TRUE(VideoRuns());
    EXPECT_LT(MostColourful(), 12);
    Restart();
    EXPECT_TRUE(VideoRuns());
    EXPECT_LT(MostColourful(), 12);
    OpenSetup(1);
    ExpectLcd("settings_en_monochrome");
    Press({VK_LEFT, VK_RETURN});
    BackToLive(1);
    EXPECT_TRUE(VideoRuns());
    EXPECT_GT(MostColourful(), 60);
}

// Whatever date is set that a clock of 32 bits holds, time goes on: timers, the watchdog, and the names of what is
// recorded.
TEST_F(SettingsMenu, AnyDateIsSetOnALiveBoard) {
    StartLive();
    const auto now = [] {
        tm time{};
        Varno::GetNow(time);
        return Varno::validate_tm_time(&time);
    };
    // From 17 May 2024, 12:00: steps in the day's, the month's and the year's field; then what both clocks show.
    const struct {
        int day, month, year;
        const char* date;
    } cases[] = {{14, -3, -14, "2010-03-03"},  // of 31 February
                 {-3, 10, 27, "2037-01-31"},
                 {-3, 1, -27, "2010-02-28"},
                 {-2, -1, 27, "2037-01-26"}};
    int stills = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.date);
        OpenAdvanced(0);
        const auto step = [&](int steps) {
            for (int i = 0; i < std::abs(steps); ++i)
                program->Press(steps > 0 ? VK_UP : VK_DOWN);
        };
        program->Press(VK_RIGHT);
        step(c.day);
        program->Press(VK_LEFT);
        step(c.month);
        Press({VK_RIGHT, VK_RIGHT});
        step(c.year);
        program->Press(VK_RETURN);
        tm rtc{};
        EXPECT_TRUE(Varno::get_rtc_time(rtc));
        char date[40];
        std::strftime(date, sizeof(date), "%Y-%m-%d", &rtc);
        EXPECT_STREQ(date, c.date);
        const std::time_t set = now();
        EXPECT_EQ(Varno::validate_tm_time(&rtc), set);
        BackToLive(2);
        EXPECT_TRUE(VideoRuns());

        program->Press(VK_RETURN);
        ++stills;
        ASSERT_TRUE(program->RunUntil([&] { return CardFiles().size() == static_cast<std::size_t>(stills); }));
        int named = 0;
        for (const std::string& name : CardFiles()) {
            const auto seconds = static_cast<std::time_t>(std::stoul(name.substr(0, 8), nullptr, 16));
            if (name.size() == 12 && seconds >= set && seconds <= now()) ++named;
        }
        EXPECT_EQ(named, 1);
        EXPECT_TRUE(VideoRuns());
        program->Press(VK_RIGHT);
        program->Advance(4900ms);
        EXPECT_GT(Drawn(kBrightBox), 0);
        program->Advance(200ms);
        EXPECT_EQ(Drawn(kBrightBox), 0);
        if (stills > 2) continue;  // backwards and forwards is enough for what takes long
        program->Advance(35s);
        EXPECT_FALSE(board::WatchdogStarved(board.Block(), board.Clock().Monotonic()));
    }
    EXPECT_EQ(Printed("StopStateMachine\n"), stills);
    Press({VK_F3, VK_RETURN});
    ASSERT_TRUE(RunUntilState("REC_VIDEO"));
    program->Advance(2s);
    program->Press(VK_RETURN);
    ASSERT_TRUE(RunUntilState("VIEW"));
    EXPECT_THAT(CardFiles(), testing::Contains(testing::MatchesRegex("20370126[0-9]{6}\\.avi")));
}

// However deep the dialogs are nested, a PC that is connected closes them all, and no question was answered by it.
TEST_F(SettingsMenu, APcClosesEveryDialog) {
    StartLive();
    const std::vector<int> paths[] = {{},
                                      {VK_RETURN, VK_RETURN},
                                      {VK_RETURN, VK_DOWN, VK_RETURN},
                                      {VK_RETURN, VK_UP, VK_RETURN, VK_RETURN},
                                      {VK_DOWN, VK_RETURN},
                                      {VK_DOWN, VK_DOWN, VK_RETURN},
                                      {VK_DOWN, VK_DOWN, VK_RETURN, VK_RETURN},
                                      {VK_UP, VK_RETURN}};
    for (const std::vector<int>& path : paths) {
        OpenMenu();
        for (const int key : path)
            program->Press(key);
        board.Set(&board::Block::usb_host, true);
        board.Folder().Sync();
        const auto exported = [this] {
            return board.Read("/sys/devices/platform/fsl-usb2-udc/gadget/gadget-lun0/file").find("loop0") == 5;
        };
        ASSERT_TRUE(program->RunUntil(exported)) << path.size();
        EXPECT_EQ(Count(board.Commands(), "mkdosfs"), 0);
        board.Set(&board::Block::usb_host, false);
        board.Folder().Sync();
        ASSERT_TRUE(RunUntilState("VIEW"));
        EXPECT_TRUE(VideoRuns());
    }
    EXPECT_EQ(Stored("colorful"), "true");
    EXPECT_EQ(Printed("StopStateMachine\n"), 0);
}

TEST_F(SettingsMenu, FormattingLeavesAnEmptyMediumToRecordOn) {
    const auto format = [this](std::initializer_list<int> answers) {
        OpenSetup(2);
        Press(answers);
        BackToLive(1);
    };
    StartLive();
    int formats = 0;
    for (const bool card : {true, false}) {
        SCOPED_TRACE(card ? "card" : "internal storage");
        const auto medium = card ? board::Medium::Card : board::Medium::Nand;
        const auto files = [&] { return board.Files(medium, card ? "DCIM" : ""); };
        board.InsertCard(card);
        program->Press(VK_RETURN);
        ASSERT_TRUE(program->RunUntil([&] { return files().size() == 1; }));
        ASSERT_TRUE(RunUntilState("VIEW"));
        format({VK_RIGHT, VK_RETURN});             // no
        format({VK_RETURN, VK_RIGHT, VK_RETURN});  // yes, no
        format({VK_RETURN, VK_F1});
        EXPECT_THAT(files(), testing::SizeIs(1));
        EXPECT_EQ(Count(board.Commands(), "umount"), formats);
        format({VK_RETURN, VK_RETURN});
        EXPECT_EQ(Count(board.Commands(), "umount"), formats + 1);
        EXPECT_THAT(board.Files(medium), testing::IsEmpty());
        EXPECT_TRUE(board.Get(card ? &board::Block::card : &board::Block::nand).mounted);
        program->Press(VK_RETURN);
        EXPECT_TRUE(program->RunUntil([&] { return files().size() == 1; }));
        EXPECT_TRUE(RunUntilState("VIEW"));
        ++formats;
    }
}

}  // namespace
}  // namespace scenario
