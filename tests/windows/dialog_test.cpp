// The dialog of the registered component, as its user meets it. Its pictures go to TSASYNC_SCREENSHOTS.
#include "tests/windows/component.h"

// after windows.h, whose types it uses
#include <commctrl.h>

#include <fstream>
#include <functional>
#include <string>
#include <utility>

namespace tsasync::windowstest {
namespace {

HWND Dialog() { return FindWindowW(L"QMASYN10.Progress", nullptr); }

// The window as it stands on the screen, as a file of 24 bits per pixel, each row filled up to whole words.
void SavePicture(HWND window, const std::wstring& path) {
    RECT area{};
    GetWindowRect(window, &area);
    const LONG width = area.right - area.left;
    const LONG height = area.bottom - area.top;
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    BITMAPINFO info{};
    info.bmiHeader = {sizeof info.bmiHeader, width, -height, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    void* pixels = nullptr;
    const HBITMAP bitmap = CreateDIBSection(screen, &info, DIB_RGB_COLORS, &pixels, nullptr, 0);
    SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, area.left, area.top, SRCCOPY);
    const auto size = static_cast<DWORD>((width * 3 + 3) / 4 * 4 * height);
    BITMAPFILEHEADER header{};
    header.bfType = 0x4D42;
    header.bfOffBits = sizeof header + sizeof info.bmiHeader;
    header.bfSize = header.bfOffBits + size;
    std::ofstream file(std::string(path.begin(), path.end()), std::ios::binary);
    file.write(reinterpret_cast<const char*>(&header), sizeof header);
    file.write(reinterpret_cast<const char*>(&info.bmiHeader), sizeof info.bmiHeader);
    file.write(static_cast<const char*>(pixels), size);
    DeleteDC(memory);
    DeleteObject(bitmap);
    ReleaseDC(nullptr, screen);
}

std::wstring g_picture;
std::wstring g_caption;

// Runs inside the dialog's own message loop: takes its picture and presses Cancel with the mouse.
VOID CALLBACK PressCancel(HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND dialog = Dialog();
    if (dialog == nullptr || IsWindowVisible(dialog) == FALSE) return;
    KillTimer(nullptr, timer);
    const HWND cancel = GetDlgItem(dialog, IDCANCEL);
    wchar_t caption[64]{};
    GetWindowTextW(cancel, caption, 64);
    g_caption = caption;
    SavePicture(dialog, g_picture);
    const HWND animation = FindWindowExW(dialog, nullptr, ANIMATE_CLASSW, nullptr);
    EXPECT_EQ(SendMessageW(dialog, WM_CTLCOLORSTATIC, 0, reinterpret_cast<LPARAM>(animation)),
              reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_MENU)));
    RECT area{};
    GetWindowRect(cancel, &area);
    SetCursorPos((area.left + area.right) / 2, (area.top + area.bottom) / 2);
    INPUT clicks[2]{};
    clicks[0].type = INPUT_MOUSE;
    clicks[0].mi.dwFlags = MOUSEEVENTF_LEFTDOWN;
    clicks[1].type = INPUT_MOUSE;
    clicks[1].mi.dwFlags = MOUSEEVENTF_LEFTUP;
    SendInput(2, clicks, sizeof clicks[0]);
}

struct Language {
    LONG id;
    const wchar_t* cancel;
};

class ComponentDialog : public Component, public testing::WithParamInterface<Language> {};

TEST_P(ComponentDialog, EndsAForcedDownloadWhenCancelIsPressed) {
    ASSERT_EQ(manager->put_LangID(GetParam().id), S_OK);
    g_picture = Environment(L"TSASYNC_SCREENSHOTS") + L"\\dialog-" + std::to_wstring(GetParam().id) + L".bmp";
    SetTimer(nullptr, 0, 2500, &PressCancel);
    const std::wstring handle =
        Add(Url((L"/slow-" + std::to_wstring(GetParam().id) + L"/photo.jpg").c_str()), true);
    EXPECT_EQ(handle, L"");
    EXPECT_EQ(g_caption, GetParam().cancel);
    SHORT active = -1;
    manager->get_ActiveJobs(&active);
    EXPECT_EQ(active, 0);
    EXPECT_EQ(Dialog(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Languages, ComponentDialog,
                         testing::Values(Language{1033, L"Cancel"}, Language{1031, L"Abbrechen"},
                                         Language{1034, L"Cancelar"}, Language{1036, L"Annuler"},
                                         Language{1040, L"Annulla"}, Language{1043, L"Annuleren"}));

// A step of a user or of the host that a timer takes again and again while the calls of a test wait.
class Steps {
  public:
    explicit Steps(std::function<void(HWND dialog)> step) : m_step(std::move(step)) {
        s_running = this;
        m_timer = SetTimer(nullptr, 0, 100, [](HWND, UINT, UINT_PTR, DWORD) {
            const HWND dialog = Dialog();
            if (dialog != nullptr && IsWindowVisible(dialog) != FALSE) s_running->m_step(dialog);
        });
    }
    ~Steps() { KillTimer(nullptr, m_timer); }
    Steps(const Steps&) = delete;
    Steps& operator=(const Steps&) = delete;

  private:
    static inline Steps* s_running = nullptr;
    std::function<void(HWND)> m_step;
    UINT_PTR m_timer;
};

void Close(HWND dialog) { PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0); }

void Press(WORD key) {
    INPUT input[2]{};
    input[0].type = input[1].type = INPUT_KEYBOARD;
    input[0].ki.wVk = input[1].ki.wVk = key;
    input[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, input, sizeof input[0]);
}

LONG LineHeight(HWND control) {
    const HDC device = GetDC(control);
    SelectObject(device, reinterpret_cast<HGDIOBJ>(SendMessageW(control, WM_GETFONT, 0, 0)));
    TEXTMETRICW font{};
    GetTextMetricsW(device, &font);
    ReleaseDC(control, device);
    return font.tmHeight;
}

TEST_F(Component, ItsRowsGrowWithTheMessageFont) {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    const LONG before = std::exchange(metrics.lfMessageFont.lfHeight, -40);
    SystemParametersInfoW(SPI_SETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    const Steps steps([](HWND dialog) {
        int labels = 0;
        HWND label = nullptr;
        while ((label = FindWindowExW(dialog, label, L"STATIC", nullptr)) != nullptr) {
            RECT area{};
            GetClientRect(label, &area);
            EXPECT_GE(area.bottom, LineHeight(label));
            ++labels;
        }
        EXPECT_EQ(labels, 8);
        Close(dialog);
    });
    EXPECT_EQ(Add(Url(L"/slow-font"), true), L"");
    metrics.lfMessageFont.lfHeight = before;
    SystemParametersInfoW(SPI_SETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
}

// A component with a window of its host.
class ComponentHost : public Component {
  protected:
    void SetUp() override {
        Component::SetUp();
        host = CreateWindowExW(0, L"STATIC", L"host", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100, nullptr, nullptr,
                               nullptr, nullptr);
        ShowWindow(host, SW_SHOWNOACTIVATE);
    }
    void TearDown() override {
        EXPECT_NE(IsWindowEnabled(host), FALSE);
        EXPECT_EQ(Dialog(), nullptr);
        DestroyWindow(host);
        Component::TearDown();
    }

    HWND host = nullptr;
};

// A dialog is modal for all windows of its thread, though none is active when it comes.
TEST_F(ComponentHost, IsDisabledUntilTheInnerOfTwoDialogsGoesThoughTheOuterGoesFirst) {
    BSTR outer = nullptr;
    manager->GetHDL(Text(Url(L"/slow-outer")).value, &outer);
    int step = 0;
    const Steps steps([&](HWND dialog) {
        EXPECT_EQ(IsWindowEnabled(host), FALSE);
        EXPECT_NE(IsWindowEnabled(dialog), FALSE);
        switch (step++) {
            case 0:
                Add(Url(L"/slow-inner"), true);
                break;
            case 1:
                EXPECT_EQ(manager->RemoveURL(outer), S_OK);
                break;
            default:
                Close(dialog);
        }
    });
    Add(Url(L"/slow-outer"), true);
    EXPECT_GE(step, 3);
    SysFreeString(outer);
}

class ComponentKeys : public ComponentHost, public testing::WithParamInterface<WORD> {};

// But what the user typed before the dialog came, or holds down since then, is not for it.
TEST_P(ComponentKeys, EndAForcedDownload) {
    SetForegroundWindow(host);
    SetFocus(host);
    Press(GetParam());
    int step = 0;
    const Steps steps([&](HWND dialog) {
        EXPECT_EQ(GetFocus(), GetDlgItem(dialog, IDCANCEL));
        if (step++ >= 10) return Press(GetParam());
        PostMessageW(GetFocus(), WM_KEYDOWN, GetParam(), MAKELPARAM(1, KF_REPEAT));
        PostMessageW(GetFocus(), WM_KEYUP, GetParam(), MAKELPARAM(1, KF_REPEAT | KF_UP));
    });
    EXPECT_EQ(Add(Url((L"/slow-key-" + std::to_wstring(GetParam())).c_str()), true), L"");
    EXPECT_GT(step, 10);
}

INSTANTIATE_TEST_SUITE_P(All, ComponentKeys,
                         testing::Values(WORD{VK_ESCAPE}, WORD{VK_RETURN}, WORD{VK_SPACE}));

}  // namespace
}  // namespace tsasync::windowstest
