#pragma once

#include "base/KeyedCollection.h"
#include "platform/url_reader.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tsasync {

// What comes back from a transfer, at the control, at the channel and at the managers alike.
class ITransferEvents {
  public:
    // The read of `sFileKey` has ended, well or badly.
    virtual void FileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                                  const platform::AsyncProperty& AsyncProp, std::u16string_view strData) = 0;
    // Progress or a change of status.
    virtual void FileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                                  const platform::AsyncProperty& AsyncProp, std::u16string_view strData) = 0;

  protected:
    ~ITransferEvents() = default;
};

// The transfer control: starts and stops reads of the platform's asynchronous reader under the caller's keys
// and passes its notifications on. It looks at nothing in them but the key.
class ctlAsyncT final : platform::IReadEvents {
  public:
    // `events` is not owned and must outlive the control.
    explicit ctlAsyncT(ITransferEvents& events);

    // The thread's message loop of this moment delivers from now on.
    void ListenHere() { m_oReader.ListenHere(); }
    // Where the files of later reads will finally be wanted.
    void PlaceNear(std::u16string_view sFolder) { m_oReader.PlaceNear(sFolder); }

    // Starts one read of `sPath`. Surrounding spaces of the key do not count; False when nothing else is left
    // of it. Throws 457 while the key is in use, and what the reader raises when it refuses the start; the
    // key then stays in use until it is cancelled. For want of memory or of a thread it throws, too, and the
    // key is free.
    bool DownloadFile(std::u16string_view sFileKey, std::u16string_view sPath, std::int32_t AsyncType,
                      std::u16string_view sData = {});
    // Stops the read and forgets its key, also that of a refused start. False when the key is unknown, or
    // when the reader can't stop the read; the key then stays in use.
    bool CancelDownload(std::u16string_view sFileKey);

  private:
    void AsyncReadProgress(const platform::AsyncProperty& AsyncProp) override;
    void AsyncReadComplete(const platform::AsyncProperty& AsyncProp) override;

    ITransferEvents& m_oEvents;
    struct File {
        std::int32_t type;
        std::u16string data;  // the caller's
    };
    KeyedCollection<File> m_colFileKeys;
    platform::UrlReader m_oReader;  // last: it ends before the table that its notifications need
};

}  // namespace tsasync
