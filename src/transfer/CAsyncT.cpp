#include "transfer/CAsyncT.h"

#include "transfer/frmAsyncT.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace tsasync {

namespace {

// What goes wrong at the control, also for want of memory or of a thread, is a result for the managers.
template <typename Operation>
bool Succeeds(const Operation& operation) {
    try {
        return operation(frmAsyncT::Load().asfTransfer());
    } catch (...) {
        return false;
    }
}

}  // namespace

std::shared_ptr<CAsyncT> CAsyncT::Create() {
    auto channel = std::make_shared<CAsyncT>();
    frmAsyncT& form = frmAsyncT::Load();
    form.asfTransfer().ListenHere();
    form.SetChannel(channel);
    return channel;
}

bool CAsyncT::PlaceNear(std::u16string_view sFolder) {
    return Succeeds([&](ctlAsyncT& control) {
        control.PlaceNear(sFolder);
        return true;
    });
}

bool CAsyncT::DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                           std::u16string_view sData) {
    return Succeeds(
        [&](ctlAsyncT& control) { return control.DownloadFile(sFileKey, sPath, AsyncType, sData); });
}

bool CAsyncT::CancelDownload(std::u16string_view sFileKey) {
    return Succeeds([&](ctlAsyncT& control) { return control.CancelDownload(sFileKey); });
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
