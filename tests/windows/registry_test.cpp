// Stored settings as the registry holds them, and the user's folders.
#include "platform/settings_store.h"
#include "platform/special_folders.h"

#include <gtest/gtest.h>
#include <windows.h>
// after windows.h, whose types it uses
#include <shlobj.h>

#include <array>
#include <string>
#include <vector>

namespace tsasync::platform {
namespace {

constexpr std::u16string_view kParent = u"Software\\TSAsync test";
constexpr std::u16string_view kKey = u"Software\\TSAsync test\\Section";
constexpr const wchar_t* kSystemsKey = L"Software\\TSAsync test\\Section";

class Settings : public testing::Test {
  protected:
    void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\TSAsync test"); }
};

TEST_F(Settings, AreTextsWithTheirEnd) {
    for (const std::u16string& text : {std::u16string(u"D:\\Bilder\\\u00C4\u4E2D"), std::u16string()}) {
        for (const std::u16string& name : {std::u16string(u"Location"), std::u16string()}) {
            ASSERT_TRUE(WriteSetting(kCurrentUserRoot, kKey, name, text));
            std::array<wchar_t, 100> data{};
            DWORD size = sizeof data;
            DWORD type = 0;
            ASSERT_EQ(
                RegGetValueW(HKEY_CURRENT_USER, kSystemsKey, std::wstring(name.begin(), name.end()).c_str(),
                             RRF_RT_ANY, &type, data.data(), &size),
                ERROR_SUCCESS);
            EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
            EXPECT_EQ(size, (text.size() + 1) * sizeof(wchar_t));
            EXPECT_EQ(std::u16string(data.data(), data.data() + text.size()), text);
            EXPECT_EQ(ReadSetting(kCurrentUserRoot, kKey, name), text);
        }
    }
}

// Whatever other programs store there.
TEST_F(Settings, AreReadWithoutALookAtTheirType) {
    const struct {
        DWORD type;
        std::u16string data;
        std::optional<std::u16string> result;
    } cases[] = {
        {REG_EXPAND_SZ, std::u16string(u"%X%\0", 4), u"%X%"},
        {REG_SZ, u"open", u"open"},  // without an end
        {REG_SZ, std::u16string(1, u'\0'), u""},
        {REG_SZ, u"", std::nullopt},
        {REG_BINARY, std::u16string(u"ab\0", 3), u"ab"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kSystemsKey, L"value", c.type, c.data.data(),
                                  static_cast<DWORD>(c.data.size() * sizeof(char16_t))),
                  ERROR_SUCCESS);
        EXPECT_EQ(ReadSetting(kCurrentUserRoot, kKey, u"VALUE"), c.result);
    }
}

TEST_F(Settings, AreDeleted) {
    EXPECT_FALSE(SettingKeyExists(kCurrentUserRoot, kKey));
    EXPECT_FALSE(DeleteSettingValue(kCurrentUserRoot, kKey, u"value"));
    EXPECT_FALSE(DeleteSettingKey(kCurrentUserRoot, kParent, u"Section"));
    ASSERT_TRUE(WriteSetting(kCurrentUserRoot, kKey, u"value", u"text"));
    EXPECT_FALSE(DeleteSettingKey(kCurrentUserRoot, u"Software", u"TSAsync test")) << "with a key below it";
    EXPECT_TRUE(DeleteSettingValue(kCurrentUserRoot, kKey, u"value"));
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, kKey, u"value"), std::nullopt);
    EXPECT_TRUE(DeleteSettingKey(kCurrentUserRoot, kParent, u"Section"));
    EXPECT_FALSE(SettingKeyExists(kCurrentUserRoot, kKey));
    EXPECT_TRUE(SettingKeyExists(kCurrentUserRoot, kParent));
}

TEST(SpecialFolders, AreThoseThatTheSystemTellsInOtherWays) {
    std::array<wchar_t, MAX_PATH> system{};
    GetSystemDirectoryW(system.data(), MAX_PATH);
    wchar_t* documents = nullptr;
    ASSERT_EQ(SHGetKnownFolderPath(FOLDERID_Documents, 0, nullptr, &documents), S_OK);
    const struct {
        std::int32_t number;
        std::wstring path;
    } cases[] = {
        {CSIDL_PERSONAL, documents}, {CSIDL_SYSTEM, system.data()}, {CSIDL_DRIVES, L""}, {0x3FFF, L""}};
    CoTaskMemFree(documents);
    for (const auto& [number, path] : cases)
        EXPECT_EQ(SpecialFolder(number), std::u16string(path.begin(), path.end())) << number;
}

}  // namespace
}  // namespace tsasync::platform
