#include "ui/media/varno_ui_dlg_media_explore.h"

#include <algorithm>
#include <cstdio>
#include <list>
#include <optional>

#include "settings/varno_sv_setting.h"
#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"
#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/base/varno_ui_dlg_msg_box.h"
#include "ui/base/varno_ui_dlg_warning.h"
#include "ui/media/varno_ui_dlg_media_player.h"

namespace {

constexpr WORD kDialogId = 105;
constexpr UINT kTimerId = 0x10000007;
constexpr UINT kPeriodMs = 100;
constexpr LRESULT kWantsAllKeys = DLGC_WANTARROWS | DLGC_HASSETSEL | DLGC_WANTCHARS;
constexpr UINT kYesNo = 4;
constexpr COLORREF kBackground = 0xFFFFFFFF;
constexpr COLORREF kTextColor = 0xFF1C1814;

constexpr int kQuestionText = 10012;
constexpr int kQuestionCaption = 10013;

}  // namespace

CVarnoUIDlgMediaExplore* CVarnoUIDlgMediaExplore::CreateNew(HINSTANCE instance, HWND parent, MEDIA_TYPE type) {
    return new CVarnoUIDlgMediaExplore(instance, parent, type);
}

CVarnoUIDlgMediaExplore::CVarnoUIDlgMediaExplore(HINSTANCE instance, HWND parent, MEDIA_TYPE type)
    : CVarnoUIDialog(instance, parent, kDialogId), m_SelectMediaType(type) {}

CVarnoUIDlgMediaExplore::~CVarnoUIDlgMediaExplore() {
    StopStateMachine();
    printf("~CVarnoUIDlgMediaExplore\n");
}

void CVarnoUIDlgMediaExplore::InitDialog() {
    CVarnoUIDialog::InitDialog();
    SetWindowText(m_hHwnd, "MediaExp");
    StartStateMachine();
    const std::string directory = MediaDirectory();
    if (!directory.empty()) {
        m_strCurPath = directory;
        InitFunnelCtrl();
        InitFileList(directory);
        DenitFunnelCtrl();
        InitArrows();
        InitPageStatic();
        Init2LineExp();
        SetActiveWindow(m_hHwnd);
        // Without the timer nothing would come, and the keys would wait for ever.
        if (m_tTimerStateMachine != 0) ChangeToNewState(FILE_EXP_WAIT_ALL_FILE);
    }
    SetCaption(m_SelectMediaType == Media_Photo ? "Photo" : "Video");
}

void CVarnoUIDlgMediaExplore::DestoryDialog() {
    StopStateMachine();
    DenitFunnelCtrl();
    Deinit2LineExp();
    DeinitPageStatic();
    DeinitArrows();
    ClearFileList();
    MwLetKeysWait(FALSE);
    printf("CVarnoUIDlgMediaExplore::DestoryDialog\n");
    CVarnoUIDialog::DestoryDialog();
}

LRESULT CVarnoUIDlgMediaExplore::DialogProc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    switch (msg) {
        case WM_GETDLGCODE:
            return kWantsAllKeys;
        case WM_ERASEBKGND:
            return 1;
        case WM_CTLCOLORSTATIC: {
            if (reinterpret_cast<HWND>(lparam) != m_hPageStatic) return 0;
            HDC dc = reinterpret_cast<HDC>(wparam);
            SetTextColor(dc, kTextColor);
            SetBkColor(dc, kBackground);
            return reinterpret_cast<LRESULT>(Varno::SolidBrush(kBackground));
        }
        case WM_KEYDOWN:
            if (m_curExpState == FILE_EXP_IDLE) HandleKeyDown(static_cast<unsigned>(wparam));
            return 0;
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}

// ---- States --------------------------------------------------------------------------------------------------------

void CALLBACK CVarnoUIDlgMediaExplore::statetimerproc(HWND hwnd, UINT /*msg*/, UINT /*id*/, DWORD /*time*/) {
    auto* dialog = static_cast<CVarnoUIDlgMediaExplore*>(ObjectOf<CVarnoUIDialog>(hwnd));
    if (dialog != nullptr) dialog->StateMachine();
}

bool CVarnoUIDlgMediaExplore::StartStateMachine() {
    StopStateMachine();
    m_tTimerStateMachine = SetTimer(m_hHwnd, kTimerId, kPeriodMs, statetimerproc);
    return m_tTimerStateMachine != 0;
}

void CVarnoUIDlgMediaExplore::StopStateMachine() {
    if (m_tTimerStateMachine != 0) KillTimer(m_hHwnd, m_tTimerStateMachine);
    m_tTimerStateMachine = 0;
}

void CVarnoUIDlgMediaExplore::StateMachine() {
    switch (m_curExpState) {
        case FILE_EXP_WAIT_ALL_FILE:
            InitFunnelCtrl();
            ChangeToNewState(FILE_EXP_LOAD_ALL_FILE);
            break;
        case FILE_EXP_LOAD_ALL_FILE:
            ChangeToNewState(FILE_EXP_REFRESH_LISTBOX);
            break;
        case FILE_EXP_REFRESH_LISTBOX:
            ShowLastPage();
            m_bLoaded = true;
            ChangeToNewState(FILE_EXP_IDLE);
            DenitFunnelCtrl();
            break;
        case FILE_EXP_IDLE:
            break;
    }
}

void CVarnoUIDlgMediaExplore::ChangeToNewState(FILE_EXP_STATE state) {
    m_lastExpState = m_curExpState;
    m_curExpState = state;
    printf("FileExplorer state %s to %s\n", StateString(m_lastExpState), StateString(m_curExpState));
    MwLetKeysWait(m_curExpState != FILE_EXP_IDLE);
}

const char* CVarnoUIDlgMediaExplore::StateString(FILE_EXP_STATE state) {
    switch (state) {
        case FILE_EXP_IDLE:
            return "FILE_EXP_IDLE";
        case FILE_EXP_WAIT_ALL_FILE:
            return "FILE_EXP_WAIT_ALL_FILE";
        case FILE_EXP_LOAD_ALL_FILE:
            return "FILE_EXP_LOAD_ALL_FILE";
        case FILE_EXP_REFRESH_LISTBOX:
            return "FILE_EXP_REFRESH_LISTBOX";
    }
    return "Unknown state";
}

void CVarnoUIDlgMediaExplore::ShowLastPage() {
    SetCurPage(PageCount(TotalFiles()) - 1);
    RefreshItemText(m_files.empty() ? 0 : SelectedItem() + 1);
}

// ---- Keys ----------------------------------------------------------------------------------------------------------

void CVarnoUIDlgMediaExplore::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_F1:
            EndDialog(m_hHwnd, kUserLeft);
            break;
        case VK_RETURN:
            OpenSelected();
            break;
        case VK_F2:
            DeleteSelected();
            break;
        case VK_LEFT:
            Move(ExplorerMove::Left);
            break;
        case VK_RIGHT:
            Move(ExplorerMove::Right);
            break;
        case VK_UP:
            Move(ExplorerMove::Up);
            break;
        case VK_DOWN:
            Move(ExplorerMove::Down);
            break;
        default:
            break;
    }
}

void CVarnoUIDlgMediaExplore::Move(ExplorerMove move) {
    if (m_p2LineExp == nullptr || m_files.empty()) return;
    const unsigned target = MovedItem(SelectedItem(), TotalFiles(), move);
    const unsigned page = target / kPageItems;
    if (page != m_nCurPage && move == ExplorerMove::Down) {
        printf("++%d curpos = %d page = %d lastnum = %d\n", __LINE__, static_cast<int>(target % kPageItems),
               static_cast<int>(page), static_cast<int>((TotalFiles() - 1) % kPageItems + 1));
    }
    // The control knows neither other pages nor which cells of a short one have no picture.
    if (page != m_nCurPage || m_p2LineExp->MovedPos(move) != target % kPageItems) {
        SelectItem(target);
        return;
    }
    if (move == ExplorerMove::Up || move == ExplorerMove::Down) {
        m_p2LineExp->MoveV(move == ExplorerMove::Up);
    } else {
        m_p2LineExp->MoveH(move == ExplorerMove::Left);
    }
    RefreshItemText(target + 1);
}

void CVarnoUIDlgMediaExplore::OpenSelected() {
    if (m_p2LineExp == nullptr || SelectedItem() >= TotalFiles()) return;
    const FileList file = m_files[SelectedItem()];
    const std::unique_ptr<CVarnoUIDlgMediaPlayer> player(CVarnoUIDlgMediaPlayer::CreateNew(m_hInst, m_hHwnd));
    printf(file.m_nKind == FileList::kClip ? "Open AVI %s\n" : "Open JPG %s\n", file.m_strPath.c_str());
    player->SetFilename(file.m_strPath);
    player->DoModel();
    if (m_hHwnd == nullptr) return;  // the program is ending
    SetActiveWindow(m_hHwnd);
    SelectFile(player->GetFilename());
    m_p2LineExp->Refresh();
}

void CVarnoUIDlgMediaExplore::DeleteSelected() {
    if (!m_bLoaded || m_p2LineExp == nullptr || SelectedItem() >= TotalFiles()) return;
    CVarnoSVSetting& settings = CVarnoSVSetting::GetInstance();
    const std::string question = settings.GetXMLConfLangItemVal(kQuestionText, "Are you sure to delete the file?");
    const std::string caption = settings.GetXMLConfLangItemVal(kQuestionCaption, "Delete");
    const int answer = VarnoMessageBox(m_hHwnd, question.c_str(), caption.c_str(), kYesNo);
    if (m_hHwnd == nullptr || answer != IDYES) return;
    UpdateWindow(m_hHwnd);  // the question would stay on the screen
    InitFunnelCtrl();
    const unsigned deleted = SelectedItem();
    RemoveFile(m_files[deleted].m_strPath);
    InitFileList(m_strCurPath);
    if (!m_files.empty()) {
        const unsigned item = std::min(deleted > 0 ? deleted - 1 : 0, TotalFiles() - 1);
        SetCurPage(item / kPageItems);
        SelectItem(item);
    }
    DenitFunnelCtrl();
    if (m_files.empty()) LeaveEmpty();
}

// Names come from whatever device wrote the card: the shell must not see anything in them.
void CVarnoUIDlgMediaExplore::RemoveFile(const std::string& path) {
    const std::string word = Varno::ShellWord(path);
    printf("Deleting %s\n", path.c_str());
    Varno::kernel().System(("rm -f " + word).c_str());
    Varno::kernel().System(("sync " + word).c_str());
    printf("sync %s\n", path.c_str());
}

void CVarnoUIDlgMediaExplore::LeaveEmpty() {
    const std::unique_ptr<CVarnoUIDlgWarning> warning(CVarnoUIDlgWarning::CreateNew(m_hInst, m_hHwnd));
    if (warning != nullptr) warning->DoModal(WARNBOX_NoFiles);
    if (m_hHwnd == nullptr) return;
    EndDialog(m_hHwnd, kNoFileLeft);
    PostMessage(m_hHwnd, WM_QUIT, 0, 0);
}

// ---- List and page -------------------------------------------------------------------------------------------------

void CVarnoUIDlgMediaExplore::InitFileList(const std::string& directory) {
    ClearFileList();
    m_files = ListMediaFiles(directory, m_SelectMediaType == Media_Photo ? FileList::kPhoto : FileList::kClip);
}

void CVarnoUIDlgMediaExplore::ClearFileList() {
    m_files.clear();
}

void CVarnoUIDlgMediaExplore::SetCurPage(unsigned page) {
    const unsigned pages = PageCount(TotalFiles());
    if (pages == 0) return;
    m_nCurPage = std::min(page, pages - 1);
    Refresh2LineExp();
    ShowArrow(ARROW_UP, m_nCurPage > 0);
    ShowArrow(ARROW_DOWN, m_nCurPage + 1 < pages);
}

void CVarnoUIDlgMediaExplore::SelectItem(unsigned item) {
    if (item / kPageItems != m_nCurPage) SetCurPage(item / kPageItems);
    m_p2LineExp->SetCurPos(item % kPageItems);
    RefreshItemText(item + 1);
}

void CVarnoUIDlgMediaExplore::SelectFile(const std::string& path) {
    const auto found =
        std::find_if(m_files.begin(), m_files.end(), [&](const FileList& file) { return file.m_strPath == path; });
    if (found != m_files.end()) SelectItem(static_cast<unsigned>(found - m_files.begin()));
}

void CVarnoUIDlgMediaExplore::Refresh2LineExp() {
    if (m_p2LineExp == nullptr) return;
    std::optional<BusyPicture> busy;
    if (m_pFunnel == nullptr) busy.emplace();
    std::list<std::string> paths;
    const unsigned first = m_nCurPage * kPageItems;
    for (unsigned item = first; item < std::min(first + kPageItems, TotalFiles()); ++item)
        paths.push_back(m_files[item].m_strPath);
    m_p2LineExp->InitPicList(paths);
    // Pressed before the pictures were seen, they would open or delete one that nobody chose.
    MwDropKey(VK_RETURN);
    MwDropKey(VK_F2);
}

void CVarnoUIDlgMediaExplore::RefreshItemText(unsigned item) {
    const std::string text = std::to_string(item) + " / " + std::to_string(TotalFiles());
    if (m_hPageStatic != nullptr) SetWindowText(m_hPageStatic, text.c_str());
}

// ---- Controls ------------------------------------------------------------------------------------------------------
// Below the caption the thumbnails, below them a line with the position between the two arrows.

namespace {

struct Layout {
    int width = CVarnoSVSetting::GetInstance().GetScrWidth();
    int height = CVarnoSVSetting::GetInstance().GetScrHeight();
    int grid_top = height * 38 / 240;
    int grid_height = height * 165 / 240;
    int line_height = height - grid_top - grid_height;
    int text_left = width / 4;
    int text_width = width / 2;
    int text_height = line_height * 24 / 37;
    int text_top = grid_top + grid_height + (line_height - text_height) / 2;
    int arrow_width = width * 20 / 320;
    int arrow_height = height * 13 / 240;
    int arrow_top = grid_top + grid_height + (line_height - arrow_height) / 2;
};

}  // namespace

void CVarnoUIDlgMediaExplore::InitArrows() {
    const Layout at;
    const int left = at.text_left - at.arrow_width;
    const int right = at.text_left + at.text_width;
    for (const ARROW_DIR direction : {ARROW_UP, ARROW_DOWN}) {
        auto& arrow = m_arrows[direction];
        arrow.reset(CVarnoUICtrlArrow::CreateNew(m_hInst, m_hHwnd, direction, direction == ARROW_UP ? left : right,
                                                 at.arrow_top, at.arrow_width, at.arrow_height));
        if (arrow != nullptr) arrow->SetBackgroundColor(kBackground);
    }
}

void CVarnoUIDlgMediaExplore::DeinitArrows() {
    for (auto& arrow : m_arrows)
        arrow.reset();
}

void CVarnoUIDlgMediaExplore::ShowArrow(ARROW_DIR direction, bool show) {
    auto& arrow = m_arrows[direction];
    if (arrow != nullptr) arrow->Show(show ? SW_SHOW : SW_HIDE);
}

void CVarnoUIDlgMediaExplore::InitFunnelCtrl() {
    m_pFunnel = std::make_unique<BusyPicture>();
}

void CVarnoUIDlgMediaExplore::DenitFunnelCtrl() {
    m_pFunnel.reset();
}

void CVarnoUIDlgMediaExplore::InitPageStatic() {
    const Layout at;
    m_hPageStatic = CreateWindowEx(0, "STATIC", "", WS_CHILD | WS_VISIBLE | SS_CENTER, at.text_left, at.text_top,
                                   at.text_width, at.text_height, m_hHwnd, nullptr, m_hInst, nullptr);
    InitPageStaticFont(at.text_height * 5 / 6);
}

void CVarnoUIDlgMediaExplore::DeinitPageStatic() {
    if (m_hPageStatic != nullptr) DestroyWindow(m_hPageStatic);
    m_hPageStatic = nullptr;
    DeinitPageStaticFont();
}

void CVarnoUIDlgMediaExplore::InitPageStaticFont(int height) {
    m_hfPageStatic = Varno::CreateFaceFont("Arial.ttf", height, FW_NORMAL);
    if (m_hPageStatic != nullptr)
        SendMessage(m_hPageStatic, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfPageStatic), TRUE);
}

void CVarnoUIDlgMediaExplore::DeinitPageStaticFont() {
    if (m_hfPageStatic != nullptr) DeleteObject(m_hfPageStatic);
    m_hfPageStatic = nullptr;
}

void CVarnoUIDlgMediaExplore::Init2LineExp() {
    const Layout at;
    m_p2LineExp.reset(CVarnoUICtrl2LineExplorer::CreateNew(m_hInst, m_hHwnd, 0, at.grid_top, at.width, at.grid_height));
    if (m_p2LineExp == nullptr) return;
    m_p2LineExp->SetMediaType(m_SelectMediaType);
    m_p2LineExp->Show(SW_SHOW);
}

void CVarnoUIDlgMediaExplore::Deinit2LineExp() {
    m_p2LineExp.reset();
}
