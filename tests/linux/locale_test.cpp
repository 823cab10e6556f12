#include "platform/locale.h"

#include "base/Utf8.h"
#include "tests/linux/scratch.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace tsasync::platform {
namespace {

constexpr double kTenOClock = 45366 + 10.0 / 24;  // Friday, 15 March 2024

// The environment of a case; the locales need not be installed.
class Locale : public testing::Test {
  protected:
    void SetUp() override { Set(nullptr, nullptr, nullptr); }
    static void Set(const char* all, const char* messages, const char* lang) {
        const std::pair<const char*, const char*> variables[] = {{"LC_ALL", all},
                                                                 {"LC_MESSAGES", messages},
                                                                 {"LANG", lang},
                                                                 {"LC_TIME", nullptr},
                                                                 {"LC_NUMERIC", nullptr}};
        for (const auto& [name, value] : variables) {
            if (value == nullptr) {
                g_unsetenv(name);
            } else {
                g_setenv(name, value, TRUE);
            }
        }
    }
};

TEST_F(Locale, NumbersTheUsersLanguage) {
    const struct {
        const char *all, *messages, *lang;
        std::int32_t language;
    } cases[] = {{nullptr, nullptr, nullptr, 0},          {"C.UTF-8", "de_DE.UTF-8", "fr_FR", 0},
                 {nullptr, "de_DE.UTF-8", "fr_FR", 1031}, {nullptr, "", "fr_FR.UTF-8", 1036},
                 {"de", nullptr, nullptr, 1031},          {"de_AT@euro", nullptr, nullptr, 3079},
                 {"en_GB.UTF-8", nullptr, nullptr, 2057}, {"pt_BR", nullptr, nullptr, 1046},
                 {"/../..\x01", nullptr, nullptr, 0}};
    for (const auto& c : cases) {
        Set(c.all, c.messages, c.lang);
        EXPECT_EQ(UserDefaultLanguage(), c.language) << (c.all != nullptr ? c.all : "");
    }
}

TEST_F(Locale, IsTheOneThatTheHostHasSet) {
    const tests::ScratchFolder locales;
    const std::string command = "localedef -i de_AT -f UTF-8 " + (locales / "de_AT.UTF-8");
    ASSERT_EQ(std::system(command.c_str()), 0);
    Set(nullptr, nullptr, "fr_FR.UTF-8");
    g_setenv("LOCPATH", locales.Path().c_str(), TRUE);
    ASSERT_NE(std::setlocale(LC_MESSAGES, "de_AT.UTF-8"), nullptr);
    EXPECT_EQ(UserDefaultLanguage(), 3079);
    EXPECT_EQ(DecimalSeparator(), u",");  // of the environment: another category
    std::setlocale(LC_MESSAGES, "C");
    EXPECT_EQ(UserDefaultLanguage(), 1036);
}

TEST_F(Locale, FormatsNumbers) {
    EXPECT_EQ(FormatNumber(1234567.5, 2, true), u"1,234,567.50");
    EXPECT_EQ(FormatNumber(2.5, 0, false), u"2");
    EXPECT_EQ(FormatNumber(3.5, 0, false), u"4");
    Set("de_DE.UTF-8", nullptr, nullptr);
    EXPECT_EQ(FormatNumber(1234.5, 1, true), u"1.234,5");
    EXPECT_EQ(FormatNumber(1234.5, 1, false), u"1234,5");
    EXPECT_EQ(DecimalSeparator(), u",");
    Set("es_ES", nullptr, nullptr);
    EXPECT_EQ(FormatNumber(1234, 0, true), u"1.234");
}

TEST_F(Locale, FormatsDatesInTheLocalesLongForms) {
    Set("de_DE", nullptr, nullptr);
    EXPECT_EQ(FormatLongDate(kTenOClock), u"Freitag, 15. M\u00E4rz 2024");
    EXPECT_EQ(FormatLongTime(kTenOClock), u"10:00:00");
    Set("en_US", nullptr, nullptr);
    EXPECT_EQ(FormatLongDate(kTenOClock), u"Friday, March 15, 2024");
    Set("en_GB", nullptr, nullptr);
    EXPECT_EQ(FormatLongTime(-1.25), u"06:00:00");  // 29 December 1899, six o'clock
    EXPECT_NE(FormatLongDate(-1.25).find(u"29 December 1899"), std::u16string::npos);
    EXPECT_NE(FormatLongDate(-657434).find(u"1 January 100"), std::u16string::npos);  // no older calendar
    EXPECT_EQ(FormatLongDate(1e300), u"");
    EXPECT_NE(FormatLongDate(0).find(u"30 December 1899"), std::u16string::npos);
    EXPECT_EQ(FormatLongTime(36526 + 86399.0 / 86400), u"23:59:59");
}

TEST_F(Locale, NamesLanguages) {
    EXPECT_EQ(LanguageName(1031), u"German (Germany)");
    Set("de_DE", nullptr, nullptr);
    EXPECT_EQ(LanguageName(1036), u"Franz\u00F6sisch (Frankreich)");
    EXPECT_EQ(LanguageName(0), u"Language Neutral");
    EXPECT_EQ(LanguageName(0x3FF), u"Language Neutral");
}

}  // namespace
}  // namespace tsasync::platform
