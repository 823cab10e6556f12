#include "transfer/ctlAsyncT.h"

#include "automation/AutomationError.h"
#include "automation/Text.h"
#include "automation/modErrHand.h"

namespace tsasync {

namespace {

// The reader's answer when it does not know the read to be cancelled. It is no reason to keep the key.
constexpr std::int32_t kErrNoSuchRead = 14;

}  // namespace

ctlAsyncT::ctlAsyncT(ITransferEvents& events) : m_oEvents(events), m_oReader(*this) {}

bool ctlAsyncT::DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                             std::u16string_view sData) {
    return WithErrorSource(u"ctlAsyncT.DownloadFile", [&] {
        const std::u16string_view key = Trim(sFileKey);
        if (key.empty() || !AddFileKey(key, AsyncType)) return false;
        m_colFileData.Add(key, std::u16string(sData));
        const std::int32_t refusal = m_oReader.AsyncRead(sPath, AsyncType, key);
        if (refusal != 0) throw AutomationError{refusal, {}, {}, {}, 0};
        return true;
    });
}

bool ctlAsyncT::CancelDownload(std::u16string_view sFileKey) {
    const std::u16string_view key = Trim(sFileKey);
    const std::int32_t error = m_oReader.CancelAsyncRead(key);
    if (error != 0 && modErrHand::ErrorCode(error) != kErrNoSuchRead) return false;
    try {
        RemoveFileKey(key);
        m_colFileData.Remove(key);
    } catch (const AutomationError&) {
        return false;  // the key is unknown: the one answer that the caller needs
    }
    return true;
}

void ctlAsyncT::AsyncReadProgress(const platform::AsyncProperty& AsyncProp) {
    // Copies: a receiver may cancel the read, and with it the table's entry.
    const std::u16string data = m_colFileData.Item(AsyncProp.PropertyName);
    m_oEvents.FileReadProgress(AsyncProp.PropertyName, GetFileType(AsyncProp.PropertyName), AsyncProp, data);
}

void ctlAsyncT::AsyncReadComplete(const platform::AsyncProperty& AsyncProp) {
    const std::u16string data = m_colFileData.Item(AsyncProp.PropertyName);
    const std::int32_t fileType = GetFileType(AsyncProp.PropertyName);
    // The key is free before the event, so that a receiver can start the read again under it.
    RemoveFileKey(AsyncProp.PropertyName);
    m_colFileData.Remove(AsyncProp.PropertyName);
    m_oEvents.FileReadComplete(AsyncProp.PropertyName, fileType, AsyncProp, data);
}

bool ctlAsyncT::AddFileKey(std::u16string_view sFileKey, std::int32_t lngFileType) {
    return WithErrorSource(u"ctlAsyncT.AddFileKey", [&] {
        m_colFileKeys.Add(sFileKey, std::u16string(sFileKey) + u"|" + Decimal(lngFileType));
        return true;
    });
}

void ctlAsyncT::RemoveFileKey(std::u16string_view sFileKey) {
    WithErrorSource(u"ctlAsyncT.RemoveFileKey", [&] { m_colFileKeys.Remove(sFileKey); });
}

std::int32_t ctlAsyncT::GetFileType(std::u16string_view sFileKey) const {
    const std::u16string& entry = m_colFileKeys.Item(sFileKey);
    std::int64_t type = 0;
    const std::size_t first = entry.rfind(u'|') + 1;  // the key itself may hold a "|"
    const bool negative = entry[first] == u'-';
    for (std::size_t i = first + (negative ? 1 : 0); i < entry.size(); ++i) type = type * 10 + (entry[i] - u'0');
    return static_cast<std::int32_t>(negative ? -type : type);
}

}  // namespace tsasync
