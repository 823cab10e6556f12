// Conversion among the numeric types, Boolean, date and string. Every value passes through one of two forms:
// a number (a whole one of 64 bits, or a real one) or a text.
#include "comrt/date_text.h"
#include "comrt/variant.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace {

using tsasync::comrt::DateText;
using tsasync::comrt::IsDate;
using tsasync::comrt::ParseDate;

using Number = std::variant<std::int64_t, double>;

constexpr USHORT kAlphaBool = 2;  // VARIANT_ALPHABOOL: a Boolean becomes "True" or "False", not "-1" or "0"

// The text's units as bytes; nothing when one of them is no ASCII character, which no number or date has.
std::optional<std::string> Ascii(BSTR string) {
    std::string text;
    for (UINT i = 0; i < SysStringLen(string); ++i) {
        if (string[i] >= 0x80) return {};
        text.push_back(static_cast<char>(string[i]));
    }
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

template <typename T>
std::optional<T> ParseWhole(std::string_view text) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return {};
    return value;
}

std::optional<Number> ParseNumber(std::string_view text) {
    if (const auto whole = ParseWhole<std::int64_t>(text)) return Number(*whole);
    const auto real = ParseWhole<double>(text);
    if (!real || !std::isfinite(*real)) return {};
    return Number(*real);
}

bool SameLetters(std::string_view text, std::string_view lowerCase) {
    return std::equal(
        text.begin(), text.end(), lowerCase.begin(), lowerCase.end(), [](char unit, char lower) {
            return (unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit) == lower;
        });
}

// What the text says to a receiver of `type`.
std::optional<Number> FromText(BSTR string, VARTYPE type) {
    const std::optional<std::string> text = Ascii(string);
    if (!text) return {};
    if (type == VT_BOOL) {
        if (SameLetters(*text, "true") || SameLetters(*text, "#true#")) return Number(std::int64_t{-1});
        if (SameLetters(*text, "false") || SameLetters(*text, "#false#")) return Number(std::int64_t{0});
    }
    if (type == VT_DATE) {
        if (const auto date = ParseDate(*text)) return Number(*date);
    }
    return ParseNumber(*text);
}

// Nothing for a value that is no number.
std::optional<Number> FromValue(const VARIANT& value, VARTYPE type) {
    switch (value.vt) {
        case VT_EMPTY:
            return Number(std::int64_t{0});
        case VT_I1:
            return Number(std::int64_t{static_cast<signed char>(value.cVal)});
        case VT_UI1:
            return Number(std::int64_t{value.bVal});
        case VT_I2:
        case VT_BOOL:
            return Number(std::int64_t{value.iVal});
        case VT_UI2:
            return Number(std::int64_t{value.uiVal});
        case VT_I4:
        case VT_INT:
            return Number(std::int64_t{value.lVal});
        case VT_UI4:
        case VT_UINT:
            return Number(std::int64_t{value.ulVal});
        case VT_I8:
            return Number(std::int64_t{value.llVal});
        case VT_UI8:
            if (value.ullVal <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
                return Number(static_cast<std::int64_t>(value.ullVal));
            }
            return Number(static_cast<double>(value.ullVal));
        case VT_R4:
            return Number(double{value.fltVal});
        case VT_R8:
        case VT_DATE:
            return Number(value.dblVal);
        case VT_BSTR:
            return FromText(value.bstrVal, type);
        default:
            return {};
    }
}

double Real(const Number& number) {
    const auto* whole = std::get_if<std::int64_t>(&number);
    return whole != nullptr ? static_cast<double>(*whole) : std::get<double>(number);
}

template <typename T>
HRESULT StoreWhole(const Number& number, T& field) {
    std::int64_t whole = 0;
    if (const auto* value = std::get_if<std::int64_t>(&number)) {
        whole = *value;
    } else {
        // nearbyint rounds to the nearest, halves to even: nobody here changes the rounding mode.
        const double rounded = std::nearbyint(std::get<double>(number));
        if (!(rounded >= -0x1p63 && rounded < 0x1p63)) return DISP_E_OVERFLOW;
        whole = static_cast<std::int64_t>(rounded);
    }
    if (!std::in_range<T>(whole)) return DISP_E_OVERFLOW;
    field = static_cast<T>(whole);
    return S_OK;
}

HRESULT StoreReal(const Number& number, VARTYPE type, VARIANT& result) {
    const double real = Real(number);
    if (type == VT_DATE && !IsDate(real)) return DISP_E_OVERFLOW;
    if (type != VT_R4) {
        result.dblVal = real;
        return S_OK;
    }
    if (std::isfinite(real) && std::abs(real) > std::numeric_limits<float>::max()) return DISP_E_OVERFLOW;
    result.fltVal = static_cast<float>(real);
    return S_OK;
}

HRESULT StoreNumber(const Number& number, VARTYPE type, VARIANT& result) {
    switch (type) {
        case VT_I1: {
            signed char small = 0;
            const HRESULT stored = StoreWhole(number, small);
            result.cVal = static_cast<CHAR>(small);
            return stored;
        }
        case VT_UI1:
            return StoreWhole(number, result.bVal);
        case VT_I2:
            return StoreWhole(number, result.iVal);
        case VT_UI2:
            return StoreWhole(number, result.uiVal);
        case VT_I4:
        case VT_INT:
            return StoreWhole(number, result.lVal);
        case VT_UI4:
        case VT_UINT:
            return StoreWhole(number, result.ulVal);
        case VT_I8:
            return StoreWhole(number, result.llVal);
        case VT_UI8:
            return StoreWhole(number, result.ullVal);
        case VT_R4:
        case VT_R8:
        case VT_DATE:
            return StoreReal(number, type, result);
        case VT_BOOL:
            result.boolVal = Real(number) != 0 ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

std::string RealText(double value, int digits) {
    char text[40];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits).ptr;
    std::replace(text, end, 'e', 'E');
    return {text, end};
}

// Nothing for a value that has no text.
std::optional<std::string> Text(const VARIANT& value, USHORT flags) {
    if (value.vt == VT_EMPTY) return std::string();
    if (value.vt == VT_BOOL && (flags & kAlphaBool) != 0) return value.boolVal != 0 ? "True" : "False";
    if (value.vt == VT_DATE) return IsDate(value.date) ? std::optional(DateText(value.date)) : std::nullopt;
    if (value.vt == VT_UI8) return std::to_string(value.ullVal);
    const std::optional<Number> number = FromValue(value, VT_BSTR);
    if (!number) return {};
    if (const auto* whole = std::get_if<std::int64_t>(&*number)) return std::to_string(*whole);
    return RealText(std::get<double>(*number), value.vt == VT_R4 ? 7 : 15);
}

HRESULT ToText(const VARIANT& value, USHORT flags, VARIANT& result) {
    const std::optional<std::string> text = Text(value, flags);
    if (!text) return DISP_E_TYPEMISMATCH;
    result.bstrVal = SysAllocStringLen(nullptr, static_cast<UINT>(text->size()));
    if (result.bstrVal == nullptr) return E_OUTOFMEMORY;
    std::copy(text->begin(), text->end(), result.bstrVal);
    return S_OK;
}

HRESULT ToObject(const VARIANT& value, VARTYPE type, VARIANT& result) {
    if (value.vt != VT_DISPATCH && value.vt != VT_UNKNOWN) return DISP_E_TYPEMISMATCH;
    if (value.punkVal == nullptr) return S_OK;
    const bool dispatch = type == VT_DISPATCH;
    const HRESULT found =
        value.punkVal->QueryInterface(dispatch ? IID_IDispatch : IID_IUnknown, &result.byref);
    return FAILED(found) ? DISP_E_TYPEMISMATCH : S_OK;
}

HRESULT Convert(const VARIANT& value, USHORT flags, VARTYPE type, VARIANT& result) {
    if (type == VT_EMPTY || type == VT_NULL || type == VT_ERROR) return DISP_E_TYPEMISMATCH;
    if (tsasync::comrt::ValueSize(type) == 0) return DISP_E_BADVARTYPE;
    if (type == VT_BSTR) return ToText(value, flags, result);
    if (type == VT_DISPATCH || type == VT_UNKNOWN) return ToObject(value, type, result);
    const std::optional<Number> number = FromValue(value, type);
    return number ? StoreNumber(*number, type, result) : DISP_E_TYPEMISMATCH;
}

HRESULT ChangeType(VARIANT& destination, const VARIANT& source, USHORT flags, VARTYPE type) {
    VARIANT plain;
    VariantInit(&plain);
    HRESULT result = VariantCopyInd(&plain, &source);
    if (FAILED(result)) return result;
    if (plain.vt != type) {
        VARIANT converted;
        VariantInit(&converted);
        result = Convert(plain, flags, type, converted);
        VariantClear(&plain);
        if (FAILED(result)) return result;
        converted.vt = type;
        plain = converted;
    }
    result = VariantClear(&destination);
    if (FAILED(result)) {
        VariantClear(&plain);
        return result;
    }
    destination = plain;
    return S_OK;
}

}  // namespace

HRESULT VariantChangeType(VARIANTARG* destination, const VARIANTARG* source, USHORT flags, VARTYPE type) {
    try {
        return ChangeType(*destination, *source, flags, type);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT VariantChangeTypeEx(VARIANTARG* destination, const VARIANTARG* source, LCID, USHORT flags,
                            VARTYPE type) {
    return VariantChangeType(destination, source, flags, type);
}
