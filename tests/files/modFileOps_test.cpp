#include "files/modFileOps.h"

#include "tests/base/error_of.h"
#include "tests/platform/file_system.h"

#include <gtest/gtest.h>

namespace tsasync {
namespace {

namespace fo = modFileOps;
using namespace testplatform;  // NOLINT(google-build-using-namespace)

constexpr std::int32_t kRename = platform::kFlagSilent | platform::kFlagRenameOnCollision;

std::u16string Unique(std::u16string_view path) {
    return fo::UniqueFileName(path, {}, {}, u"[#]", u"<N><#>.<E>");
}

std::u16string Move(std::u16string_view from, std::u16string_view to) {
    return fo::FileOperation(from, to, platform::kOpMove, kRename, 7);
}

class ModFileOps : public ::testing::Test {
  protected:
    void SetUp() override { ResetFileSystem(); }
};

TEST_F(ModFileOps, NormalisesFolderPaths) {
    const struct {
        std::u16string_view path, with, without;
    } cases[] = {{u"C:\\Assets", u"C:\\Assets\\", u"C:\\Assets"},
                 {u"  C:\\Assets\\  ", u"C:\\Assets\\", u"C:\\Assets"},
                 {u"C:\\a b\\\\", u"C:\\a b\\\\", u"C:\\a b\\"},  // one separator is cut, not all
                 {u"\tC:\\x", u"\tC:\\x\\", u"\tC:\\x"},          // only spaces are trimmed
                 {u"", u"\\", u""},
                 {u"   ", u"\\", u""},
                 {u"C:\\", u"C:\\", u"C:"}};
    for (const auto& c : cases) {
        EXPECT_EQ(fo::AddBackslash(c.path), c.with);
        EXPECT_EQ(fo::RemoveBackslash(c.path), c.without);
    }
}

TEST_F(ModFileOps, TellsFilesFromFolders) {
    PutFile(u"C:\\Assets\\photo.jpg");
    EXPECT_TRUE(fo::FileOrFolderExists(u"C:\\Assets"));
    EXPECT_TRUE(fo::FileOrFolderExists(u"c:\\assets\\PHOTO.*"));
    EXPECT_FALSE(fo::FileOrFolderExists(u" C:\\Assets"));  // not trimmed
    EXPECT_FALSE(fo::FileOrFolderExists(u"C:\\Assets\\*.gif"));

    std::u16string folder = u"  C:\\Assets\\  ";
    EXPECT_TRUE(fo::FolderExists(folder));
    EXPECT_EQ(folder, u"C:\\Assets");
    std::u16string file = u" C:\\Assets\\photo.jpg ";
    EXPECT_FALSE(fo::FolderExists(file));
    EXPECT_EQ(file, u"C:\\Assets\\photo.jpg");
    std::u16string missing = u"D:\\nothing\\ ";
    EXPECT_FALSE(fo::FolderExists(missing));
    EXPECT_EQ(missing, u"D:\\nothing");
}

TEST_F(ModFileOps, CreatesFolderTrees) {
    const struct {
        std::u16string_view path;
        std::int16_t levels;
        std::u16string_view made;
    } cases[] = {{u"C:\\A\\B", 2, u"C:\\A\\B"},
                 {u"C:\\A\\B\\", 2, u"C:\\A\\B"},
                 {u"A\\R", 2, u"C:\\A\\R"},
                 {u"\\\\srv\\share\\x", 5, u"\\\\srv\\share\\x"},
                 {u"C:", 1, u"C:"},
                 {u"C:\\", 1, u"C:"}};
    for (const auto& c : cases) {
        EXPECT_EQ(fo::CreateFolderTree(c.path), c.levels);
        EXPECT_TRUE(Exists(c.made));
    }
    PutFile(u"C:\\file");
    EXPECT_EQ(fo::CreateFolderTree(u"C:\\file\\x"), 2);  // shows only when something is put there
    EXPECT_FALSE(Exists(u"C:\\file\\x"));
}

TEST_F(ModFileOps, TakesTokensWithTheirDelimiter) {
    std::u16string text = u"ab\\c\\";
    EXPECT_EQ(fo::TakeToken(text, u'\\'), u"ab\\");
    EXPECT_EQ(fo::TakeToken(text, u'\\'), u"c\\");
    EXPECT_EQ(text, u"");
}

TEST_F(ModFileOps, BuildsTheNextFreeName) {
    const struct {
        std::vector<std::u16string_view> existing;
        std::u16string_view path, result;
    } cases[] = {
        {{u"photo.jpg"}, u"photo.jpg", u"photo[1].jpg"},
        {{u"photo.jpg", u"photo[1].jpg"}, u"photo.jpg", u"photo[2].jpg"},
        {{u"photo.jpg", u"photo[2].jpg"}, u"photo.jpg", u"photo[1].jpg"},
        {{u"photo[3].jpg"}, u"photo[3].jpg", u"photo[3][4].jpg"},
        {{u"archive.tar.gz"}, u"archive.tar.gz", u"archive.tar[1].gz"},
        {{u"report"}, u"report", u"report[1]."},
        {{}, u"new.txt", u"new.txt"},
        {{u"photo[a].jpg"}, u"photo[a].jpg", u"photo[a][1].jpg"},
        {{u"a[1][2]"}, u"a[1][2]", u"a[1][2][1]."},  // the text is "1][2": no number
        {{u"a[].b"}, u"a[].b", u"a[][1].b"},
        {{u"a[2.5].b"}, u"a[2.5].b", u"a[2.5][3].b"},  // halves to even
        {{u"a[-3].b"}, u"a[-3].b", u"a[-3][-2].b"},
        {{u"a[ 7 ].b"}, u"a[ 7 ].b", u"a[ 7 ][8].b"},
        {{u"a[nan].b"}, u"a[nan].b", u"a[nan][1].b"},
        {{u"a[-inf].b"}, u"a[-inf].b", u"a[-inf][1].b"},
        {{u"a[+-3].b"}, u"a[+-3].b", u"a[+-3][1].b"},
        {{u"a[+.5e1].b"}, u"a[+.5e1].b", u"a[+.5e1][6].b"},
        {{u"a[1e-999].b"}, u"a[1e-999].b", u"a[1e-999][1].b"},
        {{u"a]b[4].c"}, u"a]b[4].c", u"a]b[4][5].c"},
        {{u"Photo.JPG"}, u"pHOTO.jpg", u"Photo[1].JPG"},  // the case of what is stored
    };
    for (const auto& c : cases) {
        ResetFileSystem();
        PutFolder(u"C:\\Assets");
        for (const auto name : c.existing) PutFile(u"C:\\Assets\\" + std::u16string(name), "old");
        const std::u16string path = u"c:\\ASSETS\\" + std::u16string(c.path);
        const bool taken = !c.existing.empty();
        const std::u16string expected =
            (taken ? u"C:\\Assets\\" : u"c:\\ASSETS\\") + std::u16string(c.result);
        EXPECT_EQ(Unique(path), expected);
        EXPECT_EQ(ContentOf(expected), taken ? std::optional<std::string>("") : std::nullopt);
        EXPECT_EQ(List(u"C:\\Assets").size(), taken ? c.existing.size() + 1 : 0);
    }
}

TEST_F(ModFileOps, ReplacesTokensInTheirOrder) {
    PutFile(u"C:\\x.y");
    EXPECT_EQ(fo::UniqueFileName(u"C:\\x.y", u"<S>p", u"s<#>", u"(#-#)<E>", u"<P><S><#><N><E><p>"),
              u"C:\\s(1-1)yps(1-1)y(1-1)yxy<p>");
    PutFile(u"C:\\<E>.z");  // never on a real volume, but a value put in is subject to the later tokens
    EXPECT_EQ(Unique(u"C:\\<E>.z"), u"C:\\z[1].z");
}

TEST_F(ModFileOps, RefusesNamesThatCannotBe) {
    PutFile(u"C:\\a[99999999999].b");
    EXPECT_EQ(ErrorOf([] { Unique(u"C:\\a[99999999999].b"); }).number, 6);
    PutFile(u"C:\\a[2147483647].b");
    EXPECT_EQ(ErrorOf([] { Unique(u"C:\\a[2147483647].b"); }).number, 6);
    PutFile(u"C:\\same");
    EXPECT_EQ(ErrorOf([] { fo::UniqueFileName(u"C:\\same", {}, {}, u"#", u"same"); }).number, 5);
    PutFile(u"C:\\sealed\\a.b");
    Seal(u"C:\\sealed");
    EXPECT_EQ(ErrorOf([] { Unique(u"C:\\sealed\\a.b"); }).number, 70);
}

TEST_F(ModFileOps, ATakenCandidateGivesWayToTheNext) {
    PutFile(u"C:\\a.b", "first");
    BeforeNextChange([] { PutFile(u"C:\\a[1].b", "other"); });
    EXPECT_EQ(Unique(u"C:\\a.b"), u"C:\\a[2].b");
    EXPECT_EQ(ContentOf(u"C:\\a[1].b"), "other");
}

TEST_F(ModFileOps, ReservesInTheFolderOfTheFileThatIsInTheWay) {
    PutFolder(u"C:\\Assets");
    for (const std::u16string folder : {u"D:\\home\\Assets\\", u"\\\\srv\\home$\\Assets\\"}) {
        PutFile(folder + u"a.b");
        ForbidListing(folder + u"..");
        EXPECT_EQ(Unique(folder + u"a.b"), folder + u"a[1].b");
        EXPECT_TRUE(List(u"C:\\Assets").empty());
    }
}

TEST_F(ModFileOps, MovesToAFreeName) {
    PutFile(u"D:\\tmp\\x.tmp", "data");
    PutFolder(u"C:\\Assets");
    EXPECT_EQ(Move(u"D:\\tmp\\x.tmp", u"C:\\Assets\\a.b"), u"C:\\Assets\\a.b");
    EXPECT_EQ(ContentOf(u"C:\\Assets\\a.b"), "data");
    EXPECT_FALSE(Exists(u"D:\\tmp\\x.tmp"));
    ASSERT_EQ(Operations().size(), 1U);
    EXPECT_EQ(Operations()[0].flags, platform::kFlagSilent | platform::kFlagNoConfirmation);
    EXPECT_EQ(Operations()[0].hwnd, 7);
}

TEST_F(ModFileOps, KeepsWhatIsAtTheDestination) {
    PutFile(u"D:\\x.tmp", "new");
    PutFile(u"C:\\a.b", "old");
    EXPECT_EQ(Move(u"D:\\x.tmp", u"C:\\a.b"), u"C:\\a[1].b");
    EXPECT_EQ(ContentOf(u"C:\\a.b"), "old");
    EXPECT_EQ(ContentOf(u"C:\\a[1].b"), "new");

    PutFolder(u"C:\\folder.d");
    PutFile(u"D:\\y.tmp", "y");
    EXPECT_EQ(Move(u"D:\\y.tmp", u"C:\\folder.d"), u"C:\\folder[1].d");
    EXPECT_TRUE(List(u"C:\\folder.d").empty());
}

TEST_F(ModFileOps, ALostRaceTakesTheNextName) {
    PutFile(u"D:\\x.tmp", "mine");
    PutFolder(u"C:\\Assets");
    BeforeNextChange([] { PutFile(u"C:\\Assets\\a.b", "theirs"); });
    EXPECT_EQ(Move(u"D:\\x.tmp", u"C:\\Assets\\a.b"), u"C:\\Assets\\a[1].b");
    EXPECT_EQ(ContentOf(u"C:\\Assets\\a.b"), "theirs");
    EXPECT_EQ(ContentOf(u"C:\\Assets\\a[1].b"), "mine");
}

TEST_F(ModFileOps, WithoutRenamingTheDestinationIsThePlatformsBusiness) {
    PutFile(u"D:\\x.tmp", "new");
    PutFile(u"C:\\a.b", "old");
    EXPECT_EQ(fo::FileOperation(u"D:\\x.tmp", u"C:\\a.b", platform::kOpCopy, 0x30, 0), u"C:\\a.b");
    EXPECT_EQ(ContentOf(u"C:\\a.b"), "new");
    EXPECT_EQ(Operations()[0].flags, platform::kFlagNoConfirmation);  // 0x20 is never passed on
    EXPECT_EQ(fo::FileOperation(u"C:\\a.b", u"C:\\a.b", platform::kOpDelete, kRename, 0), u"C:\\a.b");
    EXPECT_FALSE(Exists(u"C:\\a.b"));
    EXPECT_TRUE(List(u"C:\\").empty());  // a deletion reserves nothing
}

TEST_F(ModFileOps, RaisesOneNumberForEachFailure) {
    const struct {
        platform::FileOpResult result;
        std::int32_t number;
    } cases[] = {{{0, true}, 10003},  {{7, false}, 10002},  {{117, true}, 10004},  {{1026, false}, 10005},
                 {{5, false}, 10001}, {{80, false}, 10001}, {{112, false}, 10001}, {{-1, false}, 10001}};
    for (const auto& c : cases) {
        ResetFileSystem();
        PutFile(u"D:\\x.tmp", "data");
        PutFile(u"C:\\a.b", "old");
        FailNextOperation(c.result);
        EXPECT_EQ(ErrorOf([] { Move(u"D:\\x.tmp", u"C:\\free"); }).number, c.number);
        EXPECT_EQ(ContentOf(u"D:\\x.tmp"), "data");
        if (c.result.code == platform::kOpExists) continue;
        FailNextOperation(c.result);
        EXPECT_EQ(ErrorOf([] { Move(u"D:\\x.tmp", u"C:\\a.b"); }).number, c.number);
        EXPECT_EQ(ContentOf(u"C:\\a[1].b"), "");  // the reserved name stays
    }
}

TEST_F(ModFileOps, AMissingSourceReservesNothing) {
    PutFile(u"C:\\a.b", "old");
    EXPECT_EQ(ErrorOf([] { Move(u"D:\\gone", u"C:\\a.b"); }).number, 53);
    EXPECT_EQ(List(u"C:\\"), std::vector<std::u16string>{u"a.b"});
    EXPECT_TRUE(Operations().empty());
}

TEST_F(ModFileOps, MissingFoldersAreMadeWhenThatNeedsNoQuestion) {
    PutFile(u"D:\\x.tmp", "data");
    EXPECT_EQ(
        ErrorOf([] { fo::FileOperation(u"D:\\x.tmp", u"C:\\p\\q\\a", platform::kOpMove, 12, 0); }).number,
        10005);
    EXPECT_EQ(fo::FileOperation(u"D:\\x.tmp", u"C:\\p\\q\\a", platform::kOpMove, 524, 0), u"C:\\p\\q\\a");
}

}  // namespace
}  // namespace tsasync
