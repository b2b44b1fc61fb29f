// The settings menus, through the device's keys.
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "board/font_substitute.h"
#include "mwin/font_face.h"
#include "mwin/text_coding.h"
#include "settings/built_in_texts.h"
#include "settings/varno_sv_setting.h"
#include "tests/scenario/media_files.h"

using testing::HasSubstr;

namespace scenario {
namespace {

constexpr const char* kFile = "varnosvconf.xml";

class SettingsMenu : public MediaTest {
  protected:
    // A setting as the file has it.
    static std::string Stored(const std::string& key) {
        const std::string file = ReadFile(kFile);
        const std::string entry = "<Settings name=\"" + key + "\" value=\"";
        const std::size_t at = file.find(entry);
        if (at == std::string::npos) return "";
        return file.substr(at + entry.size(), file.find('"', at + entry.size()) - at - entry.size());
    }
    void Restart() {
        Finish();
        StartLive();
    }
    // The saturation of the most colourful point of the live picture, away from the icons.
    int MostColourful() {
        EXPECT_TRUE(VideoRuns());
        const board::LcdPicture picture = board.Lcd();
        int most = 0;
        for (std::size_t i = 320 * 60; i < 320 * 200; ++i) {
            const auto [low, high] = std::minmax({picture[i] >> 16 & 255U, picture[i] >> 8 & 255U, picture[i] & 255U});
            most = std::max(most, static_cast<int>(high - low));
        }
        return most;
    }
};

TEST_F(SettingsMenu, ReadsWellInEveryLanguage) {
    const struct {
        const char* keys;
        const char* page;
    } pages[] = {{"", "language"},     {"1", "advanced"},       {"^E", "date_time"}, {"1^E", "tv_out"},
                 {"E", "tv_question"}, {"E", "no_wire"},        {"111", "setup"},    {"vE", "color"},
                 {"1vE", "format"},    {"E", "erase_question"}, {">EvE,,", "help"}};
    StartLive();
    for (const std::string language : {"en", "es", "fr", "de", "nl"}) {
        Keys(language == "en" ? "1,EvE" : "1,EvEvEE");
        for (const auto& page : pages) {
            Keys(page.keys);
            // "Help" is Dutch, too.
            const bool english = language == "nl" && page.page == std::string("help");
            ExpectLcd("settings_" + (english ? "en" : language) + "_" + page.page);
        }
        Keys("E");
        ExpectLiveView(1);
        EXPECT_EQ(Stored("language"), language);
    }
    EXPECT_THAT(board.Commands(), testing::Not(testing::Contains(testing::ContainsRegex("mkdosfs|lcdparams"))));
}

// A language that a user adds; its list has more rows than five.
TEST_F(SettingsMenu, TakesALanguageThatTheFileGained) {
    std::string file = ReadFile(source_directory + "/settings/varnosvconf.xml");
    file.replace(file.find("    </Item>\n</Varno>"), std::string::npos,
                 "<Languages name=\"zh\" fullname=\"中文\" id=\"5\"><StringTable ID=\"10001\" string=\"设置\"/>"
                 "<StringTable ID=\"10002\" string=\"高级设置\"/><StringTable ID=\"10003\" string=\"彩色或黑白\"/>"
                 "<StringTable ID=\"10004\" string=\"\xB8\xF1\xCA\xBD\xBB\xAF\xB4\xE6\xB4\xA2\"/>"
                 "<StringTable ID=\"10005\" string=\"帮助\"/><StringTable ID=\"10007\" string=\"语言\"/>"
                 "<StringTable ID=\"10015\" string=\"格式化\"/>"
                 "<StringTable ID=\"10016\" string=\"警告：这将删除内存中的所有文件，您确定吗？\"/>"
                 "</Languages></Item></Varno>");
    std::ofstream(kFile, std::ios::binary) << file;
    StartLive();
    Walk({{"1,EvE^", "settings_zh_language"}, {"E1", "settings_zh_setup"}, {"vvEE", "settings_zh_erase_question"}});
    Keys(">E");
    ExpectLiveView(1);
    EXPECT_EQ(Stored("language"), "zh");
    EXPECT_THAT(ReadFile(kFile).substr(ReadFile(kFile).find("中文")),
                HasSubstr("ID=\"10006\" string=\"Date and Time\""));
    Restart();
    EXPECT_EQ(CVarnoSVSetting::GetInstance().GetLanguage(), 5);
}

// The start without a file, nor what it was delivered as, makes one with English menus, and no language to choose from.
TEST_F(SettingsMenu, WorksWithoutItsFile) {
    std::remove(kFile);
    std::remove("varnosvconf.default.xml");
    StartLive();
    EXPECT_EQ(Printed("Error in varnosvconf.xml: Failed to open file\n"), 1);
    Walk({{"1,", "settings_en_setup"}});
    Keys("EvE^E");
    ExpectLiveView(2);
    EXPECT_EQ(Stored("language"), "true");
    EXPECT_EQ(Stored("colorful"), "true");
    Restart();
    Walk({{"1,", "settings_en_setup"}});
    ExpectLiveView(1);
    EXPECT_EQ(Stored("language"), "true");
}

// In the face itself, not in one that stands in for it.
TEST_F(SettingsMenu, EveryCharacterOfEveryTextHasItsGlyph) {
    board::InstallFontSubstitutes();
    MwSetTextCoding(1);
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    settings.InitConfigFile();
    const mwin::FontFace* font = mwin::FontLibrary::Instance().Find("MSYH.TTF");
    ASSERT_NE(font, nullptr);
    for (const BuiltInTexts& language : kBuiltInTexts) {
        std::string all;
        for (const char* text : language.texts)
            all += text;
        for (int text = 10001; text <= 10025; ++text)
            all += settings.GetXMLConfLangItemVal(language.language, text, "");
        EXPECT_GT(all.size(), 400U);
        for (const char32_t character : mwin::DecodeText(all.data(), all.size()))
            EXPECT_NE(font->IndexOf(character), 0U) << static_cast<unsigned>(character) << " of " << all;
    }
}

TEST_F(SettingsMenu, OnePressIsOneStep) {
    StartLive();
    Keys(",1,");
    EXPECT_EQ(Lamp(), 18) << "the light is off";
    Walk({{"", "settings_en_setup"},
          {"^", "settings_en_setup_bottom"},  // around the end
          {"EE", "settings_en_setup_bottom"},
          {"v", "settings_en_setup"},
          // The other keys do nothing here; Left and Right move without going around.
          {"234<", "settings_en_setup"}});
    EXPECT_EQ(Printed("Help Menu\n"), 1);
    Keys(">E1<E");
    EXPECT_EQ(Printed("Color Menu\n"), 1);
    EXPECT_EQ(Printed("Advanced settings Menu\n"), 1);
    ExpectLiveView(2);
    EXPECT_EQ(Lamp(), 70);
    ExpectLcdAtTwelve("live_view");
    EXPECT_EQ(Printed("~CVarnoUIDialog\n"), 4);
}

TEST_F(SettingsMenu, MonochromeStays) {
    StartLive();
    ASSERT_GT(MostColourful(), 60);
    Keys("1,vE>");  // changed, but not saved
    ExpectLiveView(2);
    EXPECT_GT(MostColourful(), 60);

    Keys("1,vE><<E");
    ExpectLiveView(1);
    EXPECT_LT(MostColourful(), 12);
    EXPECT_EQ(Stored("colorful"), "false");
    EXPECT_EQ(board.Get(&board::Block::unsynced_bytes), 0);
    ExpectLcdAtTwelve("monochrome");
    board.PlugCamera(false);
    EXPECT_TRUE(RunUntilState("DETECT"));
    board.PlugCamera(true);
    ExpectLiveView();
    EXPECT_LT(MostColourful(), 12);
    Restart();
    EXPECT_LT(MostColourful(), 12);
    Walk({{"1,vE", "settings_en_monochrome"}});
    Keys("<E");
    ExpectLiveView(1);
    EXPECT_GT(MostColourful(), 60);
}

// Whatever date is set that a clock of 32 bits holds, time goes on: timers, the watchdog, and the names of what is
// recorded.
TEST_F(SettingsMenu, AnyDateIsSetOnALiveBoard) {
    StartLive();
    const auto steps = [](int count) {
        return std::string(static_cast<std::size_t>(std::abs(count)), count > 0 ? '^' : 'v');
    };
    // From 17 May 2024, 12:00: steps in the day's, the month's and the year's field; then the day of a still.
    const struct {
        int day, month, year;
        const char* date;
    } cases[] = {{14, -3, -14, "2010-03-03"},  // of 31 February
                 {-3, 10, 27, "2037-01-31"},
                 {-3, 1, -27, "2010-02-28"},
                 {-2, -1, 27, "2037-01-26"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.date);
        Keys("1,EE>" + steps(c.day) + "<" + steps(c.month) + ">>" + steps(c.year) + "E");
        ExpectLiveView(2);
        EmptyCard();
        TakeStill();
        ASSERT_THAT(CardFiles(), testing::ElementsAre(testing::MatchesRegex("[0-9A-F]{8}\\.jpg")));
        const auto taken = static_cast<std::time_t>(std::stoul(CardFiles()[0], nullptr, 16));
        char date[40];
        std::strftime(date, sizeof(date), "%Y-%m-%d", std::gmtime(&taken));
        EXPECT_STREQ(date, c.date);
        Keys(">");
        Advance(35s);
        EXPECT_EQ(Drawn(kBrightBox), 0);
        EXPECT_FALSE(Starved());
    }
    EXPECT_EQ(Printed("StopStateMachine\n"), static_cast<int>(std::size(cases)));
    Keys("3");
    RecordForAWhile();
    Keys("E");
    ExpectLiveView();
    EXPECT_THAT(CardFiles(), testing::Contains(testing::MatchesRegex("20370126[0-9]{6}\\.avi")));
}

TEST_F(SettingsMenu, FormattingLeavesAnEmptyMediumToRecordOn) {
    StartLive();
    for (const bool card : {true, false}) {
        SCOPED_TRACE(card ? "card" : "internal storage");
        const auto medium = card ? board::Medium::Card : board::Medium::Nand;
        const auto files = [&] { return board.Files(medium, card ? "DCIM" : "").size(); };
        InsertCard(card);
        TakeStill();
        EXPECT_EQ(files(), 1U);
        const auto format = [&](const char* answers) {
            Keys(std::string("1,vvE") + answers);
            ExpectLiveView(1);
        };
        for (const char* no : {">E", "E>E", "E1"})
            format(no);
        EXPECT_EQ(files(), 1U);
        format("EE");
        EXPECT_THAT(board.Files(medium), testing::IsEmpty());
        EXPECT_EQ(board.Get(&board::Block::unsynced_bytes), 0);
        EXPECT_TRUE(board.Get(card ? &board::Block::card : &board::Block::nand).mounted);
        TakeStill();
        EXPECT_EQ(files(), 1U);
    }
}

}  // namespace
}  // namespace scenario
