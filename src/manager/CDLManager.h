#pragma once

#include "base/AutomationError.h"
#include "manager/CDLItem.h"
#include "manager/TSDLStateEnum.h"
#include "naming/UrlHandleGenerator.h"
#include "platform/reader/forced_wait.h"
#include "transfer/CAsyncT.h"
#include "ui/frmProgress.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tsasync {

class IManagerEvents {
  public:
    // A job was added, referenced again, started, made progress or changed its state. May throw
    // AutomationError, which the raising operation meets as an error of its own.
    virtual void StateChanged(const std::shared_ptr<CDLItem>& oI) = 0;

  protected:
    ~IManagerEvents() = default;
};

// The download manager. Every manager of a thread shares that thread's job registry and transfer channel.
//
// An operation that fails throws AutomationError whose source is "CDLManager." and the operation's name; what
// it changed before the error stays changed.
//
// StateChanged is raised in the middle of operations and handlers, after the records are up to date. The host
// may do anything there, also drop its last reference: a manager that is terminated in the middle of an
// operation lives on until that operation returns, starts no transfer and raises no event any more.
class CDLManager final : public std::enable_shared_from_this<CDLManager>, ITransferEvents, IProgressEvents {
  public:
    // Sets up the thread's state where this is its first manager. `events` is not owned; it is not called any
    // more after Terminate.
    static std::shared_ptr<CDLManager> Create(IManagerEvents& events);
    // Releases the thread's state and, where this is the thread's last manager, cancels and removes every
    // job. To be called once, when the last reference of the host is dropped, also from inside an event.
    void Terminate() noexcept;
    ~CDLManager();

    // Registers `URL` and returns its handle; empty when a forced download ended stopped. An empty `Name`
    // gives the record a name of its own. With `Force` the download runs at once, behind a modal dialog.
    std::u16string AddURL(std::u16string_view URL, std::u16string_view Name = {}, bool Force = false);
    // Requests a state for a job. `StartTime` (automation date) defaults to now. Throws 0x800407D1 for an
    // unknown handle.
    void ChangeState(std::u16string_view HDL, TSDLStateEnum State, std::optional<double> StartTime = {},
                     bool Force = false);
    // Starts the first due pending job, whatever the limit, and returns its handle; empty when none was
    // started.
    std::u16string Elect();
    // Releases one registration; the last one cancels and removes the job. Throws 5 for an unknown handle.
    void RemoveURL(std::u16string_view HDL);

    // The handle of `sURL`, registered or not.
    std::u16string GetHDL(std::u16string_view sURL) const;
    // The handle of `sURL` when it is registered, else empty.
    std::u16string HDLbyURL(std::u16string_view sURL) const noexcept;

    std::int16_t Jobs() const;  // number of registered jobs, its low 16 bits
    bool AutoStart() const { return m_bAutoStart; }
    void SetAutoStart(bool value) { m_bAutoStart = value; }
    // Where finished files go. Stored as given; a finished transfer trims it and cuts one trailing separator.
    const std::u16string& AssetsPath() const { return m_sAssetsPath; }
    void SetAssetsPath(std::u16string_view value) { m_sAssetsPath = value; }
    // The transfers that this manager counts as running: one more at each start, one less when a start is
    // refused, when a running transfer is cancelled and when one ends. That is all; a job that becomes broken
    // changes nothing more. Wraps at 16 bits.
    std::int16_t ActiveJobs() const { return m_iActiveJobs; }
    void SetActiveJobs(std::int16_t value) { m_iActiveJobs = value; }
    void SetLangID(std::int32_t value);  // 0 or below: the user's default language

    // Starts the host process's application log (platform/app_log.h). Throws for an unusable target.
    void StartLog(std::u16string_view LogTarget, std::int32_t LogModes);

  private:
    explicit CDLManager(IManagerEvents& events) : m_pEvents(&events) {}

    enum class OnError { Raise, GoOn };
    // One step of several; with GoOn the next one follows whatever happens in it.
    template <typename Operation>
    static void Step(OnError onError, const Operation& operation) {
        try {
            operation();
        } catch (...) {
            if (onError == OnError::Raise) throw;
        }
    }

    // Lifecycle and registration (CDLManager.cpp)
    void Initialize();
    static std::u16string JobKey(std::u16string_view HDL);
    static std::shared_ptr<CDLItem> NewJob(std::u16string_view URL, std::u16string_view Name,
                                           std::u16string_view handle);
    bool AddReference(const std::shared_ptr<CDLItem>& oI);
    void DownloadBehindDialog(CDLItem& oI, std::u16string_view key, std::u16string_view URL);
    void SetFrmP(std::shared_ptr<frmProgress> dialog);
    void CloseDialog(const CDLItem& oI);
    void RaiseStateChanged(const std::shared_ptr<CDLItem>& oI);

    // Scheduling (CDLManagerSchedule.cpp)
    bool IsBelowLimit() const;
    void Schedule(CDLItem& oI, std::u16string_view key, std::u16string_view URL);
    void RequestStart(CDLItem& oI, std::u16string_view key, double start, bool force);
    bool StartTransfer(CDLItem& oI, std::u16string_view key, std::u16string_view URL);
    void CancelTransfer(std::u16string_view key);
    void CountActive(int change);
    void ElectAndReport();

    // Transfer outcome (CDLManagerOutcome.cpp)
    void FileReadProgress(std::u16string_view sFileKey, std::int32_t lngFileType,
                          const platform::AsyncProperty& AsyncProp, std::u16string_view strData) override;
    void FileReadComplete(std::u16string_view sFileKey, std::int32_t lngFileType,
                          const platform::AsyncProperty& AsyncProp, std::u16string_view strData) override;
    void Cancel(std::u16string_view HDL) override;  // of the dialog in frmP
    void ApplyProgress(const std::shared_ptr<CDLItem>& oI, std::u16string_view sFileKey,
                       const platform::AsyncProperty& AsyncProp);
    void Finish(CDLItem& oI, const platform::AsyncProperty& AsyncProp);
    void PlaceFile(CDLItem& oI);
    void RetryOrGiveUp(CDLItem& oI, std::u16string_view sFileKey, OnError onError);
    void UpdateDialog(const CDLItem& oI, OnError onError);

    IManagerEvents* m_pEvents;  // null once terminated
    bool m_bAutoStart = false;
    platform::HandlerState m_bInProgress;  // of this manager's handler of progress
    platform::HandlerState m_bInComplete;  // of its handler of completions
    std::int16_t m_iActiveJobs = 0;
    std::u16string m_sAssetsPath;
    UrlHandleGenerator m_oHandleGen;
    std::shared_ptr<CAsyncT> m_oCAT;    // null once terminated
    std::shared_ptr<frmProgress> frmP;  // the dialog whose Cancel this manager hears
};

}  // namespace tsasync
