#include "transfer/ctlAsyncT.h"

#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/modErrHand.h"

namespace tsasync {

ctlAsyncT::ctlAsyncT(ITransferEvents& events) : m_oEvents(events), m_oReader(*this) {}

bool ctlAsyncT::DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                             std::u16string_view sData) {
    return WithErrorSource(u"ctlAsyncT.DownloadFile", [&] {
        const std::u16string_view key = Trim(sFileKey);
        if (key.empty()) return false;
        m_colFileKeys.Add(key, {AsyncType, std::u16string(sData)});
        std::int32_t refusal = 0;
        try {
            refusal = m_oReader.AsyncRead(sPath, AsyncType, key);
        } catch (...) {
            m_colFileKeys.Remove(key);
            throw;
        }
        if (refusal != 0) Raise(refusal);
        return true;
    });
}

bool ctlAsyncT::CancelDownload(std::u16string_view sFileKey) {
    const std::u16string_view key = Trim(sFileKey);
    const std::int32_t error = m_oReader.CancelAsyncRead(key);
    // A read that the reader does not know may still have its key here: that of a refused start.
    if (error != 0 && modErrHand::ErrorCode(error) != platform::kErrNoSuchRead) return false;
    try {
        m_colFileKeys.Remove(key);
    } catch (const AutomationError&) {
        return false;  // the key is unknown: the one answer that the caller needs
    }
    return true;
}

void ctlAsyncT::AsyncReadProgress(const platform::AsyncProperty& AsyncProp) {
    // A copy: a receiver may cancel the read, and with it the table's entry.
    const File file = m_colFileKeys.Item(AsyncProp.PropertyName);
    m_oEvents.FileReadProgress(AsyncProp.PropertyName, file.type, AsyncProp, file.data);
}

void ctlAsyncT::AsyncReadComplete(const platform::AsyncProperty& AsyncProp) {
    const File file = m_colFileKeys.Item(AsyncProp.PropertyName);
    // The key is free before the event, so that a receiver can start the read again under it.
    m_colFileKeys.Remove(AsyncProp.PropertyName);
    m_oEvents.FileReadComplete(AsyncProp.PropertyName, file.type, AsyncProp, file.data);
}

}  // namespace tsasync
