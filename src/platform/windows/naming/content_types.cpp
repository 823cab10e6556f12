#include "platform/content_types.h"

#include "platform/windows/base/wide.h"

#include <windows.h>

#include <array>

namespace tsasync::platform {

std::u16string ExtensionForContentType(std::u16string_view mimeType) {
    // A type name has one "/"; a "\" would lead to another key.
    if (mimeType.find(u'\\') != std::u16string_view::npos) return {};
    const std::u16string key = u"MIME\\Database\\Content Type\\" + std::u16string(mimeType);
    std::array<wchar_t, 64> extension{};
    DWORD size = sizeof extension;
    if (RegGetValueW(HKEY_CLASSES_ROOT, Wide(key), L"Extension", RRF_RT_REG_SZ, nullptr, extension.data(),
                     &size) != ERROR_SUCCESS) {
        return {};
    }
    return FromWide(extension.data());
}

}  // namespace tsasync::platform
