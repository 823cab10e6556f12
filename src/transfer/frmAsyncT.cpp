#include "transfer/frmAsyncT.h"

namespace tsasync {

std::unique_ptr<frmAsyncT>& frmAsyncT::Instance() {
    thread_local std::unique_ptr<frmAsyncT> form;
    return form;
}

frmAsyncT& frmAsyncT::Load() {
    auto& form = Instance();
    if (!form) form.reset(new frmAsyncT);
    return *form;
}

bool frmAsyncT::IsLoaded() { return Instance() != nullptr; }

void frmAsyncT::FileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                                 const platform::AsyncProperty& AsyncProp, std::u16string_view strData) {
    m_objAsyncT->RaiseFileReadComplete(sFileKey, lngFileType, AsyncProp, strData);
}

void frmAsyncT::FileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                                 const platform::AsyncProperty& AsyncProp, std::u16string_view strData) {
    m_objAsyncT->RaiseFileReadProgress(sFileKey, lngFileType, AsyncProp, strData);
}

}  // namespace tsasync
