#include "settings/varno_sv_setting.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <tinyxml.h>

#include <cstring>
#include <filesystem>

#include "settings/built_in_texts.h"
#include "tests/support/fake_kernel.h"
#include "tests/support/printed.h"

namespace {

using Call = support::FakeKernel::Call;
using support::Count;
using support::Printed;
using testing::HasSubstr;

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

// The name under which the `number`-th file is put aside.
std::string Aside(int number) {
    return std::string(kFile) + ".bad" + (number > 1 ? std::to_string(number) : "");
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
    std::string Languages() {
        std::map<unsigned, LanguageType*> list{{99, nullptr}};  // goes
        store.CopyLanguageList(list);
        std::string all;
        for (const auto& [id, language] : list)
            all += std::to_string(static_cast<int>(id)) + " " + language->name + " " + language->fullname + "; ";
        return all;
    }
    std::string Stored(const std::string& key) { return store.GetXMLConfSettingsItemVal(key, "none"); }
    // Every built-in text is where it belongs.
    void ExpectBuiltInTexts() {
        for (const BuiltInTexts& language : kBuiltInTexts) {
            for (int i = 0; i < BuiltInTexts::kCount; ++i)
                ASSERT_EQ(store.GetXMLConfLangItemVal(language.language, 10001 + i, "none"), language.texts[i]);
        }
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
    EXPECT_EQ(Languages(), "0 en English; 1 es Español; 2 fr Français; 3 de Deutsch; 4 nl Nederlands; ");
    EXPECT_TRUE(store.GetColorful());
    EXPECT_EQ(store.GetLanguage(), 0);
    for (int language = 0; language < 5; ++language) {
        for (int id = 10001; id <= 10025; ++id)
            EXPECT_TRUE(id == 10019 || store.GetXMLConfLangItemVal(language, id, "missing") != "missing") << id;
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal("es", 10002, ""), "Configuraci\xA8\xAEn avanzada");
    EXPECT_EQ(store.GetXMLConfLangItemVal("fr", 10002, ""), "Param\xA8\xA8tres avanc\xA8\xA6s");
    EXPECT_TRUE(store.SaveXMLSettingItem("language", std::string("en")));
    EXPECT_EQ(kernel.Flushes(), 2);
    EXPECT_EQ(File(), shipped);
}

TEST_F(Settings, FirstStartWithoutAFile) {
    EXPECT_THAT(Printed([&] { store.InitConfigFile(); }), HasSubstr("Error in varnosvconf.xml: Failed to open file\n"));
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
    ExpectBuiltInTexts();
    EXPECT_EQ(store.GetLanguage(), 0);
    EXPECT_EQ(store.GetXMLConfLangItemVal(10001, "Setup"), "Setup") << "English, though no language has an id";
    EXPECT_EQ(store.GetXMLConfLangItemVal(0, 10001, "Setup"), "") << "the language is not listed";

    // The languages the program made have no ids: all of them are -1, of which one is listed.
    store.InitConfigFile();
    EXPECT_EQ(File(), file);
    EXPECT_EQ(Languages(), "-1 en English; ");
}

TEST_F(Settings, ANewFileStartsFromTheShippedOne) {
    const std::string shipped = Contents(source / kShipped);
    kernel.Put("varnosvconf.default.xml", shipped);
    store.InitConfigFile();
    EXPECT_EQ(File(), shipped);
    Start("broken");
    EXPECT_EQ(kernel.Get(Aside(1)), "broken");
    EXPECT_EQ(File(), shipped);
    EXPECT_EQ(Languages(), "0 en English; 1 es Español; 2 fr Français; 3 de Deutsch; 4 nl Nederlands; ");
}

TEST_F(Settings, StoredLanguageIsFoundByItsCode) {
    const std::string languages =
        "<Item name=\"Languages\"><Languages name=\"de\" fullname=\"Deutsch\" id=\"3\"/><Languages id=\"1\"/>"
        "<Languages name=\"xx\" id=\"seven\"/><Languages name=\"yy\"/><Languages name=\"de\" id=\"9\"/></Item>"
        "<Item name=\"Other\"><Languages name=\"zz\" id=\"5\"/></Item><Item/>";
    for (const auto& [code, id, stored] : {std::tuple{"de", 3, "de"},
                                           {"en", 1, "en"},
                                           {"xx", -1, "xx"},
                                           {"yy", 0, "true"},
                                           {"zz", 0, "true"},
                                           {"", 0, "true"}}) {
        Start(Document(Setting("language", code) + languages));
        EXPECT_EQ(store.GetLanguage(), id) << code;
        EXPECT_EQ(Stored("language"), stored);
        EXPECT_EQ(Languages(), "1 en English; 3 de Deutsch; 9 de English; -1 xx English; ");
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
    const std::pair<int, const char*> cases[] = {
        {10001, "Mein <Text> & \"mehr\""},        {10002, "Erweiterte Einstellungen"}, {10003, ""},
        {10004, "Formatieren der Speicherkarte"}, {10020, "fallback '\"<&>"},          {10012, "fallback '\"<&>"}};
    for (int round = 0; round < 2; ++round) {
        for (const auto& [id, text] : cases)
            EXPECT_EQ(store.GetXMLConfLangItemVal(id, "fallback '\"<&>"), text);
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal("pt", 10001, "Sim"), "Sim");
    EXPECT_EQ(store.GetXMLConfLangItemVal("pt", 10001, "other"), "Sim");
    EXPECT_THAT(File(), HasSubstr("<!-- by hand -->"));
    EXPECT_EQ(Count(File(), "\"10012\"") + Count(File(), "ID=\"10020\" string="), 2);
}

TEST_F(Settings, TextBytesSurviveWhateverTheirEncoding) {
    // GB2312 codes whose bytes look like the start of UTF-8 characters, straight before a quote or a bracket.
    const std::string text = "\xE9\xA1\xE9 \xC3 \xF0\x9F \xB8\xF1\xCA\xBD\xBB\xAF \xE6\x96\x87 \x80\xFE\xE9";
    Start("\xEF\xBB\xBF" + Document(Setting("a", text) + Setting("b", "&#243;&#x4E2D;&#65;") + "<!--" + text + "-->"));
    EXPECT_EQ(Stored("a"), text);
    EXPECT_EQ(Stored("b"), "\xC3\xB3\xE4\xB8\xAD\x41");
    EXPECT_THAT(File(), HasSubstr("value=\"" + text + "\""));
    EXPECT_THAT(File(), HasSubstr("<!--" + text + "-->"));
    EXPECT_TRUE(store.SaveXMLSettingItem("c", 7));
    EXPECT_TRUE(store.SaveXMLSettingItem("d", false));
    EXPECT_EQ(Stored("a"), text);
    EXPECT_EQ(Stored("c"), "7");
    EXPECT_EQ(Stored("d"), "false");
}

TEST_F(Settings, Colour) {
    for (const auto& [stored, before, after, kept] : {std::tuple{"true", false, true, "true"},
                                                      {"false", true, false, "false"},
                                                      {"TRUE", true, false, "TRUE"},
                                                      {"", true, true, "true"}}) {
        store.SetColorful(before);
        Start(Document(Setting("colorful", stored)));
        EXPECT_EQ(store.GetColorful(), after) << stored;
        EXPECT_EQ(Stored("colorful"), kept);
    }
    const int flushes = kernel.Flushes();
    store.SetColorful(true);
    EXPECT_EQ(kernel.Flushes(), flushes) << "unchanged";
    store.SetColorful(false);
    EXPECT_GT(kernel.Flushes(), flushes);
    EXPECT_EQ(Stored("colorful"), "false");
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
        EXPECT_EQ(Printed([&] { Start(empty); }), "Error in varnosvconf.xml: Error document empty.\n");
        EXPECT_EQ(Count(File(), "<StringTable "), 40);
        EXPECT_FALSE(kernel.Exists(Aside(1))) << "nothing to lose";
    }
    int number = 0;
    for (const std::string& text : broken) {
        EXPECT_EQ(Count(Printed([&] { Start(text); }), "Error in varnosvconf.xml: "), 1);
        EXPECT_TRUE(kernel.Get(Aside(++number)) == text) << number << ": " << text.substr(0, 40);
        EXPECT_EQ(Stored("colorful"), "true");
    }
    Start("a tenth");
    EXPECT_EQ(kernel.Get(Aside(9)), "a tenth") << "replaces the last";
    EXPECT_EQ(kernel.Get(Aside(1)), broken[0]);
}

// Whatever is left of a file, the program starts with every built-in text, says what is wrong once, and keeps what it
// cannot read.
TEST_F(Settings, StartsWithWhateverIsLeftOfItsFile) {
    const std::string shipped = Contents(source / kShipped);
    std::vector<std::pair<std::string, bool>> cases{
        {Document("<Item name=\"Languages\"><Languages name=\"en\" id=\"0\">"
                  "<StringTable ID=\"10001\" string=\"Setup\"/>"
                  "<StringTable ID=\"10001\" string=\"Second\"/></Languages>"
                  "<Languages name=\"de\" id=\"0\"/></Item>"),
         true},
        {"<Other><Item name=\"Settings\"/></Other>", true},
        {"<!-- nothing else -->", true}};
    for (std::size_t length = 64; length < shipped.find("</Varno>"); length += 64)
        cases.emplace_back(shipped.substr(0, length), false);
    for (const auto& [text, readable] : cases) {
        SCOPED_TRACE(text.size());
        const std::string printed = Printed([&, text = text] { Start(text); });
        EXPECT_EQ(Count(printed, "Error in varnosvconf.xml: "), readable ? 0 : 1) << printed;
        ExpectBuiltInTexts();
        EXPECT_EQ(store.GetXMLConfLangItemVal(10001, "Setup"), "Setup");
        EXPECT_TRUE(store.GetColorful());
        int last = 9;
        while (last > 1 && !kernel.Exists(Aside(last)))
            --last;
        EXPECT_TRUE(readable || kernel.Get(Aside(last)) == text);
    }
}

TEST_F(Settings, FailedSaveKeepsTheOldFile) {
    Start(Contents(source / kShipped));
    const std::string before = File();
    for (const auto& [call, error] :
         {std::pair{Call::Open, EROFS}, {Call::Write, ENOSPC}, {Call::Flush, EIO}, {Call::Close, EIO}}) {
        kernel.FailNth(call, 1, error);
        EXPECT_EQ(Printed([&] { EXPECT_EQ(store.GetXMLConfLangItemVal(10099, "new"), "new"); }),
                  std::string("Error in varnosvconf.xml: ") + std::strerror(error) + "\n");
        EXPECT_EQ(File(), before);
        EXPECT_FALSE(kernel.Exists("unfinished.part"));
        kernel.FailNth(call, 1, error);
        EXPECT_FALSE(store.SaveXMLSettingItem("new", true));
        EXPECT_EQ(File(), before);
    }
    EXPECT_EQ(store.GetXMLConfLangItemVal(10099, "new"), "new");
    EXPECT_THAT(File(), HasSubstr("ID=\"10099\" string=\"new\""));
}

TEST_F(Settings, UnreadableFileIsLeftAlone) {
    for (const bool pipe : {false, true}) {  // which would be waited for
        ASSERT_EQ(pipe ? mkfifo(kFile, 0600) : mkdir(kFile, 0700), 0);
        store.InitConfigFile();
        EXPECT_EQ(Stored("colorful"), "none");
        EXPECT_FALSE(store.SaveXMLSettingItem("colorful", false));
        EXPECT_FALSE(std::filesystem::is_regular_file(kFile));
        EXPECT_FALSE(kernel.Exists(Aside(1)));
        std::filesystem::remove(kFile);
    }
    // Nor is one that cannot be put aside.
    for (int number = 1; number <= 9; ++number)
        std::filesystem::create_directory(Aside(number));
    EXPECT_THAT(Printed([&] { Start("broken"); }), HasSubstr("Error in varnosvconf.xml: Is a directory\n"));
    EXPECT_EQ(File(), "broken");
}

TEST_F(Settings, OtgStateIsTheAnswerOfTheCall) {
    const std::string opened = "Init FSL OTG status device OK\n";
    EXPECT_EQ(Printed([&] { EXPECT_FALSE(store.InitFSLOTG()); }), "Can't init FSL OTG\n");
    EXPECT_EQ(store.GetOTGStatus(), 0);
    kernel.Put("/dev/fsl_otg", "");
    EXPECT_EQ(Printed([&] { EXPECT_TRUE(store.InitFSLOTG() && store.InitFSLOTG()); }), opened + opened);
    EXPECT_EQ(kernel.OpenFiles(), 1);
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
    const int stranger = kernel.Open("/dev/fsl_otg", O_RDWR);  // gets the same number
    store.DeinitFSLOTG();
    EXPECT_EQ(kernel.Close(stranger), 0) << "was left open";
}

// Files of "key=value" lines, which another tool of the board may read.
TEST_F(Settings, KeyValueFiles) {
    const std::string file = "/etc/settings.conf";
    const std::string filler(249, 'x');
    kernel.on_system = [&](const std::string& command) {
        if (command != "mv " + file + ".tmp " + file) return 127 << 8;
        std::filesystem::rename(kernel.Path(file) + ".tmp", kernel.Path(file));
        return 0;
    };
    std::string value;
    bool flag = false;
    kernel.Put(file, "# a=comment\na=1 # one\r\nb=x=y\n\nno pair\n=nameless\n" + filler + "=tail\nlong=" + filler +
                         "more=stuff\na=2\non=true\noff=false\nlast=end");
    for (const auto& [key, expected] : {std::pair{"a", "1 "}, {"b", "x=y"}, {"", "nameless"}, {"last", "end"}}) {
        EXPECT_EQ(store.ReadSettingItemToString(file, key, value), 1) << key;
        EXPECT_EQ(value, expected);
    }
    EXPECT_EQ(store.ReadSettingItemToString(file, "more", value) + store.ReadSettingItemToString(file, "#", value), 0);
    EXPECT_TRUE(store.ReadSettingItem(file, "on", flag) == 1 && flag);
    EXPECT_TRUE(store.ReadSettingItem(file, "off", flag) == 1 && !flag);
    EXPECT_EQ(store.ReadSettingItem(file, "b", flag) + store.ReadSettingItem(file, "none", flag), 0);
    EXPECT_EQ(value, "end") << "kept when there is none";

    const std::pair<std::string, std::string> writes[] = {
        {"", "k=true\n"},
        {"a=1\nk=old # gone\nb=2\n", "a=1\nk=true\nb=2\n"},
        {"a=1", "a=1\nk=true\n"},
        {"# k=1\nkk=1\n", "# k=1\nkk=1\nk=true\n"},
        {"k=" + filler + filler + "\na=" + filler + "k=\n", "k=true\na=" + filler + "k=\n"}};
    for (const auto& [before, after] : writes) {
        kernel.Put(file, before);
        EXPECT_EQ(store.WriteSettingItem(file, "k", true), 1);
        EXPECT_EQ(kernel.Get(file), after);
    }
    kernel.Put(file, "k=1#x\nb\n");
    const std::string said = Printed([&] {
        EXPECT_EQ(store.ReadSettingItem(file, "k", flag) + store.ReadSettingItemToString("/etc/none", "k", value), 0);
        EXPECT_EQ(store.WriteSettingItem(file, "k", 7) + store.WriteSettingItem("/etc/none", "k", true), 0);
        kernel.FailNth(Call::System, 1, EAGAIN);
        EXPECT_EQ(store.WriteSettingItem(file, "k", false), 0);
        std::filesystem::remove(kernel.Path(file) + ".tmp");
        std::filesystem::create_symlink("/dev/full", kernel.Path(file) + ".tmp");
        EXPECT_EQ(store.WriteSettingItem(file, "k", false), 0);
    });
    EXPECT_EQ(said,
              "name:k, value:1\nError: read file /etc/none\nError: read orig file /etc/none\n"
              "Error: Excute mv /etc/settings.conf.tmp /etc/settings.conf\n"
              "Error: read file /etc/settings.conf.tmp\n");
    EXPECT_EQ(kernel.Get(file), "k=1#x\nb\n");
}

}  // namespace
