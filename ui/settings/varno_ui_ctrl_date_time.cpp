#include "ui/settings/varno_ui_ctrl_date_time.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "app/globals.h"
#include "sys/clock.h"
#include "ui/base/mw_ui_base.h"
#include "ui/base/varno_mwin_utils.h"
#include "ui/controls/varno_new_edit.h"

namespace {

constexpr const char* kClass = "VARNOCTRLDATE";
constexpr COLORREF kBackground = 0xFFFFFFFF;
constexpr COLORREF kTextColor = 0xFF000000;
constexpr int kFirstYear = 2010;
constexpr int kLastYear = 2099;
constexpr int kTmYear = 1900;        // of a broken-down time's year 0
constexpr double kLabelUnit = 0.14;  // of the control's width
constexpr int kLinesInHeight = 14;   // the layout's unit: this part of the control's height

// The number in a field; false, and `value` is left alone, when there is none.
bool ReadField(HWND edit, int& value) {
    char text[5] = {};  // a year and the end mark
    GetWindowText(edit, text, sizeof(text));
    char* end = nullptr;
    const long number = std::strtol(text, &end, 10);
    if (end == text || *end != '\0') return false;
    value = static_cast<int>(number);
    return true;
}

void WriteField(HWND edit, int value, bool year) {
    char text[16];
    std::snprintf(text, sizeof(text), year ? "%04d" : "%02d", value);
    SetWindowText(edit, text);
}

void DestroyControl(HWND& window) {
    if (window != nullptr) DestroyWindow(window);
    window = nullptr;
}

void DeleteFont(HFONT& font) {
    if (font != nullptr) DeleteObject(font);
    font = nullptr;
}

}  // namespace

CVarnoUICtrlDateTime* CVarnoUICtrlDateTime::CreateNew(HWND parent) {
    return new CVarnoUICtrlDateTime(parent);
}

CVarnoUICtrlDateTime::~CVarnoUICtrlDateTime() {
    DeinitWindow();
}

bool CVarnoUICtrlDateTime::InitWindow(int x, int y, int width, int height) {
    DeinitWindow();
    HINSTANCE instance = GetWindowInstance(m_hParent);
    WNDCLASS window_class{};
    window_class.lpfnWndProc = wndproc;
    window_class.cbWndExtra = kWindowObject + sizeof(LONG_PTR);
    window_class.hInstance = instance;
    window_class.hbrBackground = GetStockObject(WINDOW_ERASES_BRUSH);
    window_class.lpszClassName = kClass;
    RegisterClass(&window_class);
    m_width = width;
    m_height = height;
    m_hHwnd =
        CreateWindowEx(0, kClass, "", WS_CHILD | WS_VISIBLE, x, y, width, height, m_hParent, nullptr, instance, this);
    if (m_hHwnd == nullptr) return false;
    InitStaticCtrl();
    InitDateEdit();
    return true;
}

void CVarnoUICtrlDateTime::DeinitWindow() {
    DeinitDateEdit();
    DeinitStaticCtrl();
    DestroyControl(m_hHwnd);
}

// Where the fields and their labels begin, from 0.
int CVarnoUICtrlDateTime::Column(int column) const {
    return m_width * column * 3 / 10;
}

int CVarnoUICtrlDateTime::Line(int line) const {
    return m_height * line / kLinesInHeight;
}

void CVarnoUICtrlDateTime::InitStaticCtrl() {
    const double unit = kLabelUnit * m_width;
    const int height = Line(2);
    m_hfLabel = Varno::CreateFaceFont("Arialb.ttf", height * 3 / 4, FW_BOLD);
    // A label is wider than its column: each one covers the empty end of the one before it.
    const struct {
        const char* text;
        int column, line, units;
    } labels[kLabels] = {{"Month", 0, 0, 4}, {"Day", 1, 0, 3}, {"Year", 2, 0, 3}, {"Time(24)", 0, 7, 4}};
    for (int i = 0; i < kLabels; ++i) {
        HWND& label = m_labels[static_cast<std::size_t>(i)];
        label = CreateWindowEx(0, "STATIC", labels[i].text, WS_CHILD | WS_VISIBLE, Column(labels[i].column),
                               Line(labels[i].line), static_cast<int>(labels[i].units * unit), height, m_hHwnd, nullptr,
                               GetWindowInstance(m_hHwnd), nullptr);
        SendMessage(label, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfLabel), TRUE);
    }
}

void CVarnoUICtrlDateTime::DeinitStaticCtrl() {
    for (HWND& label : m_labels)
        DestroyControl(label);
    DeleteFont(m_hfLabel);
}

std::array<HWND*, CVarnoUICtrlDateTime::kMinute> CVarnoUICtrlDateTime::Edits() {
    return {&m_hEditMonth, &m_hEditDay, &m_hEditYear, &m_hEditHour, &m_hEditMinute};
}

HWND CVarnoUICtrlDateTime::EditAt(int position) {
    return *Edits()[static_cast<std::size_t>(position - 1)];
}

void CVarnoUICtrlDateTime::InitDateEdit() {
    tm now{};
    Varno::GetNow(now);
    const int height = Line(4);
    m_hfEdit = Varno::CreateFaceFont("Arialb.ttf", height * 2 / 3, FW_BOLD);
    const struct {
        int column, line, value;
    } fields[] = {{0, 2, now.tm_mon + 1},
                  {1, 2, now.tm_mday},
                  {2, 2, now.tm_year + kTmYear},
                  {0, 9, now.tm_hour},
                  {1, 9, now.tm_min}};
    for (int position = kMonth; position <= kMinute; ++position) {
        const auto& field = fields[position - 1];
        HWND& edit = *Edits()[static_cast<std::size_t>(position - 1)];
        const int right = position == kYear ? m_width : Column(field.column) + m_width / 4;
        edit = CreateWindowEx(0, kNewEditClass, "", WS_CHILD | WS_VISIBLE | ES_CENTER, Column(field.column),
                              Line(field.line), right - Column(field.column), height, m_hHwnd, nullptr,
                              GetWindowInstance(m_hHwnd), nullptr);
        SendMessage(edit, WM_SETFONT, reinterpret_cast<WPARAM>(m_hfEdit), TRUE);
        WriteField(edit, field.value, position == kYear);
    }
    m_CurDatePos = kMonth;
    DisplayCurDatePos();
}

void CVarnoUICtrlDateTime::DeinitDateEdit() {
    for (HWND* edit : Edits())
        DestroyControl(*edit);
    DeleteFont(m_hfEdit);
}

void CVarnoUICtrlDateTime::DisplayCurDatePos() {
    if (m_CurDatePos < kMonth) m_CurDatePos = kMinute;
    if (m_CurDatePos > kMinute) m_CurDatePos = kMonth;
    for (HWND* edit : Edits())
        SendMessage(*edit, WM_ENABLE, FALSE, 0);
    SendMessage(EditAt(m_CurDatePos), WM_ENABLE, TRUE, 0);
}

// By the shown month; leap years by the rule that is exact from 2010 to 2099.
int CVarnoUICtrlDateTime::DayMaximum() const {
    int month = 0;
    int year = 0;
    if (!ReadField(m_hEditMonth, month)) return 31;
    switch (month) {
        case 2:
            return ReadField(m_hEditYear, year) && year % 4 == 0 ? 29 : 28;
        case 4:
        case 6:
        case 9:
        case 11:
            return 30;
        default:
            return month >= 1 && month <= 12 ? 31 : 0;
    }
}

int CVarnoUICtrlDateTime::Maximum(int position) const {
    switch (position) {
        case kMonth:
            return 12;
        case kDay:
            return DayMaximum();
        case kYear:
            return kLastYear;
        case kHour:
            return 23;
        default:
            return 59;
    }
}

void CVarnoUICtrlDateTime::ChangeDateTimeValue(int down) {
    HWND edit = EditAt(m_CurDatePos);
    int value = 0;
    if (!ReadField(edit, value)) return;
    const int minimum = m_CurDatePos == kYear ? kFirstYear : m_CurDatePos < kHour ? 1 : 0;
    const int maximum = Maximum(m_CurDatePos);
    if (down == 0) {
        if (++value > maximum) value = minimum;
    } else {
        if (--value < minimum) value = maximum;
    }
    if (maximum < minimum) value = minimum;
    WriteField(edit, value, m_CurDatePos == kYear);
}

// The timers rest meanwhile, so that none of them sees the time jump.
void CVarnoUICtrlDateTime::SetClocks() {
    tm time{};
    Varno::GetNow(time);
    const MainWindowHooks& main_window = g_mainWindowHooks;
    if (main_window.stop_all_timers != nullptr) {
        printf("StopStateMachine\n");
        main_window.stop_all_timers();
    }
    int value = 0;
    if (ReadField(m_hEditYear, value)) time.tm_year = value - kTmYear;
    if (ReadField(m_hEditMonth, value)) time.tm_mon = value - 1;
    ReadField(m_hEditDay, time.tm_mday);
    ReadField(m_hEditHour, time.tm_hour);
    ReadField(m_hEditMinute, time.tm_min);
    time.tm_sec = 0;
    const std::time_t seconds = Varno::validate_tm_time(&time);
    printf("ts.tv_sec = %ld\n", static_cast<long>(seconds));
    Varno::SetSystemTime(seconds);
    Varno::set_rtc_time(time);
    if (main_window.start_all_timers != nullptr) main_window.start_all_timers();
}

void CVarnoUICtrlDateTime::HandleKeyDown(unsigned key) {
    switch (key) {
        case VK_LEFT:
            printf("%s:%d Left down\n", __func__, __LINE__);
            --m_CurDatePos;
            DisplayCurDatePos();
            break;
        case VK_RIGHT:
            printf("%s:%d Right down\n", __func__, __LINE__);
            ++m_CurDatePos;
            DisplayCurDatePos();
            break;
        case VK_UP:
            printf("%s:%d Up down\n", __func__, __LINE__);
            ChangeDateTimeValue(0);
            break;
        case VK_DOWN:
            printf("%s:%d Down down\n", __func__, __LINE__);
            ChangeDateTimeValue(1);
            break;
        case VK_RETURN:
            SetClocks();
            break;
        default:
            break;
    }
}

LRESULT CALLBACK CVarnoUICtrlDateTime::wndproc(HWND hwnd, UINT msg, WPARAM wparam, LPARAM lparam) {
    if (msg == WM_CREATE) {
        const auto* creation = reinterpret_cast<const CREATESTRUCT*>(lparam);
        SetWindowLong(hwnd, kWindowObject, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
        return 0;
    }
    auto* control = ObjectOf<CVarnoUICtrlDateTime>(hwnd);
    switch (msg) {
        case WM_DESTROY:
            SetWindowLong(hwnd, kWindowObject, 0);
            return 0;
        case WM_KEYDOWN:
            if (control != nullptr) control->HandleKeyDown(static_cast<unsigned>(wparam));
            return 0;
        case WM_ERASEBKGND: {
            RECT rect{};
            GetClientRect(hwnd, &rect);
            FastFillRect(reinterpret_cast<HDC>(wparam), &rect, kBackground);
            return 1;
        }
        case WM_CTLCOLORSTATIC:
            SetTextColor(reinterpret_cast<HDC>(wparam), kTextColor);
            SetBkMode(reinterpret_cast<HDC>(wparam), TRANSPARENT);
            return reinterpret_cast<LRESULT>(GetStockObject(WHITE_BRUSH));
        default:
            return DefWindowProc(hwnd, msg, wparam, lparam);
    }
}
