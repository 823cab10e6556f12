#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace tsasync {

class IProgressEvents {
  public:
    // The user stopped the download: with the Cancel button or by closing the dialog.
    virtual void Cancel(std::u16string_view HDL) = 0;

  protected:
    ~IProgressEvents() = default;
};

// The progress dialog of a forced download: its fields, its arithmetic and its wording. A window shows it.
class frmProgress {
  public:
    // Reads the texts. Creating the window is left to the first operation that touches a control.
    frmProgress();
    ~frmProgress();
    frmProgress(const frmProgress&) = delete;
    frmProgress& operator=(const frmProgress&) = delete;

    // Who hears Cancel; none when null. Not owned.
    void SetEvents(IProgressEvents* events);

    void SetDestination(std::u16string_view sPath);
    void SetAssetURL(std::u16string_view sURL);
    void SetHDL(std::u16string_view HDL);
    void BeginDownload(bool bStock);

    // `Status` is the text that goes with the code; a number is given in plain decimal.
    void SetAsyncStatus(std::int32_t Code, std::u16string_view Status);
    void SetSizeSoFar(std::int32_t ssf);
    void SetTotalSize(std::int32_t ts);
    void Refresh();

    // Shows the dialog and returns when it is unloaded; events go on being delivered meanwhile. Where no more
    // than the wait is left of the dialog, which nobody can close, it ends when `isRunning` no longer holds,
    // too.
    void ShowModal(const std::function<bool()>& isRunning);
    // Closes the dialog, which ends ShowModal. Raises Cancel only after the Cancel button was pressed.
    void Unload();

  private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace tsasync
