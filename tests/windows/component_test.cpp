// A host in C++ of the registered component. TSASYNC_URL is the test server, TSASYNC_ASSETS a folder for the
// files, TSASYNC_SCREENSHOTS one for pictures of the dialog.
#include "tsasync/TSAsync.h"

#include <gtest/gtest.h>
#include <windows.h>
// after windows.h, whose types it uses
#include <commctrl.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

std::wstring Environment(const wchar_t* name) {
    const wchar_t* value = _wgetenv(name);
    return value == nullptr ? L"" : value;
}

// Owned automation text.
struct Text {
    explicit Text(const std::wstring& text) : value(SysAllocString(text.c_str())) {}
    ~Text() { SysFreeString(value); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    BSTR value;
};

std::wstring Take(BSTR text) {
    const std::wstring result = text == nullptr ? L"" : text;
    SysFreeString(text);
    return result;
}

// A sink of the manager's events, which answers to one event identifier.
class Sink final : public IDispatch {
  public:
    explicit Sink(REFIID events) : m_events(events) {}
    ~Sink() {
        if (last != nullptr) last->Release();
    }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    STDMETHOD(QueryInterface)(REFIID id, void** object) override {
        const bool known = id == IID_IUnknown || id == IID_IDispatch || id == m_events;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHOD_(ULONG, AddRef)() override { return 1; }
    STDMETHOD_(ULONG, Release)() override { return 1; }
    STDMETHOD(GetTypeInfoCount)(UINT*) override { return E_NOTIMPL; }
    STDMETHOD(GetTypeInfo)(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHOD(Invoke)
    (DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*, UINT*) override {
        ids.push_back(id);
        if (id != DISPID_CDLManager_StateChanged || arguments->cArgs != 1) return S_OK;
        if (last != nullptr) last->Release();
        last = nullptr;
        arguments->rgvarg[0].pdispVal->QueryInterface(IID__CDLItem, reinterpret_cast<void**>(&last));
        TSDLStateEnum state = tsdStopped;
        last->get_State(&state);
        states.push_back(state);
        return S_OK;
    }

    std::vector<DISPID> ids;
    std::vector<TSDLStateEnum> states;
    _CDLItem* last = nullptr;

  private:
    IID m_events;
};

class Component : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(CoCreateInstance(CLSID_CDLManager, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager,
                                   reinterpret_cast<void**>(&manager)),
                  S_OK);
        manager->put_AssetsPath(Text(Environment(L"TSASYNC_ASSETS")).value);
    }
    void TearDown() override {
        if (manager != nullptr) manager->Release();
    }

    std::wstring Url(const wchar_t* path) { return Environment(L"TSASYNC_URL") + path; }

    std::wstring Add(const std::wstring& url, bool force = false) {
        BSTR handle = nullptr;
        EXPECT_EQ(manager->AddURL(Text(url).value, nullptr, force ? VARIANT_TRUE : VARIANT_FALSE, &handle),
                  S_OK);
        return Take(handle);
    }

    IConnectionPoint* EventPoint(REFIID events) {
        IConnectionPointContainer* container = nullptr;
        IConnectionPoint* point = nullptr;
        EXPECT_EQ(
            manager->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container)),
            S_OK);
        EXPECT_EQ(container->FindConnectionPoint(events, &point), S_OK);
        container->Release();
        return point;
    }

    // Starts the job and runs the message loop until the record fulfils the condition, at most 60 seconds.
    void RunUntil(const std::wstring& handle, const std::function<bool()>& condition) {
        ASSERT_EQ(manager->ChangeState(Text(handle).value, tsdPending, 0, nullptr), S_OK);
        BSTR elected = nullptr;
        manager->Elect(&elected);
        SysFreeString(elected);
        const ULONGLONG end = GetTickCount64() + 60000;
        MSG message{};
        while (!condition() && GetTickCount64() < end) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) DispatchMessageW(&message);
        }
    }

    _CDLManager* manager = nullptr;
};

class ComponentEvents : public Component, public testing::WithParamInterface<const IID*> {};

TEST_P(ComponentEvents, TellOfADownloadFromItsStartToItsFile) {
    Sink sink(*GetParam());
    IConnectionPoint* const point = EventPoint(*GetParam());
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
    const std::wstring handle = Add(Url(L"/moved"));
    RunUntil(handle, [&] { return sink.states.back() == tsdFinished || sink.states.back() == tsdBroken; });
    EXPECT_EQ(sink.states.back(), tsdFinished);
    for (const DISPID id : sink.ids) EXPECT_EQ(id, DISPID_CDLManager_StateChanged);

    BSTR text = nullptr;
    sink.last->get_FinalPath(&text);
    const std::wstring path = Take(text);
    sink.last->get_TmpPath(&text);
    EXPECT_EQ(Take(text).substr(0, 2), path.substr(0, 2)) << "received on the volume of the assets";
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES)
        << std::string(path.begin(), path.end());
    sink.last->get_MIMEType(&text);
    EXPECT_NE(Take(text), L"");
    sink.last->get_URL(&text);
    EXPECT_EQ(Take(text), Url(L"/photo.jpg"));
    LONG size = 0;
    sink.last->get_Size(&size);
    EXPECT_EQ(size, 300000);
    EXPECT_EQ(point->Unadvise(cookie), S_OK);
    point->Release();
}

INSTANTIATE_TEST_SUITE_P(BothIdentifiers, ComponentEvents,
                         testing::Values(&DIID___CDLManager, &DIID___CDLManager___v0));

// Within one attempt: a busy server is asked once more, and what agrees with its digest is a file.
TEST_F(Component, FinishesWhatIsBusyAtFirstOrProven) {
    Sink sink(DIID___CDLManager);
    IConnectionPoint* const point = EventPoint(DIID___CDLManager);
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
    for (const wchar_t* path : {L"/busy", L"/proven"}) {
        const std::wstring handle = Add(Url(path));
        sink.states.clear();
        SHORT active = 0;
        RunUntil(handle, [&] { return manager->get_ActiveJobs(&active) == S_OK && active == 0; });
        ASSERT_FALSE(sink.states.empty());
        EXPECT_EQ(sink.states.back(), tsdFinished);
        SHORT attempts = 0;
        LONG size = 0;
        sink.last->get_Attempts(&attempts);
        sink.last->get_Size(&size);
        EXPECT_EQ(attempts, 1);
        EXPECT_EQ(size, 200000);
    }
    point->Unadvise(cookie);
    point->Release();
}

TEST_F(Component, RetriesWhatEndedShortOrAsAnErrorPage) {
    Sink sink(DIID___CDLManager);
    IConnectionPoint* const point = EventPoint(DIID___CDLManager);
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
    for (const wchar_t* path : {L"/none", L"/short", L"/wrong"}) {
        const std::wstring handle = Add(Url(path));
        sink.states.clear();
        SHORT active = 0;
        RunUntil(handle, [&] { return manager->get_ActiveJobs(&active) == S_OK && active == 0; });
        ASSERT_FALSE(sink.states.empty());
        EXPECT_EQ(sink.states.back(), tsdPending);
        EXPECT_EQ(manager->RemoveURL(Text(handle).value), S_OK);
    }
    point->Unadvise(cookie);
    point->Release();
}

// The folder that the user has chosen, else one among the user's documents.
TEST_F(Component, BeginsWithTheStoredFolder) {
    constexpr const wchar_t* kKey = L"Software\\Corvane\\Quillmark\\Assets";
    const std::wstring documents = Environment(L"USERPROFILE") + L"\\Documents\\Quillmark Assets";
    for (const std::wstring& expected : {std::wstring(L"D:\\Bilder\\\u00C4"), documents}) {
        if (expected != documents) {
            const auto size = static_cast<DWORD>((expected.size() + 1) * sizeof(wchar_t));
            ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kKey, L"Location", REG_SZ, expected.c_str(), size),
                      ERROR_SUCCESS);
        }
        _CDLManager* another = nullptr;
        ASSERT_EQ(CoCreateInstance(CLSID_CDLManager, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager,
                                   reinterpret_cast<void**>(&another)),
                  S_OK);
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kKey, L"Location");
        BSTR path = nullptr;
        EXPECT_EQ(another->get_AssetsPath(&path), S_OK);
        EXPECT_EQ(Take(path), expected);
        another->Release();
    }
}

DWORD WINAPI UseOnOwnThread(void* url) {
    CoInitialize(nullptr);
    _CDLManager* own = nullptr;
    HRESULT result = CoCreateInstance(CLSID_CDLManager, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager,
                                      reinterpret_cast<void**>(&own));
    if (SUCCEEDED(result)) {
        BSTR handle = nullptr;
        own->put_AutoStart(VARIANT_TRUE);
        result = own->AddURL(Text(*static_cast<std::wstring*>(url)).value, nullptr, VARIANT_FALSE, &handle);
        SysFreeString(handle);
        own->Release();
    }
    CoUninitialize();
    return static_cast<DWORD>(result);
}

// What the component keeps for a thread ends with it, while its memory is still there.
TEST_F(Component, EndsWithItsThread) {
    std::wstring url = Url(L"/slow");
    for (int i = 0; i < 5; ++i) {
        const HANDLE thread = CreateThread(nullptr, 0, &UseOnOwnThread, &url, 0, nullptr);
        ASSERT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
        DWORD result = 0;
        EXPECT_NE(GetExitCodeThread(thread, &result), FALSE);
        EXPECT_EQ(static_cast<HRESULT>(result), S_OK);
        CloseHandle(thread);
    }
}

// The transfer's threads of the system are gone by then.
TEST_F(Component, EndsWithItsProcessInTheMiddleOfATransfer) {
    wchar_t command[MAX_PATH + 16]{};
    GetModuleFileNameW(nullptr, command, MAX_PATH);
    wcscat(command, L" --leave");
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION process{};
    ASSERT_NE(
        CreateProcessW(nullptr, command, nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process),
        FALSE);
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60'000), WAIT_OBJECT_0);
    DWORD result = 1;
    EXPECT_NE(GetExitCodeProcess(process.hProcess, &result), FALSE);
    EXPECT_EQ(result, 42u);
    TerminateProcess(process.hProcess, 1);  // if it is still there
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

TEST_F(Component, GivesTheSameSlotsUnderItsEarlierIdentifiers) {
    constexpr int kPutAutoStart = 7 + 2;
    constexpr int kGetAutoStart = 7 + 1;
    using Put = HRESULT(STDMETHODCALLTYPE*)(void*, VARIANT_BOOL);
    using Get = HRESULT(STDMETHODCALLTYPE*)(void*, VARIANT_BOOL*);
    for (const IID& id : {IID_CDLManager___v0, IID_CDLManager___v1}) {
        void* object = nullptr;
        ASSERT_EQ(manager->QueryInterface(id, &object), S_OK);
        void** const slots = *static_cast<void***>(object);
        for (const VARIANT_BOOL value : {VARIANT_TRUE, VARIANT_FALSE}) {
            VARIANT_BOOL result = 1;
            EXPECT_EQ(reinterpret_cast<Put>(slots[kPutAutoStart])(object, value), S_OK);
            EXPECT_EQ(reinterpret_cast<Get>(slots[kGetAutoStart])(object, &result), S_OK);
            EXPECT_EQ(result, value);
        }
        static_cast<IUnknown*>(object)->Release();
    }
}

// What a host sees of the record: by name, by slot, and by the slots of its earlier identifier.
TEST_F(Component, GivesRecordsTheirPropertiesByNameAndBySlot) {
    Sink sink(DIID___CDLManager);
    IConnectionPoint* const point = EventPoint(DIID___CDLManager);
    DWORD cookie = 0;
    ASSERT_EQ(point->Advise(&sink, &cookie), S_OK);
    const std::wstring handle = Add(Url(L"/record"));
    ASSERT_NE(sink.last, nullptr);
    const struct {
        const wchar_t* name;
        VARTYPE type;
        const wchar_t* value;  // that is put; null leaves what is there
        const wchar_t* result;
    } expected[] = {{L"Handle", VT_BSTR, nullptr, handle.c_str()},
                    {L"RefCount", VT_I4, nullptr, L"1"},
                    {L"State", VT_I4, nullptr, L"0"},
                    {L"name", VT_BSTR, L"a name", L"a name"},
                    {L"Attempts", VT_I2, L"7", L"7"},
                    {L"FinalPath", VT_BSTR, L"C:\\final", L"C:\\final"},
                    {L"TmpPath", VT_BSTR, L"C:\\tmp", L"C:\\tmp"},
                    {L"Start", VT_DATE, L"2.5", L"2.5"},
                    {L"TotalSize", VT_I4, L"300", L"300"},
                    {L"Size", VT_I4, L"200", L"200"},
                    {L"MIMEType", VT_BSTR, L"image/png", L"image/png"},
                    {L"URL", VT_BSTR, L"http://other/", L"http://other/"},
                    {L"RefCount", VT_I4, L"3", L"3"}};
    for (const auto& property : expected) {
        SCOPED_TRACE(testing::PrintToString(property.name));
        const VARTYPE plain =
            property.type == VT_DATE ? VARTYPE{VT_R8} : property.type;  // a date as a number
        DISPID id = 0;
        auto* name = const_cast<wchar_t*>(property.name);
        ASSERT_EQ(sink.last->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_NEUTRAL, &id), S_OK);
        if (property.value != nullptr) {
            VARIANT value{};
            value.vt = VT_BSTR;
            value.bstrVal = SysAllocString(property.value);
            for (const VARTYPE type : {plain, property.type}) {
                ASSERT_EQ(VariantChangeTypeEx(&value, &value, LOCALE_INVARIANT, 0, type), S_OK);
            }
            DISPID put = DISPID_PROPERTYPUT;
            DISPPARAMS arguments{&value, &put, 1, 1};
            EXPECT_EQ(sink.last->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_PROPERTYPUT, &arguments,
                                        nullptr, nullptr, nullptr),
                      S_OK);
            VariantClear(&value);
        }
        DISPPARAMS none{};
        VARIANT result{};
        ASSERT_EQ(sink.last->Invoke(id, IID_NULL, LOCALE_NEUTRAL, DISPATCH_PROPERTYGET, &none, &result,
                                    nullptr, nullptr),
                  S_OK);
        EXPECT_EQ(result.vt, property.type);
        for (const VARTYPE type : {plain, VARTYPE{VT_BSTR}}) {
            ASSERT_EQ(VariantChangeTypeEx(&result, &result, LOCALE_INVARIANT, 0, type), S_OK);
        }
        EXPECT_STREQ(result.bstrVal, property.result);
        VariantClear(&result);
    }

    void* earlier = nullptr;
    ASSERT_EQ(sink.last->QueryInterface(IID_CDLItem___v0, &earlier), S_OK);
    void** const slots = *static_cast<void***>(earlier);
    constexpr int kGetSize = 7 + 11;
    constexpr int kGetTotalSize = 7 + 13;
    for (const auto& [slot, size] : {std::pair(kGetSize, 200), std::pair(kGetTotalSize, 300)}) {
        LONG result = 0;
        using Get = HRESULT(STDMETHODCALLTYPE*)(void*, LONG*);
        EXPECT_EQ(reinterpret_cast<Get>(slots[slot])(earlier, &result), S_OK);
        EXPECT_EQ(result, size);
    }
    static_cast<IUnknown*>(earlier)->Release();
    point->Unadvise(cookie);
    point->Release();
}

// --- the dialog
// ----------------------------------------------------------------------------------------------------

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

// What ends the dialog beside the mouse: a key, or the close command (0).
WORD g_key = 0;

VOID CALLBACK PressKeyOrClose(HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND dialog = Dialog();
    if (dialog == nullptr || IsWindowVisible(dialog) == FALSE) return;
    KillTimer(nullptr, timer);
    if (g_key == 0) {
        PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
        return;
    }
    SetFocus(dialog);  // which passes it on to Cancel
    EXPECT_EQ(GetFocus(), GetDlgItem(dialog, IDCANCEL));
    INPUT keys[2]{};
    keys[0].type = keys[1].type = INPUT_KEYBOARD;
    keys[0].ki.wVk = keys[1].ki.wVk = g_key;
    keys[1].ki.dwFlags = KEYEVENTF_KEYUP;
    SendInput(2, keys, sizeof keys[0]);
}

class ComponentKeys : public Component, public testing::WithParamInterface<WORD> {};

TEST_P(ComponentKeys, EndAForcedDownload) {
    g_key = GetParam();
    SetTimer(nullptr, 0, 500, &PressKeyOrClose);
    EXPECT_EQ(Add(Url((L"/slow-key-" + std::to_wstring(g_key)).c_str()), true), L"");
    SHORT active = -1;
    manager->get_ActiveJobs(&active);
    EXPECT_EQ(active, 0);
    EXPECT_EQ(Dialog(), nullptr);
}

INSTANTIATE_TEST_SUITE_P(All, ComponentKeys, testing::Values(WORD{VK_ESCAPE}, WORD{VK_RETURN}, WORD{0}));

// Ends the process while data is arriving, its manager still there.
void Leave() {
    _CDLManager* manager = nullptr;
    if (FAILED(CoCreateInstance(CLSID_CDLManager, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager,
                                reinterpret_cast<void**>(&manager)))) {
        std::exit(1);
    }
    Sink sink(DIID___CDLManager);
    IConnectionPointContainer* container = nullptr;
    IConnectionPoint* point = nullptr;
    DWORD cookie = 0;
    manager->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container));
    container->FindConnectionPoint(DIID___CDLManager, &point);
    point->Advise(&sink, &cookie);
    manager->put_AutoStart(VARIANT_TRUE);
    BSTR handle = nullptr;
    manager->AddURL(Text(Environment(L"TSASYNC_URL") + L"/slow").value, nullptr, VARIANT_FALSE, &handle);
    MSG message{};
    while (sink.states.back() != tsdDownloading && GetMessageW(&message, nullptr, 0, 0) > 0) {
        DispatchMessageW(&message);
    }
    std::exit(42);
}

}  // namespace

int main(int argc, char** argv) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (argc > 1 && std::string(argv[1]) == "--leave") Leave();
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
