#include "files/CFileVersionInfo.h"

#include "tests/files/executable_builder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace tsasync {
namespace {

using executables::VersionParts;
using namespace std::string_literals;

class VersionInfo : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* const test = ::testing::UnitTest::GetInstance()->current_test_info();
        m_file = std::filesystem::temp_directory_path() /
                 ("tsasync-version-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + test->name());
    }
    void TearDown() override { std::filesystem::remove_all(m_file); }

    void Write(const std::string& content) const { std::ofstream(m_file, std::ios::binary) << content; }
    void Take(const std::string& content) {
        Write(content);
        m_info.SetFullPathName(m_file.u16string());
    }

    std::filesystem::path m_file;
    CFileVersionInfo m_info;
};

VersionParts WithFixed(platform::FixedVersion fixed) {
    VersionParts parts;
    parts.fixed = fixed;
    return parts;
}

const std::pair<std::u16string, const std::u16string& (CFileVersionInfo::*)() const> kStrings[] = {
    {u"CompanyName", &CFileVersionInfo::CompanyName},
    {u"FileDescription", &CFileVersionInfo::FileDescription},
    {u"FileVersion", &CFileVersionInfo::FileVersion},
    {u"InternalName", &CFileVersionInfo::InternalName},
    {u"LegalCopyright", &CFileVersionInfo::LegalCopyright},
    {u"LegalTrademarks", &CFileVersionInfo::LegalTrademarks},
    {u"OriginalFilename", &CFileVersionInfo::OriginalFilename},
    {u"ProductName", &CFileVersionInfo::ProductName},
    {u"ProductVersion", &CFileVersionInfo::ProductVersion}};

VersionParts WithStrings() {
    VersionParts parts;
    for (const auto& [name, get] : kStrings) parts.strings.emplace_back(name, name + u" \u00E4");
    return parts;
}

void ExpectStrings(const CFileVersionInfo& info) {
    for (const auto& [name, get] : kStrings) EXPECT_EQ((info.*get)(), name + u" \u00E4");
}

TEST_F(VersionInfo, ReadsEveryKindOfExecutable) {
    using namespace executables;  // NOLINT(google-build-using-namespace)
    VersionParts sixteen = WithStrings();
    sixteen.translations = {{0x0409, 1252}, {0x0407, 1252}};
    sixteen.table = u"040904E4";
    for (const auto& file :
         {Pe32(WideBlock(WithStrings())), Pe32Plus(WideBlock(WithStrings())), Ne(NarrowBlock(sixteen))}) {
        m_info = {};
        Take(file);
        EXPECT_TRUE(m_info.Available());
        EXPECT_EQ(m_info.VerStructure(), u"1.0");
        EXPECT_EQ(m_info.VerFile(), u"1.02.0304");
        EXPECT_EQ(m_info.VerProduct(), u"5.06.0708");
        EXPECT_EQ(m_info.FileFlags(), u"");
        EXPECT_EQ(m_info.FileOS(), u"NT-Win32");
        EXPECT_EQ(m_info.FileType(), u"Application");
        EXPECT_EQ(m_info.FileSubType(), u"");
        EXPECT_FALSE(m_info.Language().empty());
        ExpectStrings(m_info);
    }
}

TEST_F(VersionInfo, FormatsVersions) {
    const struct {
        std::uint32_t high, low;
        std::u16string_view text;
    } cases[] = {{0x60000, 8169, u"6.00.8169"},    {0x40047, 0, u"4.71.0000"},
                 {0x10002, 0x30004, u"1.02.0304"}, {0x50001, 2600U << 16 | 2180, u"5.01.26002180"},
                 {0x10000, 40000, u"1.00.40000"},  {0xFFFFFFFF, 0xFFFFFFFF, u"65535.65535.6553565535"}};
    for (const auto& c : cases) {
        Take(executables::Pe32(
            executables::WideBlock(WithFixed({0x20001, c.high, c.low, c.low, c.high, 0, 0, 0, 0}))));
        EXPECT_EQ(m_info.VerFile(), c.text);
        EXPECT_EQ(m_info.VerStructure(), u"2.1");
    }
}

TEST_F(VersionInfo, NamesFlagsSystemsAndTypes) {
    const struct {
        std::uint32_t flags, system, type, subtype;
        std::u16string_view flagsText, systemText, typeText, subtypeText;
    } cases[] = {{0, 0x40004, 1, 5, u"", u"NT-Win32", u"Application", u"kept"},
                 {3, 0x10001, 2, 5, u"Debug PreRel", u"DOS-Win16", u"DLL", u"kept"},
                 {0xFFFFFFFF, 0x10004, 5, 1, u"Debug PreRel Patched Private Info Special", u"DOS-Win32",
                  u"VxD", u"kept"},
                 {0x20, 0x20002, 7, 1, u"Special", u"OS/2-16 PM-16", u"Lib", u"kept"},
                 {0x40, 0x30003, 0, 1, u"", u"OS/2-16 PM-32", u"Unknown", u"kept"},
                 {0x14, 4, 6, 1, u"Patched Info", u"Unknown", u"Unknown", u"kept"},
                 {8, 0, 8, 1, u"Private", u"Unknown", u"Unknown", u"kept"},
                 {0, 0, 3, 0, u"", u"Unknown", u"Driver", u"Unknown"},
                 {0, 0, 3, 8, u"", u"Unknown", u"Driver", u"Installable"},
                 {0, 0, 3, 10, u"", u"Unknown", u"Driver", u"Comm drv"},
                 {0, 0, 3, 11, u"", u"Unknown", u"Driver", u"kept"},
                 {0, 0, 4, 0, u"", u"Unknown", u"Font", u"kept"},
                 {0, 0, 4, 1, u"", u"Unknown", u"Font", u"Raster Font"},
                 {0, 0, 4, 3, u"", u"Unknown", u"Font", u"TrueType Font"},
                 {0, 0, 4, 4, u"", u"Unknown", u"Font", u"kept"}};
    for (const auto& c : cases) {
        m_info = {};
        Take(executables::Pe32(executables::WideBlock(WithFixed({0, 0, 0, 0, 0, 0, 0, 4, 2}))));
        ASSERT_EQ(m_info.FileSubType(), u"Vector Font");
        Take(executables::Pe32(
            executables::WideBlock(WithFixed({0, 0, 0, 0, 0, c.flags, c.system, c.type, c.subtype}))));
        EXPECT_EQ(m_info.FileFlags(), c.flagsText);
        EXPECT_EQ(m_info.FileOS(), c.systemText);
        EXPECT_EQ(m_info.FileType(), c.typeText);
        EXPECT_EQ(m_info.FileSubType(), c.subtypeText == u"kept" ? u"Vector Font" : c.subtypeText);
    }
}

TEST_F(VersionInfo, WhatIsMissingKeepsItsValue) {
    using namespace executables;  // NOLINT(google-build-using-namespace)
    Take(Pe32(WideBlock(WithStrings())));
    const std::u16string language = m_info.Language();

    VersionParts none = WithStrings();
    none.translations.clear();
    none.strings = {{u"ProductName", u"unreachable"}};
    Take(Pe32(WideBlock(none)));
    ExpectStrings(m_info);
    EXPECT_EQ(m_info.Language(), language);

    VersionParts otherTable;
    otherTable.table = u"040704B0";
    otherTable.strings = {{u"ProductName", u"unreachable"}};
    Take(Pe32(WideBlock(otherTable)));
    ExpectStrings(m_info);

    VersionParts one = WithFixed({0x10000, 0x90000, 1, 0, 0, 0, 0, 2, 0});
    one.fixed.reset();
    one.strings = {{u"companyname", u"new"}, {u"Comments", u"not asked for"}};
    Take(Pe32(WideBlock(one)));
    EXPECT_EQ(m_info.CompanyName(), u"new");  // keys compare without regard to case
    EXPECT_EQ(m_info.VerFile(), u"1.02.0304");
    EXPECT_EQ(m_info.ProductName(), u"ProductName \u00E4");

    Take("no executable at all");
    EXPECT_FALSE(m_info.Available());
    EXPECT_EQ(m_info.CompanyName(), u"new");
    m_info.SetFullPathName(u"");
    EXPECT_EQ(m_info.FullPathName(), m_file.u16string());
    Take(Pe32Plus(WideBlock(WithStrings())));
    EXPECT_TRUE(m_info.Available());
    ExpectStrings(m_info);
}

TEST_F(VersionInfo, EightBitTextsAreInTheirCodePage) {
    const struct {
        std::uint16_t codePage;
        std::u16string_view table, text;
    } cases[] = {
        {1252, u"040904E4", u"\u00E4\u20AC"},  {1251, u"040904E3", u"\u0434\u0402"},
        {0, u"04090000", u"\u00E4\u20AC"},     {1200, u"040904B0", u"\u00E4\u20AC"},
        {54321, u"0409D431", u"\u00E4\u20AC"},  // unknown
    };
    for (const auto& c : cases) {
        VersionParts parts;
        parts.translations = {{0x409, c.codePage}};
        parts.table = c.table;
        parts.strings = {{u"ProductName", u"\u00E4\u0080"}};
        Take(executables::Ne(executables::NarrowBlock(parts)));
        EXPECT_EQ(m_info.ProductName(), c.text) << c.codePage;
    }
}

TEST_F(VersionInfo, ATextEndsAtItsNullOrWithItsNode) {
    VersionParts parts;
    parts.strings = {{u"CompanyName", u"seen\0hidden"s}, {u"ProductName", u""}, {u"FileVersion", u"1.0"}};
    std::string block = executables::WideBlock(parts);
    const std::size_t last = block.find("1\0.\0"s);
    ASSERT_NE(last, std::string::npos);
    block[last + 6] = '!';  // the NUL
    block[last + 7] = 1;
    Take(executables::Pe32(block));
    EXPECT_EQ(m_info.CompanyName(), u"seen");
    EXPECT_EQ(m_info.ProductName(), u"");
    EXPECT_EQ(m_info.FileVersion(), u"1.0\u0121");
}

TEST_F(VersionInfo, AFileCutOffAnywhereHasNoneOrTheWhole) {
    using namespace executables;  // NOLINT(google-build-using-namespace)
    for (const auto& whole : {Pe32(WideBlock(WithStrings())), Pe32Plus(WideBlock(WithStrings())),
                              Ne(NarrowBlock(WithStrings()))}) {
        Write(whole);
        for (std::size_t size = whole.size(); size-- > 0;) {
            std::filesystem::resize_file(m_file, size);
            CFileVersionInfo info;
            info.SetFullPathName(m_file.u16string());
            if (info.Available()) {
                EXPECT_EQ(info.VerFile(), u"1.02.0304") << size;
                ExpectStrings(info);
                EXPECT_GT(size, whole.size() - 512);  // what is cut is padding
            }
        }
    }
}

TEST_F(VersionInfo, OtherEntriesHaveNone) {
    m_info.SetFullPathName(m_file.u16string());  // missing
    EXPECT_FALSE(m_info.Available());
    EXPECT_EQ(m_info.FullPathName(), m_file.u16string());
    std::filesystem::create_directory(m_file);
    m_info.Refresh();
    EXPECT_FALSE(m_info.Available());
    std::filesystem::remove(m_file);
    for (const auto& content : {""s, "MZ"s, "MZ"s + std::string(62, '\xFF'), std::string(5000, '\0')}) {
        Take(content);
        EXPECT_FALSE(m_info.Available());
    }
}

TEST_F(VersionInfo, AHugeFileIsNotRead) {
    const std::string file = executables::Pe32Plus(executables::WideBlock(WithStrings()));
    Write(file);
    std::filesystem::resize_file(m_file, std::uintmax_t{4} << 30);  // the rest is a hole
    m_info.SetFullPathName(m_file.u16string());
    ExpectStrings(m_info);
}

}  // namespace
}  // namespace tsasync
