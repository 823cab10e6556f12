#include "platform/progress_window.h"

#include <windows.h>
// after windows.h, whose types it uses
#include "base/LogError.h"
#include "platform/dialog/key_pause.h"
#include "platform/dialog/layout.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/own_module.h"
#include "platform/windows/base/wide.h"

#include <commctrl.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace tsasync::platform {

namespace {

constexpr int kTwipsPerInch = 1440;
constexpr int kButtonPadding = 120;  // twips beside a button's text, and above and below it together
constexpr int kScreenMargin = 600;   // twips
constexpr wchar_t kWindowClass[] = L"QMASYN10.Progress";
constexpr UINT kPathEllipsis = DT_SINGLELINE | DT_PATH_ELLIPSIS | DT_MODIFYSTRING;

const wchar_t* ClassOf(ProgressControl control) {
    switch (control) {
        case ProgressControl::Animation:
            return ANIMATE_CLASSW;
        case ProgressControl::Progress:
            return PROGRESS_CLASSW;
        case ProgressControl::Cancel:
            return L"BUTTON";
        default:
            return L"STATIC";
    }
}

DWORD StyleOf(ProgressControl control) {
    switch (control) {
        case ProgressControl::Animation:
            return ACS_TRANSPARENT | ACS_AUTOPLAY | ACS_CENTER;
        case ProgressControl::Progress:
            return 0;
        case ProgressControl::Cancel:
            return BS_DEFPUSHBUTTON | WS_TABSTOP;
        default:
            return SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS | SS_NOTIFY;
    }
}

void Tell(const auto& operation) {
    try {
        operation();
    } catch (...) {
        LogCurrentError();
    }
}

class Win32ProgressWindow;
thread_local std::vector<Win32ProgressWindow*>
    g_shown;  // the thread's dialogs on the screen, each within the last

class Win32ProgressWindow final : public ProgressWindow {
  public:
    explicit Win32ProgressWindow(IProgressWindowEvents& events);
    ~Win32ProgressWindow() override { LeaveScreen(); }
    Win32ProgressWindow(const Win32ProgressWindow&) = delete;
    Win32ProgressWindow& operator=(const Win32ProgressWindow&) = delete;

    void SetTitle(std::u16string_view title) override;
    void SetCaption(ProgressControl control, std::u16string_view caption) override;
    void SetTooltip(ProgressControl control, std::u16string_view tooltip) override;
    void SetProgress(float value) override;
    void OpenClip(ClipSource source, std::int32_t number) override;
    double ControlWidth(ProgressControl control) const override;
    double OuterWidth() const override;
    std::optional<std::u16string> FitPath(std::u16string_view path, std::int32_t width) const override;
    ScreenDepth ScreenColors() const override;
    void ShowModal() override;
    void Refresh() override;
    void Unload() override;

  private:
    static LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    std::optional<LRESULT> Handle(UINT message, WPARAM wParam, LPARAM lParam);
    static BOOL CALLBACK Disable(HWND window, LPARAM self);
    bool IsIdleKey(const MSG& message) const;
    void LeaveScreen();
    void MakeControls();
    HWND Control(ProgressControl control) const { return m_controls.at(static_cast<std::size_t>(control)); }
    int Pixels(int twips) const { return MulDiv(twips, m_dotsPerInch, kTwipsPerInch); }
    std::wstring TextOf(ProgressControl control) const;
    DialogSize Needs(ProgressControl control) const;
    void Arrange();
    void Grow();
    RECT Screen() const;
    void CentreOnScreen();

    IProgressWindowEvents& m_events;
    int m_dotsPerInch = USER_DEFAULT_SCREEN_DPI;
    FontHandle m_font;
    WindowHandle m_window;
    HWND m_tooltip = nullptr;
    std::array<HWND, kProgressLayout.size()> m_controls{};
    DialogSize m_client;
    std::vector<HWND> m_disabled;  // the thread's other windows, while the dialog is shown
    DWORD m_shown = 0;             // since when the dialog is shown
    bool m_unloaded = false;
};

Win32ProgressWindow::Win32ProgressWindow(IProgressWindowEvents& events) : m_events(events) {
    const INITCOMMONCONTROLSEX classes{sizeof classes,
                                       ICC_ANIMATE_CLASS | ICC_PROGRESS_CLASS | ICC_WIN95_CLASSES};
    InitCommonControlsEx(&classes);
    WNDCLASSW type{};
    type.lpfnWndProc = &OnMessage;
    type.hInstance = OwnModule();
    type.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    type.hbrBackground = GetSysColorBrush(COLOR_BTNFACE);
    type.lpszClassName = kWindowClass;
    RegisterClassW(&type);  // fails for the second dialog, whose class is there
    m_window = WindowHandle(CreateWindowExW(
        WS_EX_TOOLWINDOW | WS_EX_CONTROLPARENT, kWindowClass, Wide(std::u16string(kProgressDesignTitle)),
        WS_POPUP | WS_CAPTION | WS_SYSMENU, 0, 0, 0, 0, GetActiveWindow(), nullptr, OwnModule(), nullptr));
    if (!m_window) Raise(HRESULT_FROM_WIN32(GetLastError()), {}, u"The dialog's window can't be made");
    SetWindowLongPtrW(m_window.Get(), GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    MakeControls();
    Arrange();
    CentreOnScreen();
}

void Win32ProgressWindow::MakeControls() {
    m_dotsPerInch = GetDeviceCaps(DeviceContext(nullptr).Get(), LOGPIXELSX);
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    m_font = FontHandle(CreateFontIndirectW(&metrics.lfMessageFont));
    for (const ProgressPlace& place : kProgressLayout) {
        const auto id = static_cast<LONG_PTR>(place.control == ProgressControl::Cancel ? IDCANCEL : 0);
        const HWND control = CreateWindowExW(
            0, ClassOf(place.control), nullptr, WS_CHILD | WS_VISIBLE | StyleOf(place.control), 0, 0, 0, 0,
            m_window.Get(), reinterpret_cast<HMENU>(id), OwnModule(), nullptr);
        SendMessageW(control, WM_SETFONT, reinterpret_cast<WPARAM>(m_font.Get()), FALSE);
        m_controls.at(static_cast<std::size_t>(place.control)) = control;
    }
    SendMessageW(Control(ProgressControl::Progress), PBM_SETRANGE32, 0, 100);
    m_tooltip =
        CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX, 0,
                        0, 0, 0, m_window.Get(), nullptr, OwnModule(), nullptr);
}

LRESULT CALLBACK Win32ProgressWindow::OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* const self = reinterpret_cast<Win32ProgressWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    const std::optional<LRESULT> answer =
        self != nullptr ? self->Handle(message, wParam, lParam) : std::optional<LRESULT>();
    return answer ? *answer : DefWindowProcW(window, message, wParam, lParam);
}

// Cancel has the focus whenever the dialog has, and is what Enter presses.
std::optional<LRESULT> Win32ProgressWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CTLCOLORSTATIC:  // the clip's background
            if (reinterpret_cast<HWND>(lParam) != Control(ProgressControl::Animation)) return std::nullopt;
            return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_MENU));
        case WM_COMMAND:
            if (LOWORD(wParam) != IDCANCEL) return std::nullopt;
            Tell([this] { m_events.CancelPressed(); });
            return 0;
        case WM_CLOSE:
            Tell([this] { m_events.CloseRequested(); });
            Unload();
            return 0;
        case WM_SETFOCUS:
            SetFocus(Control(ProgressControl::Cancel));
            return 0;
        case DM_GETDEFID:
            return MAKELRESULT(IDCANCEL, DC_HASDEFID);
        default:
            return std::nullopt;
    }
}

void Win32ProgressWindow::SetTitle(std::u16string_view title) {
    SetWindowTextW(m_window.Get(), Wide(std::u16string(title)));
}

void Win32ProgressWindow::SetCaption(ProgressControl control, std::u16string_view caption) {
    const std::u16string text(caption);
    if (TextOf(control) == Wide(text)) return;
    SetWindowTextW(Control(control), Wide(text));
    Arrange();
}

void Win32ProgressWindow::SetTooltip(ProgressControl control, std::u16string_view tooltip) {
    std::u16string text(tooltip);
    TTTOOLINFOW tool{};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = m_window.Get();
    tool.uId = reinterpret_cast<UINT_PTR>(Control(control));
    tool.lpszText = Wide(text);
    SendMessageW(m_tooltip, TTM_DELTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    SendMessageW(m_tooltip, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
}

void Win32ProgressWindow::SetProgress(float value) {
    SendMessageW(Control(ProgressControl::Progress), PBM_SETPOS, static_cast<WPARAM>(value), 0);
}

void Win32ProgressWindow::OpenClip(ClipSource source, std::int32_t number) {
    if (source != ClipSource::Component) return;
    SendMessageW(Control(ProgressControl::Animation), ACM_OPENW, reinterpret_cast<WPARAM>(OwnModule()),
                 reinterpret_cast<LPARAM>(MAKEINTRESOURCEW(number)));
}

double Win32ProgressWindow::ControlWidth(ProgressControl control) const {
    RECT area{};
    GetWindowRect(Control(control), &area);
    return area.right - area.left;
}

double Win32ProgressWindow::OuterWidth() const {
    RECT area{};
    GetWindowRect(m_window.Get(), &area);
    return area.right - area.left;
}

std::optional<std::u16string> Win32ProgressWindow::FitPath(std::u16string_view path,
                                                           std::int32_t width) const {
    std::u16string text(path);
    text.resize(path.size() + 4);  // room that the system asks for
    RECT area{0, 0, width, 0};
    const DeviceContext device(m_window.Get(), m_font.Get());
    DrawTextW(device.Get(), Wide(text), static_cast<int>(path.size()), &area, kPathEllipsis);
    text.resize(std::min(text.find(u'\0'), text.size()));
    if (text == path) return std::nullopt;
    return text;
}

ScreenDepth Win32ProgressWindow::ScreenColors() const {
    const DeviceContext screen(nullptr);
    return {GetDeviceCaps(screen.Get(), BITSPIXEL), GetDeviceCaps(screen.Get(), PLANES)};
}

std::wstring Win32ProgressWindow::TextOf(ProgressControl control) const {
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(Control(control))) + 1, L'\0');
    const int length = GetWindowTextW(Control(control), text.data(), static_cast<int>(text.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// What the control needs to show its text whole.
DialogSize Win32ProgressWindow::Needs(ProgressControl control) const {
    if (control == ProgressControl::Animation || control == ProgressControl::Progress) return {};
    const std::wstring text = TextOf(control);
    const DeviceContext device(m_window.Get(), m_font.Get());
    SIZE size{};
    GetTextExtentPoint32W(device.Get(), text.c_str(), static_cast<int>(text.size()), &size);
    TEXTMETRICW font{};
    GetTextMetricsW(device.Get(), &font);
    if (control != ProgressControl::Cancel) return {size.cx, font.tmHeight};
    return {size.cx + 2 * Pixels(kButtonPadding), font.tmHeight + Pixels(kButtonPadding)};
}

void Win32ProgressWindow::Arrange() {
    const RECT screen = Screen();
    DialogSizes sizes{m_dotsPerInch, m_client.width, screen.right - screen.left - Pixels(kScreenMargin), {}};
    for (const ProgressPlace& place : kProgressLayout)
        sizes.needs.at(static_cast<std::size_t>(place.control)) = Needs(place.control);
    const DialogLayout layout = LayOutDialog(sizes);
    for (const ProgressPlace& place : kProgressLayout) {
        const DialogRectangle& area = layout.places.at(static_cast<std::size_t>(place.control));
        SetWindowPos(Control(place.control), nullptr, area.left, area.top, area.width, area.height,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    }
    if (layout.client == m_client) return;
    m_client = layout.client;
    Grow();
}

// To the size that the client area asks for, and away from the edge of the screen that it would go over.
void Win32ProgressWindow::Grow() {
    RECT area{0, 0, m_client.width, m_client.height};
    AdjustWindowRectEx(&area, WS_POPUP | WS_CAPTION | WS_SYSMENU, FALSE,
                       WS_EX_TOOLWINDOW | WS_EX_CONTROLPARENT);
    const LONG width = area.right - area.left;
    const LONG height = area.bottom - area.top;
    const RECT screen = Screen();
    GetWindowRect(m_window.Get(), &area);
    SetWindowPos(m_window.Get(), nullptr, std::max(screen.left, std::min(area.left, screen.right - width)),
                 std::max(screen.top, std::min(area.top, screen.bottom - height)), width, height,
                 SWP_NOZORDER | SWP_NOACTIVATE);
}

// The part of the window's screen that is free for windows.
RECT Win32ProgressWindow::Screen() const {
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    GetMonitorInfoW(MonitorFromWindow(m_window.Get(), MONITOR_DEFAULTTOPRIMARY), &monitor);
    return monitor.rcWork;
}

void Win32ProgressWindow::CentreOnScreen() {
    RECT area{};
    GetWindowRect(m_window.Get(), &area);
    SetWindowPos(m_window.Get(), nullptr, (GetSystemMetrics(SM_CXSCREEN) - (area.right - area.left)) / 2,
                 (GetSystemMetrics(SM_CYSCREEN) - (area.bottom - area.top)) / 2, 0, 0,
                 SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void Win32ProgressWindow::ShowModal() {
    if (m_unloaded) return;
    g_shown.push_back(this);
    EnumThreadWindows(GetCurrentThreadId(), &Disable, reinterpret_cast<LPARAM>(this));
    CentreOnScreen();
    ShowWindow(m_window.Get(), SW_SHOW);
    SetFocus(Control(ProgressControl::Cancel));
    m_shown = GetTickCount();
    MSG message{};
    while (!m_unloaded) {
        const BOOL more = GetMessageW(&message, nullptr, 0, 0);
        if (more == 0) PostQuitMessage(static_cast<int>(message.wParam));  // for the host's own loop
        if (more <= 0) break;
        if (IsIdleKey(message) || IsDialogMessageW(m_window.Get(), &message) != FALSE) continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    LeaveScreen();
}

// A key that goes down in the dialog and does not act.
bool Win32ProgressWindow::IsIdleKey(const MSG& message) const {
    if (message.message != WM_KEYDOWN && message.message != WM_SYSKEYDOWN) return false;
    if (message.hwnd != m_window.Get() && IsChild(m_window.Get(), message.hwnd) == FALSE) return false;
    const bool repeated = (HIWORD(message.lParam) & KF_REPEAT) != 0;
    return !KeyActs(m_shown, message.time, repeated);
}

BOOL CALLBACK Win32ProgressWindow::Disable(HWND window, LPARAM self) {
    auto* const dialog = reinterpret_cast<Win32ProgressWindow*>(self);
    const bool isOwn = window == dialog->m_window.Get() || window == dialog->m_tooltip;
    if (isOwn || IsWindowVisible(window) == FALSE || IsWindowEnabled(window) == FALSE) return TRUE;
    dialog->m_disabled.push_back(window);
    EnableWindow(window, FALSE);
    return TRUE;
}

// The others are enabled before the dialog goes, so that its owner becomes active. Those that a dialog within
// this one stands before go over to that one.
void Win32ProgressWindow::LeaveScreen() {
    const auto self = std::find(g_shown.begin(), g_shown.end(), this);
    if (self == g_shown.end()) return;
    const auto inner = g_shown.erase(self);
    const std::vector<HWND> disabled = std::exchange(m_disabled, {});
    if (inner != g_shown.end()) {
        (*inner)->m_disabled.insert((*inner)->m_disabled.end(), disabled.begin(), disabled.end());
    } else {
        for (const HWND window : disabled) EnableWindow(window, TRUE);
    }
    ShowWindow(m_window.Get(), SW_HIDE);
}

void Win32ProgressWindow::Refresh() {
    RedrawWindow(m_window.Get(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
}

// The message wakes the modal loop.
void Win32ProgressWindow::Unload() {
    m_unloaded = true;
    LeaveScreen();
    PostMessageW(m_window.Get(), WM_NULL, 0, 0);
}

}  // namespace

std::unique_ptr<ProgressWindow> CreateProgressWindow(IProgressWindowEvents& events) {
    return std::make_unique<Win32ProgressWindow>(events);
}

}  // namespace tsasync::platform
