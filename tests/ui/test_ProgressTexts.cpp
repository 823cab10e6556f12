#include "tests/platform/locale.h"
#include "ui/ProgressTexts.h"
#include "ui/modRes.h"

#include <gtest/gtest.h>

#include <span>

namespace tsasync {

namespace {

ProgressTexts Texts(std::int32_t language, std::u16string separator = u".") {
    testplatform::SetLocale(1033, std::move(separator));
    modRes::SetResModule(-1);
    modRes::SetLangID(language);
    return {};
}

struct Figure {
    std::int32_t number;
    std::u16string_view text;
};

template <typename Format>
void ExpectTexts(Format format, std::span<const Figure> figures) {
    const ProgressTexts texts = Texts(1033);
    for (const auto& [number, text] : figures) EXPECT_EQ((texts.*format)(number), text) << number;
}

TEST(ProgressTexts, WritesSizesWithOneDecimal) {
    const Figure figures[] = {{-2147483647 - 1, u"-2147483648 bytes"},
                              {0, u"0 bytes"},
                              {1023, u"1023 bytes"},
                              {1024, u"1 KB"},
                              {1536, u"1.5 KB"},
                              {1280, u"1.2 KB"},  // 1.25: a half goes to the even neighbour
                              {1792, u"1.8 KB"},  // 1.75
                              {1079, u"1.1 KB"},
                              {10240, u"10 KB"},
                              {102400, u"100 KB"},
                              {1048575, u"1024 KB"},  // the rounding makes it, not the range
                              {1048576, u"1 MB"},
                              {1258291, u"1.2 MB"},
                              {2147483647, u"2048 MB"}};
    ExpectTexts(&ProgressTexts::FormatSize, figures);
}

TEST(ProgressTexts, WritesRatesWithTwoDecimals) {
    const Figure figures[] = {{-1, u""},
                              {0, u""},
                              {1, u"1 bytes/Sec"},
                              {1023, u"1023 bytes/Sec"},
                              {2560, u"2.5 KB/Sec"},
                              {1034, u"1.01 KB/Sec"},
                              {1152, u"1.12 KB/Sec"},  // 1.125
                              {1408, u"1.38 KB/Sec"},  // 1.375
                              {18893, u"18.45 KB/Sec"},
                              {1048575, u"1024 KB/Sec"},
                              {1048576, u"1 MB/Sec"},
                              {2147483647, u"2048 MB/Sec"}};
    ExpectTexts(&ProgressTexts::FormatRate, figures);
}

TEST(ProgressTexts, WritesTimesWithoutThePartsThatAreZero) {
    const Figure figures[] = {{-3930, u""},           {0, u""},
                              {1, u"1 sec "},         {59, u"59 sec "},
                              {120, u"2 min "},       {3600, u"1 hr "},
                              {3605, u"1 hr 5 sec "}, {3930, u"1 hr 5 min 30 sec "},
                              {90000, u"25 hr "},     {2147483647, u"596523 hr 14 min 7 sec "}};
    ExpectTexts(&ProgressTexts::FormatTime, figures);
}

struct Language {
    std::int32_t id;
    std::u16string_view size, rate, time;
};

TEST(ProgressTexts, SpeaksSixLanguages) {
    const Language languages[] = {{1031, u"1,5 MB", u"2,5 KB/Sek.", u"1 Std. 5 Min. 30 Sek. "},
                                  {1033, u"1,5 MB", u"2,5 KB/Sec", u"1 hr 5 min 30 sec "},
                                  {1034, u"1,5 MB", u"2,5 KB/s", u"1 h 5 m 30 s "},
                                  {1036, u"1,5 Mo", u"2,5 Ko/s", u"1 h 5 mn 30 s "},
                                  {1040, u"1,5 MB", u"2,5 KB/Sec", u"1 h 5 min 30 sec "},
                                  {1043, u"1,5 mB", u"2,5 kB/Sec", u"1 uur 5 min 30 sec "}};
    for (const Language& language : languages) {
        const ProgressTexts texts = Texts(language.id, u",");
        EXPECT_EQ(texts.FormatSize(1572864), language.size);
        EXPECT_EQ(texts.FormatRate(2560), language.rate);
        EXPECT_EQ(texts.FormatTime(3930), language.time);
    }
}

TEST(ProgressTexts, ShowsOnlyTheStatusCodesThatTellTheUserSomething) {
    const Figure shown[] = {
        {0, u"Async Read Error"}, {1, u"Finding Resource"},      {2, u"Connecting"},
        {3, u"Redirecting"},      {4, u"Begin Download"},        {6, u"End Download"},
        {11, u"Sending Request"}, {15, u"Begin Sync Operation"}, {16, u"End Sync Operation"}};
    ExpectTexts(&ProgressTexts::Status, shown);
    const ProgressTexts texts = Texts(1033);
    for (const std::int32_t code : {-1, 5, 7, 8, 9, 10, 12, 13, 14, 17, 1000})
        EXPECT_EQ(texts.Status(code), u"") << code;
}

}  // namespace

}  // namespace tsasync
