// A host in C++ of the registered component.
#include "tests/windows/component.h"

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace tsasync::windowstest {
namespace {

class ComponentEvents : public Component, public testing::WithParamInterface<const IID*> {};

TEST_P(ComponentEvents, TellOfADownloadFromItsStartToItsFile) {
    Sink sink(manager, *GetParam());
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
}

INSTANTIATE_TEST_SUITE_P(BothIdentifiers, ComponentEvents,
                         testing::Values(&DIID___CDLManager, &DIID___CDLManager___v0));

// Within one attempt: a busy server is asked once more, what agrees with its digest is a file, and what ended
// short or as an error page is none.
TEST_F(Component, FinishesWhatIsWholeAndRetriesTheRest) {
    const struct {
        const wchar_t* path;
        TSDLStateEnum state;
    } expected[] = {{L"/busy", tsdFinished},
                    {L"/proven", tsdFinished},
                    {L"/none", tsdPending},
                    {L"/short", tsdPending},
                    {L"/wrong", tsdPending}};
    Sink sink(manager, DIID___CDLManager);
    for (const auto& [path, state] : expected) {
        SCOPED_TRACE(testing::PrintToString(path));
        const std::wstring handle = Add(Url(path));
        sink.states.clear();
        SHORT active = 0;
        RunUntil(handle, [&] { return manager->get_ActiveJobs(&active) == S_OK && active == 0; });
        ASSERT_FALSE(sink.states.empty());
        EXPECT_EQ(sink.states.back(), state);
        SHORT attempts = 0;
        LONG size = 0;
        sink.last->get_Attempts(&attempts);
        sink.last->get_Size(&size);
        EXPECT_EQ(attempts, 1);
        if (state == tsdFinished) {
            EXPECT_EQ(size, 200000);
        }
        EXPECT_EQ(manager->RemoveURL(Text(handle).value), S_OK);
    }
}

// What it waits for is heard, though it waits inside an event.
TEST_F(Component, ForcesADownloadInsideAnEvent) {
    Sink sink(manager, DIID___CDLManager);
    const std::wstring outer = Add(Url(L"/slow-outer"));
    std::vector<TSDLStateEnum> inside;
    sink.then = [&] {
        if (sink.states.back() != tsdDownloading) return;
        sink.then = nullptr;
        sink.states.clear();
        EXPECT_NE(Add(Url(L"/proven"), true), L"");
        inside = sink.states;
    };
    RunUntil(outer, [&] { return !inside.empty(); });
    EXPECT_EQ(inside.back(), tsdFinished);
    for (const std::wstring& url : {Url(L"/slow-outer"), Url(L"/proven")}) {
        BSTR handle = nullptr;
        EXPECT_EQ(manager->GetHDL(Text(url).value, &handle), S_OK);
        EXPECT_EQ(manager->RemoveURL(handle), S_OK);
        SysFreeString(handle);
    }
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
        ASSERT_EQ(CreateManager(another), S_OK);
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
    HRESULT result = CreateManager(own);
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

// Runs a host's thread to its end; it returns a result.
void RunThread(LPTHREAD_START_ROUTINE host, std::wstring& url) {
    const HANDLE thread = CreateThread(nullptr, 0, host, &url, 0, nullptr);
    ASSERT_EQ(WaitForSingleObject(thread, 60'000), WAIT_OBJECT_0);
    DWORD result = 0;
    EXPECT_NE(GetExitCodeThread(thread, &result), FALSE);
    EXPECT_EQ(static_cast<HRESULT>(result), S_OK);
    CloseHandle(thread);
}

DWORD WINAPI UseFromOutsideItsApartment(void* url) {
    const std::wstring folder = Environment(L"TSASYNC_ASSETS") + L"\\remote";
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    _CDLManager* remote = nullptr;
    HRESULT result = CreateManager(remote);
    if (SUCCEEDED(result)) {
        BSTR handle = nullptr;
        remote->put_AutoStart(VARIANT_TRUE);
        remote->put_AssetsPath(Text(folder).value);
        result =
            remote->AddURL(Text(*static_cast<std::wstring*>(url)).value, nullptr, VARIANT_FALSE, &handle);
        SHORT active = 1;
        for (int i = 0; i < 1200 && active == 1; ++i) {
            Sleep(50);
            remote->get_ActiveJobs(&active);
        }
        EXPECT_NE(GetFileAttributesW((folder + L"\\photo.jpg").c_str()), INVALID_FILE_ATTRIBUTES);
        EXPECT_EQ(remote->RemoveURL(handle), S_OK);
        EXPECT_EQ(remote->RemoveURL(handle), static_cast<HRESULT>(0x800A0005));
        SysFreeString(handle);
        remote->Release();
    }
    CoUninitialize();
    return static_cast<DWORD>(result);
}

// Calls from a thread without an apartment come through the system's marshaller, which reads the registered
// type library.
TEST_F(Component, IsUsedFromOutsideItsApartment) {
    std::wstring url = Url(L"/photo.jpg");
    RunThread(&UseFromOutsideItsApartment, url);
}

// What the component keeps for a thread ends with it, while its memory is still there.
TEST_F(Component, EndsWithItsThread) {
    std::wstring url = Url(L"/slow");
    for (int i = 0; i < 5; ++i) RunThread(&UseOnOwnThread, url);
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
    Sink sink(manager, DIID___CDLManager);
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
}

// Ends the process while data is arriving, its manager still there.
void Leave() {
    _CDLManager* manager = nullptr;
    if (FAILED(CreateManager(manager))) std::exit(1);
    Sink sink(manager, DIID___CDLManager);
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
}  // namespace tsasync::windowstest

int main(int argc, char** argv) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (argc > 1 && std::string(argv[1]) == "--leave") tsasync::windowstest::Leave();
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    CoUninitialize();
    return result;
}
