#pragma once

#include "transfer/ctlAsyncT.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace tsasync {

// The transfer channel: the one road from a thread's managers to its transfer control and back. It lives on
// the thread's hidden form, which keeps the latest channel alive.
class CAsyncT : public std::enable_shared_from_this<CAsyncT> {
  public:
    // Loads the thread's hidden form where it is not loaded yet, and makes the new channel the form's. Its
    // notifications come from the message loop that is the thread's at this moment.
    static std::shared_ptr<CAsyncT> Create();

    // These are False on any error; none is raised.

    // Where the files of later transfers will finally be wanted.
    bool PlaceNear(std::u16string_view sFolder);
    bool DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                      std::u16string_view sData);
    bool CancelDownload(std::u16string_view sFileKey);

    // Every receiver hears every notification, in the order of connection. The list may change meanwhile: a
    // receiver disconnected by an earlier one is passed over, a new one hears the next notification.
    void Connect(std::weak_ptr<ITransferEvents> receiver);
    void Disconnect(const ITransferEvents& receiver);

    // Raise the channel's events. An error of a receiver is raised again when all of them have been called.
    void RaiseFileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                               const platform::AsyncProperty& AsyncProp, std::u16string_view strData);
    void RaiseFileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                               const platform::AsyncProperty& AsyncProp, std::u16string_view strData);

  private:
    struct Receiver {
        const ITransferEvents* identity;  // null once disconnected
        std::weak_ptr<ITransferEvents> events;
    };

    template <typename Call>
    void RaiseToAll(const Call& call);

    std::vector<Receiver> m_receivers;
    int m_raising = 0;  // depth of RaiseToAll, while which entries keep their places
};

}  // namespace tsasync
