#include "ui/modRes.h"

#include "platform/locale.h"
#include "platform/string_tables.h"

#include <optional>
#include <span>

namespace tsasync::modRes {

namespace {

using Block = std::span<const std::byte>;

constexpr std::int32_t kStringsPerBlock = 16;
constexpr std::int32_t kNeutral = 0;
constexpr std::int32_t kEnglish = 1033;

struct State {
    std::int32_t module = 0;
    std::int32_t language = kNeutral;
};

State& ThreadState() {
    thread_local State state;
    return state;
}

std::optional<Block> FindBlock(std::int32_t block) {
    const State& state = ThreadState();
    for (const std::int32_t language : {state.language, kNeutral, kEnglish}) {
        if (const auto found = platform::FindStringTable(state.module, block, language)) return found;
    }
    return std::nullopt;
}

char16_t UnitAt(Block bytes, std::size_t offset) {
    return static_cast<char16_t>(std::to_integer<unsigned>(bytes[offset]) |
                                 std::to_integer<unsigned>(bytes[offset + 1]) << 8);
}

// Takes the entry at the front of `bytes`. One that runs over the end is empty and leaves nothing behind it.
std::u16string TakeEntry(Block& bytes) {
    if (bytes.size() < 2 || bytes.size() < 2 + 2 * std::size_t{UnitAt(bytes, 0)}) {
        bytes = {};
        return {};
    }
    std::u16string text(UnitAt(bytes, 0), u'\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = UnitAt(bytes, 2 + 2 * i);
    bytes = bytes.subspan(2 + 2 * text.size());
    return text;
}

}  // namespace

void SetResModule(std::int32_t hModule) {
    ThreadState().module = hModule < 0 ? platform::OwnResourceModule() : hModule;
}

void SetLangID(std::int32_t iLangID) {
    ThreadState().language = iLangID > 0 ? iLangID : platform::UserDefaultLanguage();
}

std::u16string LoadResText(std::int32_t lID) {
    std::optional<Block> block = FindBlock(lID / kStringsPerBlock + 1);
    if (!block) return {};
    for (std::int32_t position = lID % kStringsPerBlock; position > 0; --position) TakeEntry(*block);
    return TakeEntry(*block);
}

}  // namespace tsasync::modRes
