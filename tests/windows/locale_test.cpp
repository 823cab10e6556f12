// The user's own formats, whatever the language.
#include "platform/locale.h"

#include "files/CFileInfo.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <array>
#include <string>
#include <vector>

namespace tsasync::platform {
namespace {

// Sets formats of the user, and sets them back.
class Locale : public testing::Test {
  protected:
    struct Format {
        LCTYPE type;
        std::wstring value;
    };
    void TearDown() override {
        for (const Format& format : m_before)
            SetLocaleInfoW(LOCALE_USER_DEFAULT, format.type, format.value.c_str());
    }
    void Set(LCTYPE type, const wchar_t* value) {
        std::array<wchar_t, 100> before{};
        GetLocaleInfoW(LOCALE_USER_DEFAULT, type, before.data(), static_cast<int>(before.size()));
        m_before.insert(m_before.begin(), {type, before.data()});
        ASSERT_NE(SetLocaleInfoW(LOCALE_USER_DEFAULT, type, value), FALSE);
    }

  private:
    std::vector<Format> m_before;
};

TEST_F(Locale, WritesNumbersWithTheUsersSeparators) {
    const struct {
        const wchar_t* decimal;
        const wchar_t* thousand;
        const wchar_t* grouping;
        const wchar_t* negativeOrder;
        double value;
        int decimals;
        bool grouped;
        std::u16string text;
    } cases[] = {
        {L".", L",", L"3;0", L"1", 1234567.5, 2, true, u"1,234,567.50"},
        {L",", L".", L"3;0", L"1", 1234.5, 1, true, u"1.234,5"},
        {L",", L".", L"3;0", L"1", 1234.5, 1, false, u"1234,5"},
        {L".", L",", L"3;2;0", L"1", 12345678, 0, true, u"1,23,45,678"},
        {L".", L" ", L"3", L"1", 1234567, 0, true, u"1234 567"},
        {L".", L",", L"0", L"1", 1234567, 0, true, u"1234567"},
        {L".", L",", L"3;0", L"0", -1234, 0, true, u"-1,234"},
        {L".", L",", L"3;0", L"1", 0.5, 2, false, u"0.50"},
        {L".", L",", L"3;0", L"1", 2.5, 0, false, u"2"},
        {L".", L",", L"3;0", L"1", 3.5, 0, false, u"4"},
    };
    for (const auto& c : cases) {
        Set(LOCALE_SDECIMAL, c.decimal);
        Set(LOCALE_STHOUSAND, c.thousand);
        Set(LOCALE_SGROUPING, c.grouping);
        Set(LOCALE_INEGNUMBER, c.negativeOrder);
        EXPECT_EQ(FormatNumber(c.value, c.decimals, c.grouped), c.text);
        EXPECT_EQ(DecimalSeparator(), std::u16string(c.decimal, c.decimal + wcslen(c.decimal)));
    }
}

TEST_F(Locale, WritesDatesInTheUsersLongForms) {
    const struct {
        double date;
        std::u16string day;
        std::u16string time;
    } cases[] = {
        {45366 + 10.0 / 24, u"15 of 03 2024", u"10.00.00"},
        {-1.25, u"29 of 12 1899", u"06.00.00"},
        {2958465.99999, u"31 of 12 9999", u"23.59.59"},
        {1e300, u"", u""},
    };
    Set(LOCALE_SLONGDATE, L"dd 'of' MM yyyy");
    Set(LOCALE_STIMEFORMAT, L"HH.mm.ss");
    for (const auto& [date, day, time] : cases) {
        EXPECT_EQ(FormatLongDate(date), day);
        EXPECT_EQ(FormatLongTime(date), time);
    }
}

TEST_F(Locale, WritesSizes) {
    Set(LOCALE_SDECIMAL, L",");
    Set(LOCALE_STHOUSAND, L".");
    EXPECT_EQ(CFileInfo().FormatFileSize(5'000'000), u"4,77MB (5.000.000 bytes)");
}

TEST_F(Locale, NamesLanguages) {
    EXPECT_NE(LanguageName(1031), LanguageName(1036));
    EXPECT_NE(LanguageName(1031).find(u"German"), std::u16string::npos);
}

}  // namespace
}  // namespace tsasync::platform
