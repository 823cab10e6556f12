#include "naming/UrlHandleGenerator.h"

#include "base/Utf8.h"
#include "platform/hash.h"

#include <span>
#include <string>

namespace tsasync {

namespace {

constexpr std::u16string_view kBase32 = u"abcdefghijklmnopqrstuvwxyz234567";
constexpr std::size_t kHandleLength = 26;

}  // namespace

std::u16string UrlHandleGenerator::HandleOf(std::u16string_view url) const {
    const std::string bytes = ToUtf8(url);
    const auto digest = platform::Sha256(std::as_bytes(std::span(bytes)));

    std::u16string handle;
    std::uint32_t bits = 0;
    int available = 0;
    for (const std::uint8_t byte : digest) {
        bits = (bits << 8) | byte;
        available += 8;
        while (available >= 5 && handle.size() < kHandleLength) {
            available -= 5;
            handle += kBase32[(bits >> available) & 0x1F];
        }
        if (handle.size() == kHandleLength) break;
    }
    return handle;
}

}  // namespace tsasync
