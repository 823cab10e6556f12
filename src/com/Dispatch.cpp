#include "com/Dispatch.h"

#include "base/KeyFold.h"
#include "com/ComText.h"
#include "com/ErrorBoundary.h"

#include <algorithm>
#include <new>
#include <string>

namespace tsasync::com {

namespace {

constexpr std::size_t kMostValues = 5;  // parameters and result of the member that has most of them

// The member that `flags` ask for; null when there is none. A call may offer several kinds at once, because
// some languages can't tell a method from a property.
const Member* Find(const MemberTable& table, DISPID id, WORD flags) {
    if ((flags & DISPATCH_PROPERTYPUTREF) != 0 && (flags & DISPATCH_PROPERTYPUT) == 0) return nullptr;
    const auto found = std::find_if(table.begin(), table.end(), [&](const Member& member) {
        return member.id == id && (member.kind & flags) != 0;
    });
    return found != table.end() ? &*found : nullptr;
}

bool IsOmitted(const VARIANT* argument) {
    if (argument == nullptr) return true;
    if (argument->vt == (VT_BYREF | VT_VARIANT) && argument->pvarVal != nullptr) argument = argument->pvarVal;
    if (argument->vt == (VT_BYREF | VT_ERROR) && argument->pscode != nullptr)
        return *argument->pscode == DISP_E_PARAMNOTFOUND;
    return argument->vt == VT_ERROR && argument->scode == DISP_E_PARAMNOTFOUND;
}

// One call: assigns the arguments to the parameters, converts them, and owns the values.
class Invocation {
  public:
    explicit Invocation(const Member& member) : m_member(member) {
        for (VARIANT& value : m_values) VariantInit(&value);
    }
    ~Invocation() {
        for (VARIANT& value : m_values) VariantClear(&value);
    }
    Invocation(const Invocation&) = delete;
    Invocation& operator=(const Invocation&) = delete;

    HRESULT Assign(const DISPPARAMS& arguments, UINT& badArgument);
    HRESULT Convert(UINT& badArgument);
    HRESULT Call(IDispatch& object);
    // Hands the result over.
    void MoveResult(VARIANT& result);

  private:
    HRESULT AssignNamed(const DISPPARAMS& arguments, UINT index, UINT& badArgument);

    VARIANT& Result() { return m_values[m_member.parameters.size()]; }

    const Member& m_member;
    const VARIANT* m_arguments[kMostValues] = {};  // by parameter; null where there is none
    UINT m_positions[kMostValues] = {};            // their indices among the call's arguments
    VARIANT m_values[kMostValues];
};

HRESULT Invocation::AssignNamed(const DISPPARAMS& arguments, UINT index, UINT& badArgument) {
    const DISPID name = arguments.rgdispidNamedArgs[index];
    const bool isValue = name == DISPID_PROPERTYPUT && m_member.kind == DISPATCH_PROPERTYPUT;
    const std::size_t parameter = isValue ? 0 : static_cast<std::size_t>(name);
    if ((name < 0 && !isValue) || parameter >= m_member.parameters.size() ||
        m_arguments[parameter] != nullptr) {
        badArgument = index;
        return DISP_E_PARAMNOTFOUND;
    }
    m_arguments[parameter] = &arguments.rgvarg[index];
    m_positions[parameter] = index;
    return S_OK;
}

// Positional arguments stand behind the named ones, the last one first.
HRESULT Invocation::Assign(const DISPPARAMS& arguments, UINT& badArgument) {
    if (arguments.cNamedArgs > arguments.cArgs) return E_INVALIDARG;
    if (arguments.cArgs > 0 && arguments.rgvarg == nullptr) return E_INVALIDARG;
    if (arguments.cNamedArgs > 0 && arguments.rgdispidNamedArgs == nullptr) return E_INVALIDARG;
    if (arguments.cArgs > m_member.parameters.size()) return DISP_E_BADPARAMCOUNT;
    const UINT positional = arguments.cArgs - arguments.cNamedArgs;
    for (UINT parameter = 0; parameter < positional; ++parameter) {
        const UINT index = arguments.cArgs - 1 - parameter;
        m_arguments[parameter] = &arguments.rgvarg[index];
        m_positions[parameter] = index;
    }
    for (UINT index = 0; index < arguments.cNamedArgs; ++index) {
        const HRESULT assigned = AssignNamed(arguments, index, badArgument);
        if (FAILED(assigned)) return assigned;
    }
    return S_OK;
}

HRESULT Invocation::Convert(UINT& badArgument) {
    for (std::size_t i = 0; i < m_member.parameters.size(); ++i) {
        const Parameter& parameter = m_member.parameters[i];
        HRESULT converted = S_OK;
        if (!IsOmitted(m_arguments[i])) {
            converted =
                VariantChangeType(&m_values[i], const_cast<VARIANT*>(m_arguments[i]), 0, parameter.type);
        } else if (parameter.optional) {
            m_values[i].vt = parameter.type;  // with the content of an empty variant, which is zero
        } else {
            converted = DISP_E_PARAMNOTOPTIONAL;
        }
        if (FAILED(converted)) {
            badArgument = m_positions[i];
            return converted;
        }
    }
    return S_OK;
}

HRESULT Invocation::Call(IDispatch& object) {
    const HRESULT called = m_member.call(object, m_values);
    if (SUCCEEDED(called)) Result().vt = m_member.result;
    return called;
}

void Invocation::MoveResult(VARIANT& result) {
    result = Result();
    VariantInit(&Result());
}

}  // namespace

HRESULT FindNames(const MemberTable& table, LPOLESTR* names, UINT count, DISPID* ids) noexcept {
    if (names == nullptr || ids == nullptr || count == 0) return E_INVALIDARG;
    HRESULT result = S_OK;
    const HRESULT guarded = Guarded(IID_NULL, [&] {
        const std::u16string memberName = FoldKey(ZeroEndedText(names[0]));
        const auto member = std::find_if(table.begin(), table.end(), [&](const Member& candidate) {
            return FoldKey(candidate.name) == memberName;
        });
        const bool known = member != table.end();
        std::fill_n(ids, count, DISPID_UNKNOWN);
        if (known) ids[0] = member->id;
        for (UINT i = 1; known && i < count; ++i) {
            const std::u16string name = FoldKey(ZeroEndedText(names[i]));
            for (std::size_t p = 0; p < member->parameters.size(); ++p) {
                const std::u16string_view candidate = member->parameters[p].name;
                if (!candidate.empty() && FoldKey(candidate) == name) ids[i] = static_cast<DISPID>(p);
            }
        }
        if (std::find(ids, ids + count, DISPID_UNKNOWN) != ids + count) result = DISP_E_UNKNOWNNAME;
    });
    return FAILED(guarded) ? guarded : result;
}

HRESULT InvokeMember(const MemberTable& table, IDispatch& object, DISPID id, WORD flags,
                     const DISPPARAMS& arguments, VARIANT* result, EXCEPINFO* error,
                     UINT* badArgument) noexcept {
    const Member* member = Find(table, id, flags);
    if (member == nullptr) return DISP_E_MEMBERNOTFOUND;
    Invocation invocation(*member);
    UINT bad = 0;
    HRESULT done = invocation.Assign(arguments, bad);
    if (SUCCEEDED(done)) done = invocation.Convert(bad);
    if (FAILED(done)) {
        if (badArgument != nullptr) *badArgument = bad;
        return done;
    }
    SetErrorInfo(0, nullptr);
    done = invocation.Call(object);
    if (SUCCEEDED(done)) {
        if (result != nullptr) invocation.MoveResult(*result);
        return S_OK;
    }
    OwnedExcepInfo unwanted;
    EXCEPINFO& details = error != nullptr ? *error : unwanted;
    return TakeError(done, details) ? DISP_E_EXCEPTION : done;
}

}  // namespace tsasync::com
