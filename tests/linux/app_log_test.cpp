#include "platform/app_log.h"

#include "base/Utf8.h"
#include "tests/linux/scratch.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace tsasync::platform {
namespace {

class AppLog : public testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(StartLog(u"", 0), 0); }
    std::u16string Path(const std::string& name) const { return FromUtf8(m_folder / name); }
    std::string Content(const std::string& name) const { return tests::Read(m_folder / name); }
    tests::ScratchFolder m_folder;
};

TEST_F(AppLog, TakesTheProcessesEntriesIntoTheFile) {
    ASSERT_EQ(StartLog(Path("a.log"), 2 + 32), 0);
    g_log("host", G_LOG_LEVEL_WARNING, "of the host");
    LogEntry(u"of the component\nin one line");
    const std::string text = Content("a.log");
    EXPECT_NE(text.find("[" + std::to_string(gettid()) + "] host-WARNING: of the host\n"), text.npos) << text;
    EXPECT_NE(text.find("of the component in one line\n"), text.npos) << text;
}

TEST_F(AppLog, AppendsUnlessToldToOverwrite) {
    for (const int mode : {2, 2, 2 + 16}) {
        ASSERT_EQ(StartLog(Path("a.log"), mode), 0);
        LogEntry(u"entry");
        const std::string text = Content("a.log");
        static int calls = 0;
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), ++calls == 2 ? 2 : 1);
        EXPECT_EQ(text.find('['), text.npos);  // no thread number unasked
    }
}

TEST_F(AppLog, IsSilentWhenOff) {
    ASSERT_EQ(StartLog(Path("a.log"), 2), 0);
    ASSERT_EQ(StartLog(u"", 1), 0);
    LogEntry(u"lost");
    EXPECT_EQ(Content("a.log"), "");
}

TEST_F(AppLog, KeepsTheEarlierLogWhenTheNewOneIsRefused) {
    ASSERT_EQ(StartLog(Path("a.log"), 2), 0);
    EXPECT_EQ(StartLog(Path("none/a.log"), 2), 76);
    EXPECT_EQ(StartLog(FromUtf8(m_folder.Path()), 2), 76);
    EXPECT_EQ(StartLog(u"", 2), 53);
    for (const int mode : {4, 8, -1, 64 + 2}) EXPECT_EQ(StartLog(Path("b.log"), mode), 5);
    LogEntry(u"still here");
    EXPECT_NE(Content("a.log").find("still here"), std::string::npos);
}

}  // namespace
}  // namespace tsasync::platform
