#pragma once

#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A client that knows nothing but IDispatch.
namespace tsasync::test {

// A variant that owns its content.
class Value {
  public:
    Value() { VariantInit(&m_variant); }
    // Some headers leave out that the source is only read.
    Value(const Value& other) : Value() { VariantCopy(&m_variant, const_cast<VARIANT*>(&other.m_variant)); }
    Value& operator=(Value other) noexcept {
        std::swap(m_variant, other.m_variant);
        return *this;
    }
    ~Value() { VariantClear(&m_variant); }

    explicit Value(std::u16string_view text) : Value() {
        m_variant.vt = VT_BSTR;
        m_variant.bstrVal = SysAllocStringLen(nullptr, static_cast<UINT>(text.size()));
        std::copy(text.begin(), text.end(), m_variant.bstrVal);
    }
    // Of a type, with what the member for it holds.
    template <typename T>
    Value(int type, T VARIANT::*member, T content) : Value() {
        m_variant.vt = static_cast<VARTYPE>(type);
        m_variant.*member = content;
    }
    static Value Long(LONG number) { return {VT_I4, &VARIANT::lVal, number}; }
    static Value Real(double number) { return {VT_R8, &VARIANT::dblVal, number}; }
    static Value Date(DATE date) { return {VT_DATE, &VARIANT::date, date}; }
    static Value Bool(bool value) {
        return {VT_BOOL, &VARIANT::boolVal, static_cast<VARIANT_BOOL>(value ? VARIANT_TRUE : VARIANT_FALSE)};
    }
    static Value ByRef(VARIANT_BOOL& value) { return {VT_BYREF | VT_BOOL, &VARIANT::pboolVal, &value}; }
    static Value ByRef(VARIANT& value) { return {VT_BYREF | VT_VARIANT, &VARIANT::pvarVal, &value}; }
    static Value ByRef(SCODE& value) { return {VT_BYREF | VT_ERROR, &VARIANT::pscode, &value}; }
    static Value Null() { return {VT_NULL, &VARIANT::lVal, LONG{0}}; }
    static Value Omitted() { return {VT_ERROR, &VARIANT::scode, DISP_E_PARAMNOTFOUND}; }

    VARIANT& Get() { return m_variant; }
    const VARIANT& Get() const { return m_variant; }
    VARTYPE Type() const { return m_variant.vt; }
    LONG Number() const { return m_variant.vt == VT_I4 ? m_variant.lVal : m_variant.iVal; }
    double RealNumber() const { return m_variant.dblVal; }
    std::u16string Text() const {
        const BSTR string = m_variant.bstrVal;
        return m_variant.vt == VT_BSTR ? std::u16string(string, string + SysStringLen(string)) : u"(no text)";
    }

  private:
    VARIANT m_variant;
};

struct Outcome {
    HRESULT result = S_OK;
    Value value;
    std::u16string source;
    std::u16string description;
    SCODE scode = 0;
    UINT badArgument = 99;
};

// `positional` in the order of the parameters, then named ones.
inline Outcome Invoke(IDispatch& object, DISPID id, WORD flags, const std::vector<Value>& positional = {},
                      const std::vector<std::pair<DISPID, Value>>& named = {}) {
    std::vector<VARIANT> arguments;
    std::vector<DISPID> names;
    for (const auto& [name, value] : named) {
        names.push_back(name);
        arguments.push_back(value.Get());
    }
    for (auto value = positional.rbegin(); value != positional.rend(); ++value)
        arguments.push_back(value->Get());
    DISPPARAMS parameters{arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
                          static_cast<UINT>(names.size())};
    Outcome outcome;
    EXCEPINFO error{};
    outcome.result = object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                                   &outcome.value.Get(), &error, &outcome.badArgument);
    const auto take = [](BSTR string) {
        const std::u16string text =
            string == nullptr ? u"" : std::u16string(string, string + SysStringLen(string));
        SysFreeString(string);
        return text;
    };
    outcome.source = take(error.bstrSource);
    outcome.description = take(error.bstrDescription);
    SysFreeString(error.bstrHelpFile);
    outcome.scode = error.scode;
    return outcome;
}

inline Outcome Call(IDispatch& object, DISPID id, const std::vector<Value>& positional = {},
                    const std::vector<std::pair<DISPID, Value>>& named = {}) {
    return Invoke(object, id, DISPATCH_METHOD, positional, named);
}
inline Outcome Read(IDispatch& object, DISPID id) { return Invoke(object, id, DISPATCH_PROPERTYGET); }
inline Outcome Write(IDispatch& object, DISPID id, Value value) {
    return Invoke(object, id, DISPATCH_PROPERTYPUT, {}, {{DISPID_PROPERTYPUT, std::move(value)}});
}

// The ids of a member and its parameters; with the call's result in front.
inline std::pair<HRESULT, std::vector<DISPID>> Find(IDispatch& object,
                                                    const std::vector<std::u16string>& names) {
    std::vector<std::vector<OLECHAR>> buffers;
    std::vector<LPOLESTR> pointers;
    buffers.reserve(names.size());
    pointers.reserve(names.size());
    for (const std::u16string& name : names) {
        buffers.emplace_back(name.begin(), name.end()).push_back(0);
    }
    for (std::vector<OLECHAR>& buffer : buffers) pointers.push_back(buffer.data());
    std::vector<DISPID> ids(names.size(), 12345);
    const HRESULT result = object.GetIDsOfNames(IID_NULL, pointers.data(), static_cast<UINT>(names.size()),
                                                LOCALE_USER_DEFAULT, ids.data());
    return {result, ids};
}

}  // namespace tsasync::test
