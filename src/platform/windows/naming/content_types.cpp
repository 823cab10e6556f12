#include "platform/content_types.h"

#include "base/Utf8.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <urlmon.h>

#include <array>

namespace tsasync::platform {

namespace {

// A text of the registry's classes; empty when it is not there.
std::string ClassText(std::string_view key, const wchar_t* value) {
    std::array<wchar_t, 256> text{};
    DWORD size = sizeof text;
    const std::u16string path = FromUtf8(key);
    if (RegGetValueW(HKEY_CLASSES_ROOT, Wide(path), value, RRF_RT_REG_SZ, nullptr, text.data(), &size) !=
        ERROR_SUCCESS) {
        return {};
    }
    return ToUtf8(FromWide(text.data()));
}

}  // namespace

std::string ExtensionForContentType(std::string_view type) {
    // A type name has one "/"; a "\" would lead to another key.
    if (type.find('\\') != type.npos) return {};
    return ClassText("MIME\\Database\\Content Type\\" + std::string(type), L"Extension");
}

std::string ContentTypeForExtension(std::string_view extension) {
    return ClassText(extension, L"Content Type");
}

std::string ContentTypeOfData(std::string_view start) {
    std::string data(start);
    TaskMemory<LPWSTR> type;
    if (FAILED(FindMimeFromData(nullptr, nullptr, data.data(), static_cast<DWORD>(data.size()), nullptr, 0,
                                type.Put(), 0))) {
        return {};
    }
    return ToUtf8(FromWide(type.Get()));
}

}  // namespace tsasync::platform
