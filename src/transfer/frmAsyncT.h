#pragma once

#include "transfer/CAsyncT.h"
#include "transfer/ctlAsyncT.h"

#include <memory>

namespace tsasync {

// The thread's hidden form: carries the one transfer control and passes its events to the channel. Once
// loaded it stays for the life of the thread.
class frmAsyncT final : ITransferEvents {
  public:
    // The thread's form, loaded on first use.
    static frmAsyncT& Load();
    // Whether this thread has loaded its form.
    static bool IsLoaded();

    ctlAsyncT& asfTransfer() { return m_asfTransfer; }
    void SetChannel(std::shared_ptr<CAsyncT> channel) { m_objAsyncT = std::move(channel); }

  private:
    frmAsyncT() : m_asfTransfer(*this) {}
    static std::unique_ptr<frmAsyncT>& Instance();

    void FileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                          const platform::AsyncProperty& AsyncProp, std::u16string_view strData) override;
    void FileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                          const platform::AsyncProperty& AsyncProp, std::u16string_view strData) override;

    std::shared_ptr<CAsyncT> m_objAsyncT;
    ctlAsyncT m_asfTransfer;
};

}  // namespace tsasync
