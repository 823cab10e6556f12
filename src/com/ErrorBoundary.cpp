#include "com/ErrorBoundary.h"

#include "com/ComText.h"
#include "tsasync/host.hpp"

#include <string>
#include <string_view>

namespace tsasync::com {

namespace {

using host::Bstr;
using host::ComPtr;

constexpr std::uint32_t kRuntimeErrors = 0x800A0000u;
constexpr std::int32_t kLastRuntimeError = 0xFFFF;

struct GenericText {
    std::int32_t number;
    std::u16string_view text;
};

constexpr GenericText kGenericTexts[] = {
    {kErrInvalidProcedureCall, u"Invalid procedure call or argument"},
    {kErrOverflow, u"Overflow"},
    {kErrOutOfMemory, u"Out of memory"},
    {kErrTypeMismatch, u"Type mismatch"},
    {kErrFileNotFound, u"File not found"},
    {kErrPermissionDenied, u"Permission denied"},
    {75, u"Path/File access error"},
    {kErrPathNotFound, u"Path not found"},
    {kErrObjectNotSet, u"Object variable or With block variable not set"},
    {kErrDuplicateKey, u"This key is already associated with an element of this collection"},
    {RPC_E_WRONG_THREAD, u"The object was created on another thread"},
};

std::u16string_view Description(const AutomationError& error) {
    if (!error.description.empty()) return error.description;
    for (const GenericText& generic : kGenericTexts) {
        if (generic.number == error.number) return generic.text;
    }
    return u"Application-defined or object-defined error";
}

void Publish(const AutomationError& error, REFIID iid) {
    ComPtr<ICreateErrorInfo> details;
    if (FAILED(CreateErrorInfo(details.Put()))) throw std::bad_alloc();
    details->SetGUID(iid);
    details->SetSource(Bstr(error.source));
    details->SetDescription(Bstr(Description(error)));
    details->SetHelpFile(Bstr(error.helpFile));
    details->SetHelpContext(static_cast<DWORD>(error.helpContext));
    ComPtr<IErrorInfo> info;
    if (SUCCEEDED(details->QueryInterface(IID_IErrorInfo, info.PutVoid()))) SetErrorInfo(0, info.Get());
}

}  // namespace

HRESULT ResultOf(std::int32_t number) noexcept {
    if (number < 0) return number;
    if (number == 0 || number > kLastRuntimeError) return E_FAIL;
    return static_cast<HRESULT>(kRuntimeErrors + static_cast<std::uint32_t>(number));
}

std::int32_t NumberOf(HRESULT result) noexcept {
    const std::uint32_t difference = static_cast<std::uint32_t>(result) - kRuntimeErrors;
    const bool runtimeError = difference >= 1 && difference <= static_cast<std::uint32_t>(kLastRuntimeError);
    return runtimeError ? static_cast<std::int32_t>(difference) : static_cast<std::int32_t>(result);
}

HRESULT ReportError(const AutomationError& error, REFIID iid) noexcept {
    try {
        Publish(error, iid);
    } catch (const std::bad_alloc&) {
        SetErrorInfo(0, nullptr);  // the number is still worth more than a text of an earlier error
    }
    return ResultOf(error.number);
}

bool TakeError(HRESULT result, EXCEPINFO& info) noexcept {
    ComPtr<IErrorInfo> error;
    if (GetErrorInfo(0, error.Put()) != S_OK) return false;
    info = EXCEPINFO{};
    error->GetSource(&info.bstrSource);
    error->GetDescription(&info.bstrDescription);
    error->GetHelpFile(&info.bstrHelpFile);
    error->GetHelpContext(&info.dwHelpContext);
    info.scode = result;
    return true;
}

AutomationError ErrorOf(HRESULT result, EXCEPINFO& info) {
    if (result != DISP_E_EXCEPTION) return {NumberOf(result), {}, {}, {}, 0};
    if (info.pfnDeferredFillIn != nullptr) info.pfnDeferredFillIn(&info);
    const std::int32_t number = info.wCode != 0 ? info.wCode : NumberOf(info.scode);
    return {number, Text(info.bstrSource), Text(info.bstrDescription), Text(info.bstrHelpFile),
            static_cast<std::int32_t>(info.dwHelpContext)};
}

}  // namespace tsasync::com
