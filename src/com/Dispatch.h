#pragma once

#include "com/MemberTable.h"

// IDispatch over a table of members.
namespace tsasync::com {

// A member's name, then names of its parameters, without regard to letter case; parameters are numbered from
// 0.
HRESULT FindNames(const MemberTable& table, LPOLESTR* names, UINT count, DISPID* ids) noexcept;

// As IDispatch::Invoke. `object` may end during the call.
HRESULT InvokeMember(const MemberTable& table, IDispatch& object, DISPID id, WORD flags,
                     const DISPPARAMS& arguments, VARIANT* result, EXCEPINFO* error,
                     UINT* badArgument) noexcept;

}  // namespace tsasync::com
