#include "platform/host_name.h"

#include "base/Utf8.h"
#include "platform/windows/base/wide.h"

#include <windows.h>

#include <array>

namespace tsasync::platform {

std::optional<std::string> AsciiHostName(std::string_view name) {
    const std::u16string text = FromUtf8(name);
    std::array<wchar_t, 256> ascii{};  // more than a name may have
    const int size = IdnToAscii(0, Wide(text), static_cast<int>(text.size()), ascii.data(),
                                static_cast<int>(ascii.size()));
    if (size <= 0) return std::nullopt;
    return ToUtf8(FromWide(std::wstring_view(ascii.data(), static_cast<std::size_t>(size))));
}

}  // namespace tsasync::platform
