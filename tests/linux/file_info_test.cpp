// The describers of files on the real system.
#include "files/CFileInfo.h"
#include "files/CFileVersionInfo.h"
#include "files/modFileOps.h"
#include "platform/shell_info.h"
#include "tests/files/executable_builder.h"
#include "tests/linux/sandbox.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <limits>

namespace tsasync {
namespace {

using namespace tests;  // NOLINT(google-build-using-namespace)

class FileDescribers : public ::testing::Test {
  protected:
    void SetUp() override { Speak("en_US.UTF-8"); }
    void TearDown() override { unsetenv("LC_ALL"); }  // NOLINT(concurrency-mt-unsafe)

    static void Speak(const char* locale) { setenv("LC_ALL", locale, 1); }  // NOLINT(concurrency-mt-unsafe)

    std::u16string At(const std::string& name) const { return FromUtf8(m_folder / name); }
    struct stat Entry(const std::string& name) const {
        struct stat entry {};
        EXPECT_EQ(stat((m_folder / name).c_str(), &entry), 0);
        return entry;
    }

    ScratchFolder m_folder;
    CFileInfo m_info;
};

TEST_F(FileDescribers, TellWhatTheSystemKnows) {
    Write(m_folder / "My photo.JPG", "\xFF\xD8\xFF\xE0" + std::string(5000, 'x'));
    m_info.SetFullPathName(At("./x/../My photo.JPG"));
    EXPECT_TRUE(m_info.FileExists() && m_info.PathExists());
    EXPECT_EQ(m_info.FullPathName(), At("My photo.JPG"));
    EXPECT_EQ(m_info.FilePath(), At(""));
    EXPECT_EQ(m_info.FileBaseName(), u"My photo");
    EXPECT_EQ(m_info.FileExtension(), u"JPG");
    EXPECT_EQ(m_info.ShortName(), u"MY PHOTO.JPG");
    EXPECT_EQ(m_info.ShortPathName(), At("My photo.JPG"));
    EXPECT_EQ(m_info.ShortPath(), At(""));
    EXPECT_EQ(m_info.DisplayName(), u"My photo.JPG");
    EXPECT_EQ(m_info.TypeName(), u"JPEG image");
    EXPECT_EQ(m_info.FileSize(), 5004);
    EXPECT_EQ(m_info.CompressedFileSize(), Entry("My photo.JPG").st_blocks * 512);
    EXPECT_EQ(m_info.CompressedFileSizeHigh(), 0);
    EXPECT_EQ(m_info.CreationTime(), m_info.ModifyTime());
    m_info.SetFullPathName(At("MY PHOTO.jpg"));
    EXPECT_FALSE(m_info.FileExists()) << "another name";
}

TEST_F(FileDescribers, KnowLargeSparseFilesAndFolders) {
    Write(m_folder / "large", "x");
    ASSERT_EQ(truncate((m_folder / "large").c_str(), (5LL << 32) + 7), 0);
    m_info.SetFullPathName(At("large"));
    EXPECT_EQ(m_info.FileSizeHigh(), 5);
    EXPECT_EQ(m_info.FileSize(), 7);
    EXPECT_EQ(m_info.CompressedFileSizeHigh(), 0);
    m_info.SetFullPathName(FromUtf8(m_folder.Path()) + u"/");
    EXPECT_EQ(m_info.FullPathName(), FromUtf8(m_folder.Path()));
    EXPECT_EQ(m_info.TypeName(), u"folder");
    EXPECT_NE(m_info.Attributes() & static_cast<std::int32_t>(platform::kAttributeDirectory), 0);
    m_info.SetFullPathName(u"/tmp");
    EXPECT_EQ(m_info.FilePath(), u"/");
    EXPECT_EQ(m_info.FileName(), u"tmp");
}

TEST_F(FileDescribers, OwnTheirIcon) {
    Write(m_folder / "a.jpg", "");
    std::int32_t last = 0;
    {
        CFileInfo info;
        info.SetFullPathName(At("a.jpg"));
        const std::int32_t first = info.hIcon();
        info.Refresh();
        EXPECT_EQ(platform::IconName(first), u"");
        last = info.hIcon();
        EXPECT_NE(platform::IconName(last), u"");
    }
    EXPECT_EQ(platform::IconName(last), u"");
}

// Three times as deep as the kernel's calls take a path.
TEST_F(FileDescribers, FollowPathsOfAnyLength) {
    std::u16string folder = FromUtf8(m_folder.Path());
    while (folder.size() < std::size_t{3} * PATH_MAX) folder += u"/" + std::u16string(200, u'x');
    EXPECT_FALSE(modFileOps::FolderExists(folder));
    EXPECT_GT(modFileOps::CreateFolderTree(folder), 50);
    EXPECT_TRUE(modFileOps::FolderExists(folder));

    const std::u16string path = folder + u"/\U0001F4F7.tar.gz";
    for (const auto& base : {std::optional(ScratchFolder::TemporaryBase()), OtherVolume()}) {
        if (!base) continue;
        const ScratchFolder source(*base);
        Write(source / "tmp", "123");
        const std::u16string placed = modFileOps::FileOperation(
            FromUtf8(source / "tmp"), path, platform::kOpMove, platform::kFlagRenameOnCollision, 0);
        EXPECT_EQ(List(source.Path()).size(), 0U);
        const bool first = *base == ScratchFolder::TemporaryBase();
        EXPECT_EQ(placed, first ? path : folder + u"/\U0001F4F7.tar[1].gz");
        m_info.SetFullPathName(placed);
        EXPECT_EQ(m_info.FileSize(), 3);
    }

    m_info.SetFullPathName(folder + u"/./x/../\U0001F4F7.tar.gz");
    EXPECT_TRUE(m_info.FileExists());
    EXPECT_EQ(m_info.FullPathName(), path);
    EXPECT_EQ(m_info.FilePath(), folder + u"/");
    EXPECT_EQ(m_info.FileBaseName(), u"\U0001F4F7.tar");
    EXPECT_EQ(m_info.ShortPathName(), path);
    EXPECT_EQ(m_info.DisplayName(), u"\U0001F4F7.tar.gz");
    EXPECT_NE(platform::IconName(m_info.hIcon()), u"");
    EXPECT_GT(m_info.CompressedFileSize(), 0);
    m_info.SetModifyTime(40000.5);
    EXPECT_EQ(m_info.ModifyTime(), 40000.5);
    m_info.SetattrReadOnly(true);
    EXPECT_TRUE(m_info.attrReadOnly());
    m_info.SetFullPathName(folder);
    EXPECT_EQ(m_info.TypeName(), u"folder");

    Write(m_folder / "tmp", executables::Pe32(executables::WideBlock({})));
    modFileOps::FileOperation(At("tmp"), folder + u"/some.dll", platform::kOpRename, 0, 0);
    CFileVersionInfo version;
    version.SetFullPathName(folder + u"/some.dll");
    EXPECT_EQ(version.VerFile(), u"1.02.0304");
    modFileOps::FileOperation(path, {}, platform::kOpDelete, 0, 0);
    EXPECT_FALSE(modFileOps::FileOrFolderExists(path));
    modFileOps::FileOperation(At(std::string(200, 'x')), {}, platform::kOpDelete, 0, 0);
    EXPECT_EQ(List(m_folder.Path()).size(), 0U);
}

TEST_F(FileDescribers, FormatSizes) {
    const struct {
        std::int32_t size;
        std::u16string_view text;
    } cases[] = {{0, u"0 bytes"},
                 {-5, u"-5 bytes"},
                 {std::numeric_limits<std::int32_t>::min(), u"-2,147,483,648 bytes"},
                 {1023, u"1,023 bytes"},
                 {1024, u"1.00KB (1,024 bytes)"},
                 {1536, u"1.50KB (1,536 bytes)"},
                 {10239, u"10.00KB (10,239 bytes)"},  // below 10 before it is rounded
                 {10240, u"10.0KB (10,240 bytes)"},
                 {102399, u"100.0KB (102,399 bytes)"},
                 {102400, u"100KB (102,400 bytes)"},
                 {1023999, u"1000KB (1,023,999 bytes)"},
                 {1024000, u"0.98MB (1,024,000 bytes)"},
                 {5000000, u"4.77MB (5,000,000 bytes)"},
                 {10239999, u"9.77MB (10,239,999 bytes)"},
                 {10240000, u"9.8MB (10,240,000 bytes)"},
                 {102399999, u"97.7MB (102,399,999 bytes)"},
                 {102400000, u"98MB (102,400,000 bytes)"},
                 {1023999999, u"977MB (1,023,999,999 bytes)"},
                 {1024000000, u"0.95GB (1,024,000,000 bytes)"},
                 {std::numeric_limits<std::int32_t>::max(), u"2.00GB (2,147,483,647 bytes)"}};
    for (const auto& c : cases) {
        EXPECT_EQ(m_info.FormatFileSize(c.size), c.text);
    }
    Speak("de_DE.UTF-8");
    EXPECT_EQ(m_info.FormatFileSize(1536), u"1,50KB (1.536 bytes)");
}

TEST_F(FileDescribers, FormatDates) {
    Speak("de_DE.UTF-8");
    EXPECT_EQ(m_info.FormatFileDate(45366 + 10.0 / 24), u"Freitag, 15. M\u00E4rz 2024 10:00:00");
}

TEST_F(FileDescribers, TakeTheUsersLanguageOfMany) {
    const struct {
        std::vector<std::uint16_t> languages;
        const char* user;
        std::uint16_t taken;
    } cases[] = {
        {{0x401, 0x407, 0x409, 0xC07}, "de_AT.UTF-8", 0xC07},
        {{0x401, 0x407, 0x409}, "de_AT.UTF-8", 0x407},  // that of Germany
        {{0, 0x7, 0x407}, "de_AT.UTF-8", 0x7},          // that of no country
        {{0x401, 0, 0x409}, "de_AT.UTF-8", 0},
        {{0x401, 0x409}, "de_AT.UTF-8", 0x409},
        {{0x401, 0x409}, "C.UTF-8", 0x409},
        {{0x40C, 0x401}, "de_AT.UTF-8", 0x40C},  // the first
    };
    for (const auto& c : cases) {
        std::vector<std::pair<std::uint16_t, std::string>> blocks;
        for (const std::uint16_t language : c.languages) {
            executables::VersionParts parts;
            parts.strings = {{u"ProductName", FromUtf8(std::to_string(language))}};
            blocks.emplace_back(language, executables::WideBlock(parts));
        }
        Write(m_folder / "many.dll", executables::Pe32OfLanguages(blocks));
        Speak(c.user);
        CFileVersionInfo version;
        version.SetFullPathName(At("many.dll"));
        EXPECT_EQ(ToUtf8(version.ProductName()), std::to_string(c.taken));
    }
}

// Who waits to write to a pipe would take them for its reader.
TEST_F(FileDescribers, OpenNoPipe) {
    ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, (m_folder / "pipe").c_str(), IN_OPEN), 0);
    m_info.SetFullPathName(At("pipe"));
    CFileVersionInfo().SetFullPathName(At("pipe"));
    char event[4096];
    EXPECT_LT(::read(watch, event, sizeof event), 0) << "it was opened";
    close(watch);
    EXPECT_EQ(m_info.TypeName(), u"pipe");
}

TEST_F(FileDescribers, SeeNoVersionInWhatTheyMayNotRead) {
    Write(m_folder / "sealed.dll", executables::Pe32(executables::WideBlock({})));
    CFileVersionInfo version;
    version.SetFullPathName(At("sealed.dll"));
    ASSERT_TRUE(version.Available());
    ASSERT_EQ(chmod(m_folder.Path().c_str(), 0755), 0);
    ASSERT_EQ(chmod((m_folder / "sealed.dll").c_str(), 0), 0);
    InChild([&]() -> Obstacle {
        BecomeNobody();
        version.Refresh();
        EXPECT_FALSE(version.Available());
        EXPECT_EQ(version.VerFile(), u"1.02.0304") << "kept";
        m_info.SetFullPathName(At("sealed.dll"));
        EXPECT_TRUE(m_info.FileExists() && m_info.attrReadOnly());
        EXPECT_EQ(m_info.FileSize(), 1024);
        return std::nullopt;
    });
}

}  // namespace
}  // namespace tsasync
