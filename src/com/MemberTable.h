#pragma once

#include "tsasync/TSAsync.h"

#include <cstddef>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// The description of an interface's members, which drives its IDispatch.
namespace tsasync::com {

struct Parameter {
    std::u16string_view name;  // empty for the value of a property
    VARTYPE type = VT_EMPTY;   // VT_BSTR, VT_BOOL, VT_I2, VT_I4 or VT_DATE
    bool optional = false;     // its default is its type's zero: "", False, 0
};

// Calls the member of `object` with values of exactly its parameters' types. The one behind them, where the
// member has a result, is empty and receives it.
using MemberCall = HRESULT (*)(IDispatch& object, VARIANT* values);

struct Member {
    std::u16string_view name;
    DISPID id = DISPID_UNKNOWN;
    WORD kind = 0;  // DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
    std::vector<Parameter> parameters;
    VARTYPE result = VT_EMPTY;
    MemberCall call = nullptr;
};

// The members in the order of the method table, the first one in the slot behind those of IDispatch.
using MemberTable = std::vector<Member>;

namespace detail {

inline void Read(const VARIANT& from, BSTR& to) { to = from.bstrVal; }
inline void Read(const VARIANT& from, SHORT& to) { to = from.iVal; }
inline void Read(const VARIANT& from, LONG& to) { to = from.lVal; }
inline void Read(const VARIANT& from, DATE& to) { to = from.date; }
inline void Read(const VARIANT& from, ::TSDLStateEnum& to) { to = static_cast<::TSDLStateEnum>(from.lVal); }
inline void Write(VARIANT& to, BSTR from) { to.bstrVal = from; }
inline void Write(VARIANT& to, SHORT from) { to.iVal = from; }
inline void Write(VARIANT& to, LONG from) { to.lVal = from; }
inline void Write(VARIANT& to, DATE from) { to.date = from; }
inline void Write(VARIANT& to, ::TSDLStateEnum from) { to.lVal = from; }

// A variant as an argument of type T; for a pointer, what the callee stores goes back into the variant.
template <typename T>
class Argument {
  public:
    explicit Argument(VARIANT& variant) : m_variant(variant) { Read(variant, m_value); }
    ~Argument() {
        if constexpr (std::is_pointer_v<T> && !std::is_same_v<T, BSTR>) Write(m_variant, m_value);
    }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;

    T Pass() {
        if constexpr (std::is_pointer_v<T> && !std::is_same_v<T, BSTR>) {
            return &m_value;
        } else {
            return m_value;
        }
    }

  private:
    using Value = std::conditional_t<std::is_same_v<T, BSTR>, BSTR, std::remove_pointer_t<T>>;
    VARIANT& m_variant;
    Value m_value{};
};

template <typename Interface, typename... Types, std::size_t... Indices>
HRESULT Call(Interface& object, HRESULT (STDMETHODCALLTYPE Interface::*slot)(Types...), VARIANT* values,
             std::index_sequence<Indices...>) {
    return (object.*slot)(Argument<Types>(values[Indices]).Pass()...);
}

template <typename Interface, typename... Types>
HRESULT Call(IDispatch& object, HRESULT (STDMETHODCALLTYPE Interface::*slot)(Types...), VARIANT* values) {
    return Call(static_cast<Interface&>(object), slot, values, std::index_sequence_for<Types...>());
}

}  // namespace detail

// The MemberCall of a member function of the interface.
template <auto Slot>
HRESULT CallSlot(IDispatch& object, [[maybe_unused]] VARIANT* values) {
    return detail::Call(object, Slot, values);
}

// Rows of a table.
template <auto Slot>
Member Get(std::u16string_view name, DISPID id, VARTYPE type) {
    return {name, id, DISPATCH_PROPERTYGET, {}, type, &CallSlot<Slot>};
}

template <auto Slot>
Member Put(std::u16string_view name, DISPID id, VARTYPE type) {
    return {name, id, DISPATCH_PROPERTYPUT, {{{}, type}}, VT_EMPTY, &CallSlot<Slot>};
}

template <auto Slot>
Member Method(std::u16string_view name, DISPID id, std::vector<Parameter> parameters,
              VARTYPE result = VT_EMPTY) {
    return {name, id, DISPATCH_METHOD, std::move(parameters), result, &CallSlot<Slot>};
}

}  // namespace tsasync::com
