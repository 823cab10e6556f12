#include "files/CFileInfo.h"

#include "tests/platform/clock.h"
#include "tests/platform/file_system.h"

#include <gtest/gtest.h>

namespace tsasync {
namespace {

using namespace testplatform;  // NOLINT(google-build-using-namespace)

constexpr double kTen = 45366 + 10.0 / 24;

class FileInfo : public ::testing::Test {
  protected:
    void SetUp() override {
        ResetFileSystem();
        SetNow(kTen);
    }
    CFileInfo m_info;
};

TEST_F(FileInfo, StartsEmpty) {
    EXPECT_EQ(m_info.FullPathName(), u"");
    EXPECT_FALSE(m_info.FileExists() || m_info.PathExists());
    EXPECT_EQ(m_info.Attributes(), 0);
    EXPECT_EQ(m_info.hIcon(), 0);
    m_info.SetFullPathName(u"");  // can't be resolved
    EXPECT_EQ(m_info.FullPathName(), u"");
}

TEST_F(FileInfo, TakesAPathApart) {
    const struct {
        std::u16string_view stored, asked, path, base, extension, type;
    } cases[] = {
        {u"C:\\Assets\\photo.JPG", u"c:\\ASSETS\\photo.jpg", u"C:\\Assets\\", u"photo", u"JPG", u"JPG File"},
        {u"C:\\archive.tar.gz", u"c:archive.TAR.gz", u"C:\\", u"archive.tar", u"gz", u"GZ File"},
        {u"C:\\README", u"readme", u"C:\\", u"README", u"", u"File"},
        {u"C:\\.profile", u"C:\\x\\..\\.profile", u"C:\\", u"", u"profile", u"PROFILE File"},
        {u"C:\\end.", u"C:\\end.", u"C:\\", u"end", u"", u"File"},
        {u"C:\\ a . b", u"C:\\ a . b", u"C:\\", u" a ", u" b", u"B File"},  // blanks are part of a name
        {u"\\\\server\\share\\f.txt", u"\\\\server\\share\\f.txt", u"\\\\server\\share\\", u"f", u"txt",
         u"TXT File"},
        {u"\\\\server\\share\\Deep\\f.txt", u"\\\\server\\share\\DEEP\\f.txt", u"\\\\server\\share\\Deep\\",
         u"f", u"txt", u"TXT File"}};
    for (const auto& c : cases) {
        PutFile(c.stored);
        CFileInfo info;
        info.SetFullPathName(c.asked);
        EXPECT_TRUE(info.FileExists() && info.PathExists());
        EXPECT_EQ(info.FullPathName(), c.stored);
        EXPECT_EQ(info.FilePath(), c.path);
        EXPECT_EQ(info.FilePath() + info.FileName(), c.stored);
        EXPECT_EQ(info.FileBaseName(), c.base);
        EXPECT_EQ(info.FileExtension(), c.extension);
        EXPECT_EQ(info.TypeName(), c.type);
    }
}

TEST_F(FileInfo, FindsLongFormsAndShortForms) {
    PutFile(u"C:\\Program Files\\Assets\\a longer name.html");
    SetShortName(u"C:\\Program Files", u"PROGRA~1");
    SetShortName(u"C:\\Program Files\\Assets\\a longer name.html", u"ALONGE~1.HTM");
    m_info.SetFullPathName(u"c:\\progra~1\\assets\\alonge~1.htm");
    EXPECT_EQ(m_info.FullPathName(), u"C:\\Program Files\\Assets\\a longer name.html");
    EXPECT_EQ(m_info.ShortName(), u"ALONGE~1.HTM");
    EXPECT_EQ(m_info.ShortPathName(), u"C:\\PROGRA~1\\Assets\\ALONGE~1.HTM");
    EXPECT_EQ(m_info.ShortPath(), u"C:\\PROGRA~1\\Assets\\");
    PutFile(u"C:\\plain.txt");
    m_info.SetFullPathName(u"C:\\plain.txt");
    EXPECT_EQ(m_info.ShortName(), u"PLAIN.TXT");
    EXPECT_EQ(m_info.ShortPath(), u"C:\\");
}

TEST_F(FileInfo, AVanishedFileLeavesWhatWasKnown) {
    PutFile(u"C:\\a.b", "12345");
    m_info.SetFullPathName(u"C:\\a.b");
    RemoveEntry(u"C:\\a.b");
    m_info.Refresh();
    EXPECT_FALSE(m_info.FileExists());
    EXPECT_TRUE(m_info.PathExists());
    EXPECT_EQ(m_info.FileSize(), 5);
    EXPECT_EQ(m_info.CompressedFileSize(), 4096);
    EXPECT_EQ(m_info.FileName(), u"a.b");
    m_info.SetattrReadOnly(true);
    m_info.SetModifyTime(1);
    EXPECT_FALSE(m_info.attrReadOnly());
    EXPECT_EQ(m_info.ModifyTime(), kTen);
    m_info.SetFullPathName(u"C:\\sub\\other");  // resolved, not found
    EXPECT_EQ(m_info.FullPathName(), u"C:\\sub\\other");
    EXPECT_EQ(m_info.FileName(), u"a.b");
}

TEST_F(FileInfo, WritesAttributes) {
    const struct {
        bool (CFileInfo::*get)() const;
        void (CFileInfo::*set)(bool);
        bool writable;
    } cases[] = {{&CFileInfo::attrReadOnly, &CFileInfo::SetattrReadOnly, true},
                 {&CFileInfo::attrHidden, &CFileInfo::SetattrHidden, true},
                 {&CFileInfo::attrSystem, &CFileInfo::SetattrSystem, true},
                 {&CFileInfo::attrArchive, &CFileInfo::SetattrArchive, true},
                 {&CFileInfo::attrTemporary, &CFileInfo::SetattrTemporary, false},
                 {&CFileInfo::attrCompressed, &CFileInfo::SetattrCompressed, false}};
    for (const auto& c : cases) {
        ResetFileSystem();
        PutFile(u"C:\\a.b");
        CFileInfo info;
        info.SetFullPathName(u"C:\\a.b");
        (info.*c.set)(false);
        EXPECT_FALSE((info.*c.get)());
        (info.*c.set)(true);
        EXPECT_EQ((info.*c.get)(), c.writable);
        CFileInfo again;
        again.SetFullPathName(u"C:\\a.b");
        EXPECT_EQ(again.Attributes(), info.Attributes());
    }
}

TEST_F(FileInfo, RefusedWritesLeaveTheObjectAsItWas) {
    PutFile(u"C:\\a.b");
    m_info.SetFullPathName(u"C:\\a.b");
    Seal(u"C:\\a.b");
    PutFile(u"C:\\a.b", "longer now");
    m_info.SetattrHidden(true);
    m_info.SetModifyTime(kTen - 1);
    EXPECT_FALSE(m_info.attrHidden());
    EXPECT_EQ(m_info.ModifyTime(), kTen);
    EXPECT_EQ(m_info.FileSize(), 0);  // not refreshed
}

TEST_F(FileInfo, WritingTheSameAttributesWritesNothing) {
    PutFile(u"C:\\a.b");
    m_info.SetFullPathName(u"C:\\a.b");
    PutFile(u"C:\\a.b", "longer now");
    m_info.SetattrReadOnly(false);
    EXPECT_EQ(m_info.FileSize(), 0);
    m_info.SetattrReadOnly(true);
    EXPECT_EQ(m_info.FileSize(), 10);  // a write refreshes
}

TEST_F(FileInfo, WritesEachTimeAlone) {
    PutFile(u"C:\\a.b");
    m_info.SetFullPathName(u"C:\\a.b");
    m_info.SetCreationTime(40000.5);
    m_info.SetLastAccessTime(40001.25);
    EXPECT_EQ(m_info.CreationTime(), 40000.5);
    EXPECT_EQ(m_info.LastAccessTime(), 40001.25);
    EXPECT_EQ(m_info.ModifyTime(), kTen);
}

}  // namespace
}  // namespace tsasync
