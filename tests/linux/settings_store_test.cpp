#include "platform/settings_store.h"

#include "base/Text.h"
#include "settings/CRegSettings.h"
#include "tests/linux/scratch.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tsasync::platform {
namespace {

// One folder for the process: GLib reads the variable once.
class SettingsStore : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_folder.emplace();
        g_setenv("XDG_CONFIG_HOME", s_folder->Path().c_str(), TRUE);
    }
    static void TearDownTestSuite() { s_folder.reset(); }
    void SetUp() override { std::filesystem::remove_all(File().parent_path()); }

    static std::filesystem::path File() { return *s_folder / "QMASYN10/settings.ini"; }
    static void PutFile(const std::string& text) {
        std::filesystem::create_directories(File().parent_path());
        tests::Write(File(), text);
    }
    static std::string GetFile() { return tests::Read(File()); }

    static inline std::optional<tests::ScratchFolder> s_folder;
};

TEST_F(SettingsStore, KeepsAnyTextUnitForUnit) {
    std::u16string all;
    for (unsigned unit = 0; unit < 0x10000; ++unit) all += static_cast<char16_t>(unit);
    for (const std::u16string& text :
         {all, std::u16string(), std::u16string(u"  blanks  "), std::u16string(u"\\n=[#")}) {
        for (const std::u16string& name : {text, std::u16string(u"Location"), std::u16string()}) {
            ASSERT_TRUE(WriteSetting(kCurrentUserRoot, u"Software\\\\a/b]", name, text));
            EXPECT_TRUE(ReadSetting(kCurrentUserRoot, u"Software\\\\a/b]", name) == text);
        }
    }
}

TEST_F(SettingsStore, TellsNamesApartExceptForLetterCase) {
    EXPECT_TRUE(WriteSetting(kCurrentUserRoot, u"A\\B", u"\u00C4", u"1"));
    EXPECT_TRUE(WriteSetting(kCurrentUserRoot, u"a\\b", u"\u00E4", u"2"));
    EXPECT_TRUE(WriteSetting(kClassesRoot, u"A\\B", u"\u00C4", u"3"));
    EXPECT_TRUE(WriteSetting(kCurrentUserRoot, u"A", u"@", u"4"));
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A\\B", u"\u00C4"), u"2");
    EXPECT_EQ(ReadSetting(kClassesRoot, u"a\\B", u"\u00E4"), u"3");
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A", u""), std::nullopt);
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A/B", u"\u00C4"), std::nullopt);
    EXPECT_FALSE(WriteSetting(5, u"A", u"x", u"y"));
}

TEST_F(SettingsStore, DeletesOnlyWhatIsThereAndHoldsNoKeys) {
    WriteSetting(kCurrentUserRoot, u"A\\B\\C", u"x", u"1");
    EXPECT_FALSE(DeleteSettingKey(kCurrentUserRoot, u"A", u"B"));
    EXPECT_FALSE(DeleteSettingKey(kCurrentUserRoot, u"A", u"nothing"));
    EXPECT_FALSE(DeleteSettingValue(kCurrentUserRoot, u"A\\B", u"x"));
    EXPECT_TRUE(DeleteSettingKey(kCurrentUserRoot, u"A\\B", u"C"));
    EXPECT_TRUE(DeleteSettingKey(kCurrentUserRoot, u"A", u"B"));  // was left when its only key went
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A\\B\\C", u"x"), std::nullopt);
    EXPECT_TRUE(SettingKeyExists(kCurrentUserRoot, u"a"));
    EXPECT_FALSE(SettingKeyExists(kCurrentUserRoot, u"A\\B"));
}

TEST_F(SettingsStore, LeavesNoEmptyParentsOfClasses) {
    WriteSetting(kClassesRoot, u"A\\B", u"", u"1");
    WriteSetting(kClassesRoot, u"A\\C", u"", u"2");
    EXPECT_TRUE(DeleteSettingKey(kClassesRoot, u"A", u"B"));
    EXPECT_TRUE(SettingKeyExists(kClassesRoot, u"A"));
    EXPECT_TRUE(DeleteSettingKey(kClassesRoot, u"A", u"C"));
    EXPECT_FALSE(SettingKeyExists(kClassesRoot, u"A"));
    EXPECT_FALSE(SettingKeyExists(kClassesRoot, u""));
}

TEST_F(SettingsStore, LeavesWhatAPersonWroteWhereItIs) {
    const std::string before =
        "# mine\r\n[currentuser/A]\r\n  x = "
        "one\r\nnonsense\n\xFF\xFE=\x01\n[broken\ny=no\n[CurrentUser/B]\nx=\\q\n";
    PutFile(before);
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A", u"X"), u"one");
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A", u"y"), std::nullopt);  // below the broken heading
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"B", u"x"), std::nullopt);
    ASSERT_TRUE(WriteSetting(kCurrentUserRoot, u"A", u"new", u"two"));
    std::string awaited = before;
    awaited.insert(awaited.find("nonsense"), "new=two\n");
    EXPECT_EQ(GetFile(), awaited);
    ASSERT_TRUE(DeleteSettingValue(kCurrentUserRoot, u"A", u"new"));
    EXPECT_EQ(GetFile(), before);
}

TEST_F(SettingsStore, RefusesAFileThatItCantHold) {
    PutFile(std::string((16u << 20) + 1, '#'));
    EXPECT_FALSE(WriteSetting(kCurrentUserRoot, u"A", u"x", u"1"));
    EXPECT_EQ(GetFile().size(), (16u << 20) + 1);
    std::filesystem::remove(File());
    std::filesystem::create_directory(File());
    EXPECT_FALSE(WriteSetting(kCurrentUserRoot, u"A", u"x", u"1"));
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"A", u"x"), std::nullopt);
}

TEST_F(SettingsStore, LosesNothingWhenProcessesAndThreadsWriteAtOnce) {
    constexpr int kWrites = 15;
    const auto writeAll = [](char16_t writer) {
        for (int i = 0; i < kWrites; ++i) {
            if (!WriteSetting(kCurrentUserRoot, u"Shared", writer + Decimal(i), u"kept")) return false;
        }
        return true;
    };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(writeAll(u'p') ? 0 : 1);
    bool one = false;
    bool two = false;
    std::thread first([&] { one = writeAll(u'q'); });
    std::thread second([&] { two = writeAll(u'r'); });
    first.join();
    second.join();
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(one && two && status == 0);
    for (const char16_t writer : {u'p', u'q', u'r'}) {
        for (int i = 0; i < kWrites; ++i) {
            EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"Shared", writer + Decimal(i)), u"kept");
        }
    }
    // Besides the file and its lock nothing is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(File().parent_path()), {}), 2);
}

TEST_F(SettingsStore, CarriesTheApplicationsSettings) {
    CRegSettings settings;
    settings.SetCompany(u"  Corvane ");
    settings.SetAppName(u"Quillmark");
    EXPECT_EQ(settings.GetSetting(u"Assets", u"Location", u"none", kCurrentUserRoot), u"none");
    EXPECT_TRUE(settings.SaveSetting(u"Assets", u"Location", u"", kCurrentUserRoot));
    EXPECT_EQ(settings.GetSetting(u"Assets", u"Location", u"none", kCurrentUserRoot), u"");
    EXPECT_TRUE(settings.SaveSetting(u"Assets", u"*", u"default", kCurrentUserRoot));
    EXPECT_EQ(ReadSetting(kCurrentUserRoot, u"Software\\Corvane\\Quillmark\\Assets", u""), u"default");
    EXPECT_TRUE(settings.DeleteSetting(u"Assets", u"*", kCurrentUserRoot));
    EXPECT_TRUE(settings.DeleteSetting(u"Assets", u"", kCurrentUserRoot));
    EXPECT_FALSE(settings.DeleteSetting(u"Assets", u"Location", kCurrentUserRoot));
    EXPECT_FALSE(settings.DeleteSetting(u"", u"", kCurrentUserRoot));
    EXPECT_TRUE(SettingKeyExists(kCurrentUserRoot, u"Software\\Corvane\\Quillmark"));
    settings.SetCompany(u"   ");
    EXPECT_EQ(settings.Company(), u"");
    settings.SetCompany(u"");
    EXPECT_EQ(settings.Company(), u"VB and VBA Program Settings");
}

}  // namespace
}  // namespace tsasync::platform
