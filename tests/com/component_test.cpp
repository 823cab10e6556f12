// The component as a host finds it: the two libraries, the registration, a download on a GLib loop.
#include "platform/settings_store.h"
#include "tests/linux/scratch.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <dlfcn.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>

namespace {

using namespace tsasync::host;
using tsasync::platform::kClassesRoot;
using tsasync::platform::ReadSetting;
using tsasync::platform::WriteSetting;
using tsasync::tests::Read;

constexpr const char16_t* kServer = u"CLSID\\{F48DE0B7-A80A-11D3-93D8-00500433864D}\\InprocServer32";

std::set<std::string> ExportsOf(const std::string& library) {
    const std::string command = "nm --dynamic --defined-only --format=just-symbols '" + library + "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), &pclose);
    std::set<std::string> names;
    std::array<char, 256> line{};
    while (output && std::fgets(line.data(), line.size(), output.get()) != nullptr) {
        names.insert(std::string(line.data(), std::string(line.data()).find('\n')));
    }
    return names;
}

TEST(Component, ExportsTheFourEntryPointsOnly) {
    EXPECT_EQ(ExportsOf(COMPONENT_PATH), (std::set<std::string>{"DllCanUnloadNow", "DllGetClassObject",
                                                                "DllRegisterServer", "DllUnregisterServer"}));
}

TEST(Component, RuntimeExportsWhatItsHeaderDeclares) {
    EXPECT_EQ(ExportsOf(RUNTIME_PATH),
              (std::set<std::string>{
                  "CLSIDFromProgID",   "CLSIDFromString", "CoCreateInstance",  "CoGetClassObject",
                  "CoInitialize",      "CoInitializeEx",  "CoTaskMemAlloc",    "CoTaskMemFree",
                  "CoUninitialize",    "CreateErrorInfo", "GetErrorInfo",      "ProgIDFromCLSID",
                  "SetErrorInfo",      "StringFromGUID2", "SysAllocString",    "SysAllocStringByteLen",
                  "SysAllocStringLen", "SysFreeString",   "SysReAllocString",  "SysReAllocStringLen",
                  "SysStringByteLen",  "SysStringLen",    "VariantChangeType", "VariantChangeTypeEx",
                  "VariantClear",      "VariantCopy",     "VariantCopyInd",    "VariantInit"}));
}

// A home of its own: no test touches the user's settings, cache or folders.
class ComponentTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_folder.emplace();
        s_home = s_folder->Path();
        g_setenv("HOME", s_home.c_str(), TRUE);
        g_setenv("XDG_CONFIG_HOME", (s_home / "config").c_str(), TRUE);
        g_setenv("XDG_CACHE_HOME", (s_home / "cache").c_str(), TRUE);
        void* library = dlopen(COMPONENT_PATH, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        s_register = reinterpret_cast<HRESULT (*)()>(dlsym(library, "DllRegisterServer"));
        s_unregister = reinterpret_cast<HRESULT (*)()>(dlsym(library, "DllUnregisterServer"));
        s_getClassObject = reinterpret_cast<GetClassObject>(dlsym(library, "DllGetClassObject"));
    }
    static void TearDownTestSuite() { s_folder.reset(); }

    // Every file of the settings store with its content.
    static std::string Settings() {
        std::ostringstream all;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(s_home / "config")) {
            if (entry.is_regular_file()) all << entry.path() << '\n' << Read(entry.path()) << '\n';
        }
        return all.str();
    }

    static inline std::optional<tsasync::tests::ScratchFolder> s_folder;
    static inline std::filesystem::path s_home;
    static inline HRESULT (*s_register)() = nullptr;
    static inline HRESULT (*s_unregister)() = nullptr;
    static inline GetClassObject s_getClassObject = nullptr;
};

TEST_F(ComponentTest, IsFoundWhileItIsRegistered) {
    ASSERT_TRUE(WriteSetting(kClassesRoot, u"CLSID\\{another}", u"", u"kept"));
    const std::string before = Settings();
    CLSID found{};
    EXPECT_EQ(CLSIDFromProgID(ProgID_CDLManager, &found), CO_E_CLASSSTRING);
    for (int once = 0; once < 2; ++once) ASSERT_EQ(s_register(), S_OK);
    EXPECT_EQ(ReadSetting(kClassesRoot, kServer, u"ThreadingModel"), u"Apartment");
    EXPECT_EQ(CLSIDFromProgID(u"tsasync.cdlmanager", &found), S_OK);
    EXPECT_EQ(found, CLSID_CDLManager);
    LPOLESTR progId = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(CLSID_CDLManager, &progId), S_OK);
    EXPECT_EQ(std::u16string(progId), ProgID_CDLManager);
    CoTaskMemFree(progId);
    {
        const auto first = CreateManager();
        const auto second = CreateManager(ProgID_CDLManager);
        Bstr handle;
        ASSERT_EQ(first->AddURL(Bstr(u"http://127.0.0.1/a"), nullptr, VARIANT_FALSE, handle.Put()), S_OK);
        SHORT jobs = 0;
        EXPECT_EQ(second->get_Jobs(&jobs), S_OK);
        EXPECT_EQ(jobs, 1) << "managers of one thread share their jobs";
    }
    for (int once = 0; once < 2; ++once) ASSERT_EQ(s_unregister(), S_OK);
    EXPECT_THROW(CreateManager(), Error);
    EXPECT_THROW(CreateManager(ProgID_CDLManager), Error);
    EXPECT_EQ(Settings(), before);
    ASSERT_TRUE(tsasync::platform::DeleteSettingKey(kClassesRoot, u"CLSID", u"{another}"));
}

HRESULT Create(REFCLSID classId, DWORD context = CLSCTX_INPROC_SERVER) {
    void* object = nullptr;
    const HRESULT created = CoCreateInstance(classId, nullptr, context, IID_IUnknown, &object);
    EXPECT_EQ(object, nullptr);
    return created;
}

TEST_F(ComponentTest, WhatCannotBeFoundIsTold) {
    EXPECT_EQ(Create(CLSID_CDLManager), REGDB_E_CLASSNOTREG);
    const auto createFrom = [&](std::u16string_view path) {
        EXPECT_TRUE(WriteSetting(kClassesRoot, kServer, u"", path));
        return Create(CLSID_CDLManager);
    };
    EXPECT_EQ(createFrom(u""), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(createFrom(u"/nonexistent/libqmasyn10.so"), CO_E_DLLNOTFOUND);
    EXPECT_EQ(createFrom(Utf16(RUNTIME_PATH)), CO_E_ERRORINDLL);
    ASSERT_EQ(s_register(), S_OK);
    EXPECT_EQ(Create(CLSID_CDLItem), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(Create(CLSID_CDLManager, 4), REGDB_E_CLASSNOTREG) << "in a process of its own";
    ASSERT_TRUE(WriteSetting(kClassesRoot, u"Broken.Class\\CLSID", u"", u"not an identifier"));
    CLSID found = CLSID_CDLManager;
    EXPECT_EQ(CLSIDFromProgID(u"Broken.Class", &found), CO_E_CLASSSTRING);
    EXPECT_EQ(found, CLSID_NULL);
    EXPECT_EQ(CLSIDFromProgID(nullptr, &found), E_INVALIDARG);
    ASSERT_EQ(s_unregister(), S_OK);
}

TEST_F(ComponentTest, DownloadsOnTheMainContext) {
    std::string content(300000, '\0');
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 + i / 256);
    const std::filesystem::path source = s_home / "source.bin";
    std::ofstream(source, std::ios::binary) << content;

    const auto manager = CreateManager(s_getClassObject);
    TSDLStateEnum state = tsdStopped;
    std::u16string placed;
    LONG size = 0;
    const Connection events(manager,
                            {[&](_CDLItem& item) {
                                 Bstr path;
                                 Check(item.get_State(&state));
                                 Check(item.get_FinalPath(path.Put()));
                                 Check(item.get_Size(&size));
                                 placed = path.Text();
                             },
                             [](std::u16string_view, LONG) { FAIL() << "no Trace is ever raised"; }});
    Check(manager->put_AssetsPath(Bstr((s_home / "assets").u16string())));
    Check(manager->put_AutoStart(VARIANT_TRUE));
    Bstr handle;
    Check(manager->AddURL(Bstr(u"file://" + source.u16string()), nullptr, VARIANT_FALSE, handle.Put()));
    while (state == tsdStarting || state == tsdDownloading) g_main_context_iteration(nullptr, TRUE);
    ASSERT_EQ(state, tsdFinished);
    EXPECT_EQ(size, 300000);
    EXPECT_EQ(std::filesystem::path(placed).parent_path(), s_home / "assets");
    EXPECT_EQ(Read(tsasync::host::Utf8(placed)), content);
    EXPECT_EQ(Read(source), content);
}

}  // namespace
