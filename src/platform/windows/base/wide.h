#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// Between the core's UTF-16 units and the system's, which are of the same size under another name.
namespace tsasync::platform {

static_assert(sizeof(wchar_t) == sizeof(char16_t));

// The system's view of `text`; lives as long as `text` does.
inline const wchar_t* Wide(const std::u16string& text) {
    return reinterpret_cast<const wchar_t*>(text.c_str());
}
inline wchar_t* Wide(std::u16string& text) { return reinterpret_cast<wchar_t*>(text.data()); }

inline std::u16string FromWide(std::wstring_view text) { return {text.begin(), text.end()}; }
// Null gives the empty text.
inline std::u16string FromWide(const wchar_t* text) {
    return text == nullptr ? std::u16string() : FromWide(std::wstring_view(text));
}

}  // namespace tsasync::platform
