#include "settings/varno_sv_setting.h"

#include <gmock/gmock.h>
#include <tinyxml.h>

#include <filesystem>

#include "settings/built_in_texts.h"
#include "tests/support/fake_kernel.h"

namespace {

using Call = support::FakeKernel::Call;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

constexpr char kFile[] = "varnosvconf.xml";
constexpr char kShipped[] = "settings/varnosvconf.xml";

std::string Contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Document(const std::string& items) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Varno>" + items + "</Varno>\n";
}

std::string Setting(const std::string& name, const std::string& value) {
    return "<Item name=\"Settings\"><Settings name=\"" + name + "\" value=\"" + value + "\"/></Item>";
}

int Count(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

// Runs in an empty working directory; one InitConfigFile is one start of the program.
class Settings : public testing::Test {
  protected:
    Settings() : source(std::filesystem::current_path()) {
        std::filesystem::create_directories(kernel.Root() + "/work");
        std::filesystem::current_path(kernel.Root() + "/work");
    }
    ~Settings() override {
        store.DeinitFSLOTG();
        std::filesystem::current_path(source);
    }

    void Start(const std::string& document) {
        kernel.Put(kFile, document);
        store.InitConfigFile();
    }
    std::string File() { return kernel.Get(kFile); }
    std::vector<std::pair<unsigned, std::string>> Languages() {
        std::map<unsigned, LanguageType*> list;
        store.CopyLanguageList(list);
        std::vector<std::pair<unsigned, std::string>> names;
        for (const auto& [id, language] : list)
            names.emplace_back(id, language->name + " " + language->fullname);
        return names;
    }

    support::FakeKernel kernel;
    const std::filesystem::path source;
    CVarnoSVSetting& store = CVarnoSVSetting::GetInstance();
};

TEST_F(Settings, ShippedFileIsCompleteAndSurvivesByteForByte) {
    const std::string shipped = Contents(source / kShipped);
    Start(shipped);
    EXPECT_EQ(File(), shipped);
    EXPECT_EQ(kernel.Flushes(), 0) << "nothing is missing, so nothing is written";
    EXPECT_THAT(Languages(), ElementsAre(Pair(0, "en English"), Pair(1, "es Espa\xC3\xB1ol"),
                                         Pair(2,
                                              "fr Fran\xC3\xA7"
                                              "ais"),
                                         Pair(3, "de Deutsch"), Pair(4, "nl Nederlands")));
    EXPECT_TRUE(store.GetColorful());
    EXPECT_EQ(store.GetLanguage(), 0);
    for (int language = 0; language < 5; ++language) {
        for (int id = 10001; id <= 10025; ++id) {
            if (id != 10019) {
                EXPECT_NE(store.GetXMLConfLangItemVal(language, id, "missing"), "missing") << language << " " << id;
            }
        }
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal("es", 10002, ""), "Configuraci\xA8\xAEn avanzada");
    EXPECT_EQ(store.GetXMLConfLangItemVal("fr", 10002, ""), "Param\xA8\xA8tres avanc\xA8\xA6s");
    EXPECT_TRUE(store.SaveXMLSettingItem("language", std::string("en")));
    EXPECT_EQ(kernel.Flushes(), 2);
    EXPECT_EQ(File(), shipped);
}

TEST_F(Settings, FirstStartWithoutAFile) {
    testing::internal::CaptureStdout();
    store.InitConfigFile();
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("Error in varnosvconf.xml: Failed to open file\n"));
    EXPECT_EQ(kernel.Flushes(), 2) << "one write: the file and its directory";
    const std::string file = File();
    EXPECT_EQ(Count(file, "<StringTable "), 40);
    EXPECT_EQ(Count(file, "<Languages "), 5);
    EXPECT_EQ(Count(file, " id="), 0);
    for (const char* part :
         {"<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<Varno>\n", "name=\"colorful\" value=\"true\"",
          "name=\"language\" value=\"true\"", "ID=\"10001\" string=\"configuraci\xA8\xAEn\"",
          "string=\"Formater la carte m\xA8\xA6moire\""}) {
        EXPECT_THAT(file, HasSubstr(part));
    }
    for (const BuiltInTexts& language : kBuiltInTexts) {
        for (int i = 0; i < BuiltInTexts::kCount; ++i) {
            EXPECT_EQ(store.GetXMLConfLangItemVal(language.language, 10001 + i, "other"), language.texts[i]);
        }
    }
    EXPECT_EQ(store.GetLanguage(), 0);
    EXPECT_EQ(store.GetXMLConfLangItemVal(10001, "Setup"), "Setup") << "English, though no language has an id";
    EXPECT_EQ(store.GetXMLConfLangItemVal(0, 10001, "Setup"), "") << "the language is not listed";

    // The languages the program made have no ids: all of them are -1, of which one is listed.
    store.InitConfigFile();
    EXPECT_EQ(File(), file);
    EXPECT_THAT(Languages(), ElementsAre(Pair(4294967295U, "en English")));
}

TEST_F(Settings, StoredLanguageIsFoundByItsCode) {
    const std::string languages =
        "<Item name=\"Languages\"><Languages name=\"de\" fullname=\"Deutsch\" id=\"3\"/><Languages id=\"1\"/>"
        "<Languages name=\"xx\" id=\"seven\"/><Languages name=\"yy\"/><Languages name=\"de\" id=\"9\"/></Item>"
        "<Item name=\"Other\"><Languages name=\"zz\" id=\"5\"/></Item><Item/>";
    const struct {
        const char* code;
        int id;
        const char* stored;
    } cases[] = {{"de", 3, "de"},   {"en", 1, "en"},   {"xx", -1, "xx"},
                 {"yy", 0, "true"}, {"zz", 0, "true"}, {"", 0, "true"}};
    for (const auto& c : cases) {
        Start(Document(Setting("language", c.code) + languages));
        EXPECT_EQ(store.GetLanguage(), c.id) << c.code;
        EXPECT_EQ(store.GetXMLConfSettingsItemVal("language", "none"), c.stored);
        EXPECT_THAT(Languages(), ElementsAre(Pair(1, "en English"), Pair(3, "de Deutsch"), Pair(9, "de English"),
                                             Pair(4294967295U, "xx English")));
    }
}

TEST_F(Settings, ChangingTheLanguage) {
    Start(Contents(source / kShipped));
    store.SetLanguage(3);
    EXPECT_EQ(store.GetLanguage(), 3);
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("language", ""), "de");
    EXPECT_EQ(store.GetXMLConfLangItemVal(10005, "Help"), "Hilfe");
    const std::string file = File();
    store.SetLanguage(7);
    EXPECT_EQ(store.GetLanguage(), 3);
    EXPECT_EQ(File(), file);
    store.InitConfigFile();
    EXPECT_EQ(store.GetLanguage(), 3);
}

TEST_F(Settings, TextsAreCompletedAndNeverOverwritten) {
    Start(Document(Setting("language", "de") +
                   "<!-- by hand --><Item name=\"Languages\"><Languages name=\"de\" id=\"3\">"
                   "<StringTable ID=\"10001\" string=\"Mein &lt;Text&gt; &amp; &quot;mehr&quot;\"/>"
                   "<StringTable ID=\"10002\"/><StringTable ID=\"10020\"/><StringTable ID=\"x\" string=\"y\"/>"
                   "<StringTable ID=\"10003\" string=\"\"/></Languages></Item>"));
    const struct {
        int id;
        const char* text;
    } cases[] = {
        {10001, "Mein <Text> & \"mehr\""},        {10002, "Erweiterte Einstellungen"}, {10003, ""},
        {10004, "Formatieren der Speicherkarte"}, {10020, "fallback '\"<&>"},          {10012, "fallback '\"<&>"}};
    for (int round = 0; round < 2; ++round) {
        for (const auto& c : cases)
            EXPECT_EQ(store.GetXMLConfLangItemVal(c.id, "fallback '\"<&>"), c.text);
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal("pt", 10001, "Sim"), "Sim");
    EXPECT_EQ(store.GetXMLConfLangItemVal("pt", 10001, "other"), "Sim");
    EXPECT_THAT(File(), HasSubstr("<!-- by hand -->"));
    EXPECT_EQ(Count(File(), "\"10012\""), 1);
}

TEST_F(Settings, TextBytesSurviveWhateverTheirEncoding) {
    // GB2312 codes whose bytes look like the start of UTF-8 characters, straight before a quote or a bracket.
    const std::string text = "\xE9\xA1\xE9 \xC3 \xF0\x9F \xB8\xF1\xCA\xBD\xBB\xAF \xE6\x96\x87 \x80\xFE\xE9";
    Start("\xEF\xBB\xBF" + Document(Setting("a", text) + Setting("b", "&#243;&#x4E2D;&#65;") + "<!--" + text + "-->"));
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("a", ""), text);
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("b", ""),
              "\xC3\xB3\xE4\xB8\xAD"
              "A");
    EXPECT_THAT(File(), HasSubstr("value=\"" + text + "\""));
    EXPECT_THAT(File(), HasSubstr("<!--" + text + "-->"));
    EXPECT_TRUE(store.SaveXMLSettingItem("c", 7));
    EXPECT_TRUE(store.SaveXMLSettingItem("d", false));
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("a", ""), text);
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("c", ""), "7");
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("d", ""), "false");
}

TEST_F(Settings, Colour) {
    const struct {
        const char* stored;
        bool before, after;
        const char* kept;
    } cases[] = {{"true", false, true, "true"},
                 {"false", true, false, "false"},
                 {"TRUE", true, false, "TRUE"},
                 {"", true, true, "true"}};
    for (const auto& c : cases) {
        store.SetColorful(c.before);
        Start(Document(Setting("colorful", c.stored)));
        EXPECT_EQ(store.GetColorful(), c.after) << c.stored;
        EXPECT_EQ(store.GetXMLConfSettingsItemVal("colorful", "none"), c.kept);
    }
    const int flushes = kernel.Flushes();
    store.SetColorful(true);
    EXPECT_EQ(kernel.Flushes(), flushes) << "unchanged";
    store.SetColorful(false);
    EXPECT_GT(kernel.Flushes(), flushes);
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("colorful", "none"), "false");
}

TEST_F(Settings, UnparsableFileIsPutAside) {
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    const std::string good = Document(Setting("colorful", "false"));
    const std::string broken[] = {"plain text",
                                  "<Varno><Item",
                                  "<Varno><Item name=\"Settings\">",
                                  "<Varno></Item></Varno>",
                                  "<Varno a=\"1\" a=\"2\"/>",
                                  "<?xml version='1\"0'?><Varno/>",
                                  deep,
                                  good + std::string(1024 * 1024, ' '),
                                  good + std::string(1, '\0') + "x"};
    for (const char* empty : {"", " \n"}) {
        Start(empty);
        EXPECT_EQ(Count(File(), "<StringTable "), 40);
        EXPECT_FALSE(kernel.Exists(std::string(kFile) + ".bad")) << "nothing to lose";
    }
    int number = 1;
    for (const std::string& text : broken) {
        Start(text);
        const std::string aside = std::string(kFile) + ".bad" + (number > 1 ? std::to_string(number) : "");
        EXPECT_TRUE(kernel.Get(aside) == text) << aside << ": " << text.substr(0, 40);
        EXPECT_EQ(store.GetXMLConfSettingsItemVal("colorful", "none"), "true");
        ++number;
    }
    EXPECT_EQ(kernel.Get(std::string(kFile) + ".bad"), broken[0]);
}

// Whatever is left of a file, the program starts with every built-in text, says what is wrong once, and keeps what it
// cannot read.
TEST_F(Settings, StartsWithWhateverIsLeftOfItsFile) {
    const std::string shipped = Contents(source / kShipped);
    struct Case {
        std::string text;
        bool readable;
    };
    std::vector<Case> cases{{Document("<Item name=\"Languages\"><Languages name=\"en\" id=\"0\">"
                                      "<StringTable ID=\"10001\" string=\"Setup\"/>"
                                      "<StringTable ID=\"10001\" string=\"Second\"/></Languages>"
                                      "<Languages name=\"de\" id=\"0\"/></Item>"),
                             true},
                            {"<Other><Item name=\"Settings\"/></Other>", true},
                            {"<!-- nothing else -->", true}};
    for (std::size_t length = 64; length < shipped.find("</Varno>"); length += 64)
        cases.push_back({shipped.substr(0, length), false});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.size());
        testing::internal::CaptureStdout();
        Start(c.text);
        const std::string printed = testing::internal::GetCapturedStdout();
        EXPECT_EQ(Count(printed, "Error in varnosvconf.xml: "), c.readable ? 0 : 1) << printed;
        for (const BuiltInTexts& language : kBuiltInTexts) {
            for (int i = 0; i < BuiltInTexts::kCount; ++i)
                ASSERT_EQ(store.GetXMLConfLangItemVal(language.language, 10001 + i, "none"), language.texts[i]);
        }
        EXPECT_EQ(store.GetXMLConfLangItemVal(10001, "Setup"), "Setup");
        EXPECT_TRUE(store.GetColorful());
        std::string kept;
        for (int number = 1; number <= 9; ++number) {
            const std::string aside = std::string(kFile) + ".bad" + (number > 1 ? std::to_string(number) : "");
            if (kernel.Exists(aside)) kept = kernel.Get(aside);
        }
        EXPECT_TRUE(c.readable || kept == c.text);
    }
}

TEST_F(Settings, FailedSaveKeepsTheOldFile) {
    Start(Contents(source / kShipped));
    const std::string before = File();
    const struct {
        Call call;
        int error;
        const char* message;
    } cases[] = {{Call::Open, EROFS, "Error in varnosvconf.xml: Read-only file system\n"},
                 {Call::Write, ENOSPC, "Error in varnosvconf.xml: No space left on device\n"},
                 {Call::Flush, EIO, "Error in varnosvconf.xml: Input/output error\n"},
                 {Call::Close, EIO, "Error in varnosvconf.xml: Input/output error\n"}};
    for (const auto& c : cases) {
        testing::internal::CaptureStdout();
        kernel.FailNth(c.call, 1, c.error);
        EXPECT_EQ(store.GetXMLConfLangItemVal(10099, "new"), "new");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.message);
        EXPECT_EQ(File(), before);
        EXPECT_FALSE(kernel.Exists(std::string("unfinished.part")));
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal(10099, "new"), "new");
    EXPECT_THAT(File(), HasSubstr("ID=\"10099\" string=\"new\""));
}

TEST_F(Settings, UnreadableFileIsLeftAlone) {
    std::filesystem::create_directory(kFile);
    store.InitConfigFile();
    EXPECT_EQ(store.GetXMLConfSettingsItemVal("colorful", "true"), "true");
    EXPECT_FALSE(store.SaveXMLSettingItem("colorful", false));
    EXPECT_TRUE(std::filesystem::is_directory(kFile));
    EXPECT_FALSE(kernel.Exists(std::string(kFile) + ".bad"));
}

TEST_F(Settings, OtgStateIsTheAnswerOfTheCall) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(store.InitFSLOTG());
    EXPECT_EQ(store.GetOTGStatus(), 0);
    kernel.Put("/dev/fsl_otg", "");
    EXPECT_TRUE(store.InitFSLOTG());
    EXPECT_TRUE(store.InitFSLOTG());
    EXPECT_EQ(kernel.OpenFiles(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Can't init FSL OTG\nInit FSL OTG status device OK\nInit FSL OTG status device OK\n");
    for (const auto& [answer, status] : {std::pair{1, 1}, {0, 2}, {-1, 0}, {2, 0}}) {
        kernel.on_ioctl = [answer = answer](const std::string&, unsigned long request, void* state) {
            *static_cast<int*>(state) = 1;
            return request == 0x80044201 ? answer : 99;
        };
        EXPECT_EQ(store.GetOTGStatus(), status) << answer;
    }
    store.DeinitFSLOTG();
    EXPECT_EQ(kernel.OpenFiles(), 0);
    EXPECT_EQ(store.GetOTGStatus(), 0);
}

}  // namespace
