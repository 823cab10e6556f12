#include "platform/string_tables.h"

#include "platform/linux/ui/string_table_data.h"
#include "platform/locale.h"

#include <algorithm>

namespace tsasync::platform {

namespace {

constexpr std::int32_t kOwnModule = 1;
constexpr std::int32_t kNeutral = 0;
constexpr std::int32_t kPrimaryLanguage = 0x3FF;  // the bits of an identifier that leave the country out

template <typename LanguageMatches>
std::optional<std::span<const std::byte>> FindBlock(std::int32_t block, LanguageMatches matches) {
    const auto tables = StringTables();
    const auto found = std::ranges::find_if(
        tables, [&](const StringTable& table) { return table.block == block && matches(table.language); });
    if (found == tables.end()) return std::nullopt;
    return found->bytes;
}

}  // namespace

std::int32_t OwnResourceModule() { return kOwnModule; }

std::optional<std::span<const std::byte>> FindStringTable(std::int32_t module, std::int32_t block,
                                                          std::int32_t language) {
    if (module != kOwnModule) return std::nullopt;
    if (language != kNeutral) {
        return FindBlock(block, [&](std::int32_t candidate) { return candidate == language; });
    }
    const std::int32_t user = UserDefaultLanguage();
    if (const auto exact = FindBlock(block, [&](std::int32_t candidate) { return candidate == user; })) {
        return exact;
    }
    return FindBlock(block, [&](std::int32_t candidate) {
        return (candidate & kPrimaryLanguage) == (user & kPrimaryLanguage);
    });
}

}  // namespace tsasync::platform
