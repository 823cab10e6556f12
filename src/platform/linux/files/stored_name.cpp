#include "platform/linux/files/stored_name.h"

#include "platform/file_system.h"
#include "platform/linux/files/native_path.h"
#include "platform/text.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace tsasync::platform {

namespace {

namespace fs = std::filesystem;

bool IsAsciiLetter(char16_t unit) { return (unit | 0x20) >= u'a' && (unit | 0x20) <= u'z'; }

// The letters that every such volume takes for the same; where there are none, the others.
std::u16string InOtherCase(std::u16string_view name) {
    std::u16string other(name);
    const bool ascii = std::any_of(name.begin(), name.end(), IsAsciiLetter);
    for (char16_t& unit : other) {
        if (ascii && !IsAsciiLetter(unit)) continue;
        unit = ToLower(unit) == unit ? ToUpper(unit) : ToLower(unit);
    }
    return other;
}

bool EqualButForCase(std::u16string_view a, std::u16string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char16_t x, char16_t y) { return ToLower(x) == ToLower(y); });
}

bool IsThere(const fs::path& path) {
    struct stat entry {};
    return lstat(path.c_str(), &entry) == 0;
}

}  // namespace

std::u16string StoredName(std::u16string_view path) {
    std::u16string name(path.substr(path.rfind(kPathSeparator) + 1));
    const std::u16string other = InOtherCase(name);
    const auto native = ToNativePath(path);
    if (other == name || !native) return name;
    const fs::path folder = fs::path(native->Text()).parent_path();
    // Most volumes tell by this that no other spelling is to be looked for.
    if (!IsThere(folder / ToNativeBytes(other))) return name;
    std::u16string stored = name;
    std::error_code error;
    for (fs::directory_iterator it(folder.empty() ? "." : folder, error), end; !error && it != end;
         it.increment(error)) {
        std::u16string candidate = FromNativeBytes(it->path().filename().native());
        if (candidate == name) return name;
        if (EqualButForCase(candidate, name)) stored = std::move(candidate);
    }
    return stored;
}

}  // namespace tsasync::platform
