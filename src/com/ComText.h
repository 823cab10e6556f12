#pragma once

#include "tsasync/com.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>

// Between automation strings and the core's text. The units are copied one by one, because a unit is char16_t
// in the core and wchar_t for some systems' automation.
namespace tsasync::com {

inline std::u16string Text(BSTR string) {
    return string == nullptr ? std::u16string() : std::u16string(string, string + SysStringLen(string));
}

// A text that ends with a zero.
inline std::u16string ZeroEndedText(LPCOLESTR text) {
    std::u16string result;
    while (*text != 0) result.push_back(static_cast<char16_t>(*text++));
    return result;
}

// The caller's to free. Throws std::bad_alloc.
inline BSTR NewString(std::u16string_view text) {
    const BSTR string = SysAllocStringLen(nullptr, static_cast<UINT>(text.size()));
    if (string == nullptr) throw std::bad_alloc();
    std::copy(text.begin(), text.end(), string);
    return string;
}

}  // namespace tsasync::com
