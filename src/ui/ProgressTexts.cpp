#include "ui/ProgressTexts.h"

#include "base/Text.h"
#include "platform/locale.h"
#include "ui/modRes.h"

#include <algorithm>

namespace tsasync {

namespace {

constexpr std::int32_t kFirstWord = 106;
constexpr std::int32_t kBytes = 106;
constexpr std::int32_t kKilobytes = 107;
constexpr std::int32_t kMegabytes = 108;
constexpr std::int32_t kRateSecond = 109;
constexpr std::int32_t kHours = 112;
constexpr std::int32_t kMinutes = 113;
constexpr std::int32_t kSeconds = 114;
constexpr std::int32_t kFirstStatus = 1000;
constexpr std::int32_t kKilobyte = 1024;
constexpr std::int32_t kMegabyte = 1048576;
constexpr std::array kStatusCodes{0, 1, 2, 3, 4, 5, 6, 10, 11, 13, 14, 15, 16};
constexpr std::array kShownStatusCodes{0, 1, 2, 3, 4, 6, 11, 15, 16};

// `value` rounded to `decimals`, halves to even, in its shortest form.
std::u16string Rounded(double value, int decimals) {
    std::int64_t scale = 1;
    for (int i = 0; i < decimals; ++i) scale *= 10;
    auto units = static_cast<std::int64_t>(RoundHalfEven(value * static_cast<double>(scale)));
    for (; scale > 1 && units % 10 == 0; scale /= 10) units /= 10;
    if (scale == 1) return Decimal(units);
    const std::u16string fraction = Decimal(scale + units % scale).substr(1);  // the 1 in front keeps zeros
    return Decimal(units / scale) + platform::DecimalSeparator() + fraction;
}

}  // namespace

ProgressTexts::ProgressTexts() {
    for (std::size_t i = 0; i < m_words.size(); ++i) {
        m_words[i] = modRes::LoadResText(kFirstWord + static_cast<std::int32_t>(i));
    }
    for (const std::int32_t code : kStatusCodes) {
        m_statuses[static_cast<std::size_t>(code)] = modRes::LoadResText(kFirstStatus + code);
    }
}

const std::u16string& ProgressTexts::Word(std::int32_t id) const {
    return m_words[static_cast<std::size_t>(id - kFirstWord)];
}

std::u16string_view ProgressTexts::Status(std::int32_t code) const {
    if (std::ranges::find(kShownStatusCodes, code) == kShownStatusCodes.end()) return {};
    return m_statuses[static_cast<std::size_t>(code)];
}

std::u16string ProgressTexts::FormatTime(std::int32_t seconds) const {
    std::u16string text;
    const auto add = [&](std::int32_t value, std::int32_t unit) {
        if (value > 0) text += Decimal(value) + u" " + Word(unit) + u" ";
    };
    add(seconds / 3600, kHours);
    add(seconds % 3600 / 60, kMinutes);
    add(seconds % 60, kSeconds);
    return text;
}

std::u16string ProgressTexts::FormatSize(std::int32_t bytes) const { return Figure(bytes, 1); }

std::u16string ProgressTexts::FormatRate(std::int32_t bytesPerSecond) const {
    if (bytesPerSecond <= 0) return {};
    return Figure(bytesPerSecond, 2) + u"/" + Word(kRateSecond);
}

std::u16string ProgressTexts::Figure(std::int32_t bytes, int decimals) const {
    if (bytes < kKilobyte) return Decimal(bytes) + u" " + Word(kBytes);
    if (bytes < kMegabyte) {
        return Rounded(static_cast<double>(bytes) / kKilobyte, decimals) + u" " + Word(kKilobytes);
    }
    return Rounded(static_cast<double>(bytes) / kMegabyte, decimals) + u" " + Word(kMegabytes);
}

}  // namespace tsasync
