#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// The words of the progress dialog, in the language of the moment of its creation, and the figures that are
// written with them.
class ProgressTexts {
  public:
    ProgressTexts();

    const std::u16string& From() const { return Word(110); }
    const std::u16string& Downloading() const { return Word(111); }
    const std::u16string& Of() const { return Word(115); }
    const std::u16string& Copied() const { return Word(116); }
    const std::u16string& Completed() const { return Word(117); }

    // The text of a status code of the reader; empty for a code that the dialog does not show.
    std::u16string_view Status(std::int32_t code) const;

    // "1 hr 5 min 30 sec ": every part above zero, each with a space behind it; empty when there is none.
    std::u16string FormatTime(std::int32_t seconds) const;
    // "1.5 KB": at most one decimal.
    std::u16string FormatSize(std::int32_t bytes) const;
    // "18.45 KB/Sec": at most two decimals; empty when nothing moves.
    std::u16string FormatRate(std::int32_t bytesPerSecond) const;

  private:
    const std::u16string& Word(std::int32_t id) const;
    std::u16string Figure(std::int32_t bytes, int decimals) const;

    std::array<std::u16string, 12> m_words;     // 106 to 117
    std::array<std::u16string, 17> m_statuses;  // by status code
};

}  // namespace tsasync
