#include "platform/app_log.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tsasync::platform {
namespace {

class AppLog : public testing::Test {
  protected:
    void TearDown() override {
        StartLog(u"", 1);
        std::filesystem::remove(m_path);
    }
    std::u16string Path() const { return m_path.u16string(); }
    std::string Content() const {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_path = std::filesystem::temp_directory_path() / "app_log_test.log";
};

TEST_F(AppLog, WritesEntriesToTheFile) {
    const std::string thread = std::to_string(GetCurrentThreadId());
    const struct {
        std::int32_t mode;
        std::string content;  // after one more entry
    } expected[] = {{2 + 16, "\u00E9ntry\r\n"},
                    {2, "\u00E9ntry\r\n\u00E9ntry\r\n"},
                    {2 + 16 + 32, thread + " \u00E9ntry\r\n"},
                    {1, thread + " \u00E9ntry\r\n"}};
    for (const auto& [mode, content] : expected) {
        ASSERT_EQ(StartLog(Path(), mode), 0);
        LogEntry(u"\u00E9ntry");
        EXPECT_EQ(Content(), content) << mode;
    }
}

TEST_F(AppLog, RefusesWhatItCannotUse) {
    ASSERT_EQ(StartLog(Path(), 2), 0);
    EXPECT_EQ(StartLog(Path(), 4), 5);
    EXPECT_EQ(StartLog(Path(), 64 + 2), 5);
    EXPECT_EQ(StartLog(u"", 2), 53);
    EXPECT_EQ(StartLog(u"C:\\nowhere\\none.log", 2), 76);
    EXPECT_EQ(StartLog(u"C:\\windows", 2), 70);
    LogEntry(u"entry");
    EXPECT_EQ(Content(), "entry\r\n") << "the earlier log stays";
}

// run.sh looks for the entries among those that the system was given.
TEST_F(AppLog, WritesEntriesToTheEventLog) {
    for (const std::int32_t mode : {3, 0, 1}) {
        EXPECT_EQ(StartLog(Path(), mode), 0);
        LogEntry(u"an entry of mode " + std::u16string(1, static_cast<char16_t>(u'0' + mode)));
    }
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

}  // namespace
}  // namespace tsasync::platform
