#include "platform/file_system.h"

#include "platform/linux/files/native_path.h"
#include "platform/shell_info.h"
#include "tests/linux/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>

namespace tsasync {
namespace {

using namespace tests;  // NOLINT(google-build-using-namespace)
using platform::FindFirst;

class FileSystem : public ::testing::Test {
  protected:
    void TearDown() override {
        unsetenv("TZ");  // NOLINT(concurrency-mt-unsafe)
        tzset();
    }
    static void LiveIn(const char* zone) {
        setenv("TZ", zone, 1);  // NOLINT(concurrency-mt-unsafe)
        tzset();
    }
    std::u16string At(const std::string& name) const { return FromUtf8(m_folder / name); }
    ScratchFolder m_folder;
};

TEST_F(FileSystem, FindsWhateverHasAName) {
    Write(m_folder / "photo.JPG", "12345");
    Write(m_folder / "a*?.txt", "");
    ASSERT_EQ(symlink("nowhere", (m_folder / "dangling").c_str()), 0);
    ASSERT_EQ(symlink(".", (m_folder / "loop").c_str()), 0);

    const auto file = FindFirst(At("photo.JPG"));
    ASSERT_TRUE(file);
    EXPECT_EQ(file->name, u"photo.JPG");
    EXPECT_EQ(file->size, 5U);
    EXPECT_EQ(file->shortName, u"");
    EXPECT_EQ(file->attributes, platform::kAttributeNormal);
    EXPECT_TRUE(FindFirst(At("dangling")));  // its name is taken
    const auto folder = FindFirst(At("loop/"));
    ASSERT_TRUE(folder);
    EXPECT_EQ(folder->attributes & platform::kAttributeDirectory, platform::kAttributeDirectory);
    EXPECT_EQ(folder->name, u"loop");

    EXPECT_FALSE(FindFirst(At("PHOTO.jpg")));
    EXPECT_FALSE(FindFirst(At("*")));  // no pattern here
    EXPECT_TRUE(FindFirst(At("a*?.txt")));
    EXPECT_FALSE(FindFirst(At("photo.JPG/")));
    EXPECT_FALSE(FindFirst(u""));
    EXPECT_FALSE(FindFirst(At("photo.JPG") + u'\0' + u"x"));
}

TEST_F(FileSystem, KeepsNamesBeyondAnyBuffer) {
    std::string name =
        "/" + std::string(200, 'x') + "/" + std::string(80, 'y') + "/\xF0\x9F\x93\xB7 \xC3\xA4.jpg";
    std::string path = m_folder.Path();
    ASSERT_EQ(platform::CreateFolder(FromUtf8(path + name.substr(0, 201))), platform::CreateResult::Created);
    ASSERT_EQ(platform::CreateFolder(FromUtf8(path + name.substr(0, 282))), platform::CreateResult::Created);
    ASSERT_EQ(platform::CreateNewFile(FromUtf8(path + name)), platform::CreateResult::Created);
    EXPECT_EQ(platform::CreateNewFile(FromUtf8(path + name)), platform::CreateResult::Exists);
    const auto found = FindFirst(FromUtf8(path + name));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->name, u"\U0001F4F7 \u00E4.jpg");
    for (const std::string bytes : {"/\xE9", "/\xED\xB2\x80", "/\xED\xA0\x80\xB0", "/\xC3"}) {
        Write(path + bytes, "");  // no UTF-8
        const std::u16string units = platform::FromNativeBytes(path + bytes);
        ASSERT_TRUE(FindFirst(units));
        EXPECT_EQ(FindFirst(units)->name, units.substr(units.rfind(u'/') + 1));
    }
    EXPECT_EQ(platform::CreateNewFile(At(std::string(300, 'z'))), platform::CreateResult::Refused);
    EXPECT_EQ(platform::CreateFolder(At("no/way")), platform::CreateResult::Refused);
}

TEST_F(FileSystem, MakesPathsAbsoluteByText) {
    const struct {
        std::u16string_view path, full;
    } cases[] = {{u"/a/./b//c/../d/", u"/a/b/d"},
                 {u"//server/share", u"/server/share"},
                 {u"/..", u"/"},
                 {u"/", u"/"},
                 {u"/no such folder/x", u"/no such folder/x"},
                 {u"/C:/x", u"/C:/x"},
                 {u"", u""}};
    for (const auto& c : cases) {
        EXPECT_EQ(platform::FullPath(c.path), c.full);
    }
    char current[4096];
    ASSERT_NE(getcwd(current, sizeof current), nullptr);
    EXPECT_EQ(platform::FullPath(u"x/../y"), FromUtf8(current) + u"/y");
}

TEST_F(FileSystem, TellsTimesAsLocalDates) {
    constexpr double kHour = 1.0 / 24;
    Write(m_folder / "f", "");
    const struct {
        const char* zone;
        std::time_t time;
        double date;
    } cases[] = {{"UTC0", 0, 25569},
                 {"UTC0", 1710496799, 45366 + 9 * kHour + 59.0 / 1440 + 59.0 / 86400},
                 {"CET-1CEST,M3.5.0,M10.5.0/3", 1719835200, 45474 + 14 * kHour},  // summer time
                 {"CET-1CEST,M3.5.0,M10.5.0/3", 1705320000, 45306 + 13 * kHour},
                 {"EST5", 3600, 25568 + 20 * kHour},
                 {"UTC0", -1, 25568 + 86399.0 / 86400},
                 {"UTC0", -2147483648LL, 713 + 20 * kHour + 45.0 / 1440 + 52.0 / 86400}};
    for (const auto& c : cases) {
        LiveIn(c.zone);
        const timespec times[2] = {{c.time, 0}, {c.time, 999999999}};
        ASSERT_EQ(utimensat(AT_FDCWD, (m_folder / "f").c_str(), times, 0), 0);
        const auto found = FindFirst(At("f"));
        ASSERT_TRUE(found);
        EXPECT_NEAR(found->lastAccessTime, c.date, 1e-9) << c.zone << c.time;
        EXPECT_EQ(found->lastAccessTime, found->lastWriteTime) << "parts of a second are dropped";

        const timespec other[2] = {{c.time, 0}, {1000, 5}};
        ASSERT_EQ(utimensat(AT_FDCWD, (m_folder / "f").c_str(), other, 0), 0);
        EXPECT_TRUE(platform::WriteFileTime(At("f"), platform::FileTime::LastWrite, found->lastWriteTime));
        struct stat entry {};
        ASSERT_EQ(stat((m_folder / "f").c_str(), &entry), 0);
        EXPECT_EQ(entry.st_mtim.tv_sec, c.time) << c.zone;
        EXPECT_EQ(entry.st_mtim.tv_nsec, 0);
        EXPECT_EQ(entry.st_atim.tv_sec, c.time);
    }
}

TEST_F(FileSystem, WritesOnlyTimesThatCanBe) {
    Write(m_folder / "f", "");
    const auto before = FindFirst(At("f"));
    EXPECT_FALSE(platform::WriteFileTime(At("f"), platform::FileTime::Creation, 40000));
    EXPECT_FALSE(platform::WriteFileTime(At("f"), platform::FileTime::LastWrite, 1e300));
    EXPECT_FALSE(platform::WriteFileTime(At("f"), platform::FileTime::LastWrite, std::nan("")));
    EXPECT_FALSE(platform::WriteFileTime(At("missing"), platform::FileTime::LastWrite, 40000));
    EXPECT_EQ(FindFirst(At("f"))->lastWriteTime, before->lastWriteTime);
    EXPECT_TRUE(platform::WriteFileTime(FromUtf8(m_folder.Path()), platform::FileTime::LastAccess, 40000.5));
    EXPECT_EQ(FindFirst(FromUtf8(m_folder.Path()))->lastAccessTime, 40000.5);
}

TEST_F(FileSystem, PermissionsAndDotsAreAttributes) {
    Write(m_folder / ".hidden", "");
    Write(m_folder / "plain", "");
    EXPECT_EQ(FindFirst(At(".hidden"))->attributes, platform::kAttributeHidden);
    EXPECT_FALSE(platform::WriteAttributes(At(".hidden"), platform::kAttributeNormal)) << "the dot stays";

    ASSERT_EQ(chmod((m_folder / "plain").c_str(), 0664), 0);
    EXPECT_TRUE(platform::WriteAttributes(At("plain"), platform::kAttributeReadOnly));
    EXPECT_EQ(FindFirst(At("plain"))->attributes, platform::kAttributeReadOnly);
    struct stat entry {};
    ASSERT_EQ(stat((m_folder / "plain").c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode & 0777U, 0444U);
    EXPECT_TRUE(platform::WriteAttributes(At("plain"), platform::kAttributeNormal));
    ASSERT_EQ(stat((m_folder / "plain").c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode & 0777U, 0644U);  // the owner's right only: others had theirs from someone
    EXPECT_FALSE(platform::WriteAttributes(At("missing"), 1));
}

TEST_F(FileSystem, KeepsDosAttributesWhereTheVolumeDoes) {
    const std::string file = m_folder / "f";
    Write(file, "");
    if (setxattr(file.c_str(), "user.probe", "", 0, 0) != 0)
        GTEST_SKIP() << "no extended attributes on this volume";
    EXPECT_TRUE(platform::WriteAttributes(At("f"), 0x26));
    EXPECT_EQ(FindFirst(At("f"))->attributes, 0x26U);
    char stored[16] = {};
    EXPECT_GT(getxattr(file.c_str(), "user.DOSATTRIB", stored, sizeof stored - 1), 0);
    EXPECT_STREQ(stored, "0x26");
    EXPECT_TRUE(platform::WriteAttributes(At("f"), 0x21));
    EXPECT_EQ(FindFirst(At("f"))->attributes, 0x21U);

    using std::string_view_literals::operator""sv;
    const struct {
        std::string_view stored;
        std::uint32_t attributes;
        bool writable;
    } cases[] = {{"0x22"sv, 0x22, true},
                 {"0x22\0"sv, 0x22, true},
                 {"0x7fffffff"sv, 0x127, true},  // only what an entry can have
                 {"0x20\0\3\0\3\0rest"sv, 0x20, false},
                 {"rubbish"sv, 0x80, false},
                 {""sv, 0x80, false},
                 {"0x1"sv, 0x1, true},
                 {"0xZZ"sv, 0x80, true}};
    for (const auto& c : cases) {
        std::filesystem::remove(file);  // which is read-only
        Write(file, "");
        ASSERT_EQ(setxattr(file.c_str(), "user.DOSATTRIB", c.stored.data(), c.stored.size(), 0), 0);
        EXPECT_EQ(FindFirst(At("f"))->attributes, c.attributes) << c.stored;
        for (const std::uint32_t wanted : {0x80U, 0x4U}) {
            const bool change = wanted != c.attributes;
            EXPECT_EQ(platform::WriteAttributes(At("f"), wanted), c.writable || !change) << c.stored;
            EXPECT_EQ(FindFirst(At("f"))->attributes, c.writable ? wanted : c.attributes) << c.stored;
        }
    }
}

// A user's own files may be read-only; of others' files not everything can be changed.
TEST_F(FileSystem, WritesAllAttributesOrNone) {
    struct Case {
        const char* name;
        mode_t mode;
        std::uint32_t wanted, after;
    };
    ASSERT_EQ(chmod(m_folder.Path().c_str(), 0777), 0);
    Write(m_folder / "other", "");
    ASSERT_EQ(chmod((m_folder / "other").c_str(), 0666), 0);
    if (geteuid() != 0 || setxattr((m_folder / "other").c_str(), "user.probe", "", 0, 0) != 0)
        GTEST_SKIP() << "no other user, or no extended attributes on this volume";
    InChild([&]() -> Obstacle {
        BecomeNobody();
        Write(m_folder / "own", "");
        for (const Case& c : {Case{"own", 0444, 0x3, 0x3}, Case{"own", 0444, 0x4, 0x4},
                              Case{"own", 0644, 0x21, 0x21}, Case{"other", 0, 0x21, 0x80}}) {
            EXPECT_EQ(chmod((m_folder / c.name).c_str(), c.mode) == 0, c.mode != 0);  // not of others
            EXPECT_EQ(platform::WriteAttributes(At(c.name), c.wanted), c.wanted == c.after) << c.wanted;
            EXPECT_EQ(FindFirst(At(c.name))->attributes, c.after) << c.wanted;
        }
        return std::nullopt;
    });
}

TEST_F(FileSystem, SizeOnDiskCountsBlocks) {
    const std::string file = m_folder / "sparse";
    Write(file, "x");
    ASSERT_EQ(truncate(file.c_str(), 6LL << 30), 0);
    const auto size = platform::SizeOnDisk(At("sparse"));
    ASSERT_TRUE(size);
    EXPECT_GT(*size, 0U);
    EXPECT_LT(*size, 1U << 20);
    EXPECT_EQ(FindFirst(At("sparse"))->size, std::uint64_t{6} << 30);
    EXPECT_FALSE(platform::SizeOnDisk(At("missing")));
}

TEST_F(FileSystem, TheDesktopNamesTypesAndIcons) {
    Write(m_folder / "photo.jpg", "\xFF\xD8\xFF\xE0 and so on");
    auto first = platform::ReadShellInfo(At("photo.jpg"));
    const auto second = platform::ReadShellInfo(At("photo.jpg"));
    const std::int32_t icon = first.icon.Get();
    EXPECT_EQ(first.displayName, u"photo.jpg");
    EXPECT_NE(icon, 0);
    EXPECT_NE(icon, second.icon.Get());
    EXPECT_EQ(platform::IconName(icon), u"image-jpeg");
    first.icon = {};
    EXPECT_EQ(platform::IconName(icon), u"");
    EXPECT_EQ(platform::IconName(second.icon.Get()), u"image-jpeg");
    EXPECT_EQ(platform::ReadShellInfo(At("missing")).icon.Get(), 0);
}

}  // namespace
}  // namespace tsasync
