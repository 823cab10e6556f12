// Identifiers as text, "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}".
#include "tsasync/com.h"

#include <cstdint>
#include <string_view>

namespace {

constexpr std::u16string_view kForm = u"{00000000-0000-0000-0000-000000000000}";

// The bytes of `id` in the order of their digits.
void ToBytes(const GUID& id, std::uint8_t (&bytes)[16]) {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(id.Data1 >> (8 * (3 - i)));
    for (int i = 0; i < 2; ++i) bytes[4 + i] = static_cast<std::uint8_t>(id.Data2 >> (8 * (1 - i)));
    for (int i = 0; i < 2; ++i) bytes[6 + i] = static_cast<std::uint8_t>(id.Data3 >> (8 * (1 - i)));
    for (int i = 0; i < 8; ++i) bytes[8 + i] = id.Data4[i];
}

GUID FromBytes(const std::uint8_t (&bytes)[16]) {
    GUID id{};
    for (int i = 0; i < 4; ++i) id.Data1 = (id.Data1 << 8) | bytes[i];
    id.Data2 = static_cast<std::uint16_t>((bytes[4] << 8) | bytes[5]);
    id.Data3 = static_cast<std::uint16_t>((bytes[6] << 8) | bytes[7]);
    for (int i = 0; i < 8; ++i) id.Data4[i] = bytes[8 + i];
    return id;
}

// -1 for what is no hexadecimal digit.
int DigitValue(OLECHAR unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
    if (unit >= u'a' && unit <= u'f') return unit - u'a' + 10;
    return -1;
}

bool Parse(std::u16string_view text, GUID& id) {
    if (text.size() != kForm.size()) return false;
    std::uint8_t bytes[16] = {};
    std::size_t digits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (kForm[i] != u'0') {
            if (text[i] != kForm[i]) return false;
            continue;
        }
        const int value = DigitValue(text[i]);
        if (value < 0) return false;
        bytes[digits / 2] = static_cast<std::uint8_t>((bytes[digits / 2] << 4) | value);
        ++digits;
    }
    id = FromBytes(bytes);
    return true;
}

}  // namespace

HRESULT CLSIDFromString(LPCOLESTR text, CLSID* classId) {
    if (classId == nullptr) return E_INVALIDARG;
    *classId = CLSID_NULL;
    if (text == nullptr) return S_OK;
    return Parse(text, *classId) ? S_OK : CO_E_CLASSSTRING;
}

INT StringFromGUID2(REFGUID id, LPOLESTR text, INT size) {
    const auto needed = static_cast<INT>(kForm.size() + 1);
    if (text == nullptr || size < needed) return 0;
    std::uint8_t bytes[16];
    ToBytes(id, bytes);
    std::size_t digit = 0;
    for (std::size_t i = 0; i < kForm.size(); ++i) {
        if (kForm[i] != u'0') {
            text[i] = kForm[i];
            continue;
        }
        text[i] = u"0123456789ABCDEF"[(bytes[digit / 2] >> (digit % 2 == 0 ? 4 : 0)) & 15];
        ++digit;
    }
    text[kForm.size()] = 0;
    return needed;
}
