// Questions and warnings as they look.
#include "app/globals.h"
#include "app/sv_main.h"
#include "settings/varno_sv_setting.h"
#include "tests/scenario/scenario.h"
#include "ui/base/varno_ui_dlg_msg_box.h"
#include "ui/base/varno_ui_dlg_warning.h"

namespace scenario {
namespace {

class Dialogs : public ScenarioTest {
  protected:
    // Leaves the dialog open when it returns.
    void Open(std::function<void()> dialog) {
        closed = false;
        program->OnUiThread([this, dialog = std::move(dialog)] {
            dialog();
            closed = true;
        });
    }
    // Presses a key that closes the dialog.
    void Close(int key) {
        program->Press(key);
        EXPECT_TRUE(program->RunUntil([this] { return closed.load(); }, 5s));
    }
    std::atomic<bool> closed{false};
    std::atomic<int> answer{0};
};

std::string Text(int id) {
    return CVarnoSVSetting::GetInstance().GetXMLConfLangItemVal(id, "?");
}

TEST_F(Dialogs, QuestionsReadWellInEveryLanguage) {
    StartLive();
    program->OnUiThread([] { m_pMain->EnterMenu(); });
    ASSERT_TRUE(RunUntilState("STOP"));
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    for (const auto& [language, name] :
         {std::pair{0, "en"}, std::pair{1, "es"}, std::pair{2, "fr"}, std::pair{3, "de"}, std::pair{4, "nl"}}) {
        Open([&, language = language] {
            settings.InitLanguageList();
            settings.SetLanguage(language);
            answer = VarnoMessageBox(nullptr, Text(10016).c_str(), Text(10015).c_str(), 4);
        });
        if (language == 1) program->Press(VK_RIGHT);
        ExpectLcd(std::string("question_") + name);
        Close(VK_RETURN);
        EXPECT_EQ(answer, language == 1 ? IDNO : IDYES);
    }
    Open([&] { answer = VarnoMessageBox(nullptr, "警告：这将删除内存中的所有文件，您确定吗？", "格式化", 4); });
    ExpectLcd("question_zh");
    Close(VK_F1);
    EXPECT_EQ(answer, IDNO);
    Open([&] { answer = VarnoMessageBox(nullptr, Text(10024).c_str(), Text(10025).c_str(), 0); });
    ExpectLcd("note");
    Close(VK_RETURN);
    EXPECT_EQ(answer, IDNO);
}

TEST_F(Dialogs, Warnings) {
    StartLive();
    for (const auto& [kind, name] :
         {std::pair{WARNBOX_NoFiles, "warning_no_files"}, std::pair{WARNBOX_NoSpace, "warning_no_space"}}) {
        Open([&, kind = kind] {
            const std::unique_ptr<CVarnoUIDlgWarning> dialog(CVarnoUIDlgWarning::CreateNew(this, nullptr));
            answer = dialog->DoModal(kind);
        });
        program->Advance(100ms);
        ExpectLcd(name);
        Close(VK_F1);
        EXPECT_EQ(answer, 6);
    }
}

}  // namespace
}  // namespace scenario
