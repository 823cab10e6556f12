#include "transfer/CAsyncT.h"

#include "base/AutomationError.h"
#include "transfer/frmAsyncT.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace tsasync {

std::shared_ptr<CAsyncT> CAsyncT::Create() {
    auto channel = std::make_shared<CAsyncT>();
    frmAsyncT::Load().SetChannel(channel);
    return channel;
}

void CAsyncT::PlaceNear(std::u16string_view sFolder) { frmAsyncT::Load().asfTransfer().PlaceNear(sFolder); }

bool CAsyncT::DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                           std::u16string_view sData) {
    try {
        return frmAsyncT::Load().asfTransfer().DownloadFile(sFileKey, sPath, AsyncType, sData);
    } catch (const AutomationError&) {
        return false;  // a refused start is a result for the managers, not an error
    }
}

bool CAsyncT::CancelDownload(std::u16string_view sFileKey) {
    return frmAsyncT::Load().asfTransfer().CancelDownload(sFileKey);
}

void CAsyncT::Connect(std::weak_ptr<ITransferEvents> receiver) {
    const ITransferEvents* identity = receiver.lock().get();
    m_receivers.push_back({identity, std::move(receiver)});
}

void CAsyncT::Disconnect(const ITransferEvents& receiver) {
    const auto found = std::find_if(m_receivers.begin(), m_receivers.end(),
                                    [&](const Receiver& entry) { return entry.identity == &receiver; });
    if (found == m_receivers.end()) return;
    if (m_raising > 0) {
        *found = {};
    } else {
        m_receivers.erase(found);
    }
}

void CAsyncT::RaiseFileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                                    const platform::AsyncProperty& AsyncProp, std::u16string_view strData) {
    RaiseToAll([&](ITransferEvents& to) { to.FileReadComplete(sFileKey, lngFileType, AsyncProp, strData); });
}

void CAsyncT::RaiseFileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                                    const platform::AsyncProperty& AsyncProp, std::u16string_view strData) {
    RaiseToAll([&](ITransferEvents& to) { to.FileReadProgress(sFileKey, lngFileType, AsyncProp, strData); });
}

template <typename Call>
void CAsyncT::RaiseToAll(const Call& call) {
    const auto keepAlive = shared_from_this();
    std::exception_ptr firstError;
    const std::size_t count = m_receivers.size();
    ++m_raising;
    for (std::size_t i = 0; i < count; ++i) {
        if (const auto receiver = m_receivers[i].events.lock()) {
            try {
                call(*receiver);
            } catch (...) {
                if (!firstError) firstError = std::current_exception();
            }
        }
    }
    if (--m_raising == 0) {
        std::erase_if(m_receivers, [](const Receiver& entry) { return entry.identity == nullptr; });
    }
    if (firstError) std::rethrow_exception(firstError);
}

}  // namespace tsasync
