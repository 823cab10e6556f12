#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "companion/UrlHandleGenerator.h"
#include "manager/CDLItem.h"
#include "manager/TSDLStateEnum.h"
#include "settings/CRegSettings.h"
#include "transfer/CAsyncT.h"
#include "ui/frmProgress.h"

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
// An operation that fails throws AutomationError whose source is "CDLManager." and the operation's name; what it
// changed before the error stays changed.
class CDLManager final : public std::enable_shared_from_this<CDLManager>, ITransferEvents, IProgressEvents {
  public:
    // Sets up the thread's state where this is its first manager. `events` is not owned; it is not called any
    // more after Terminate.
    static std::shared_ptr<CDLManager> Create(IManagerEvents& events);
    // Releases the thread's state and, where this is the thread's last manager, cancels and removes every job. To
    // be called once, when the last reference of the host is dropped, also from inside an event.
    void Terminate() noexcept;
    ~CDLManager();

    // Registers `URL` and returns its handle; empty when a forced download ended stopped. An empty `Name` gives
    // the record a name of its own. With `Force` the download runs at once, behind a modal dialog.
    std::u16string AddURL(std::u16string_view URL, std::u16string_view Name = {}, bool Force = false);
    // Requests a state for a job. `StartTime` (automation date) defaults to now. Throws 0x800407D1 for an
    // unknown handle.
    void ChangeState(std::u16string_view HDL, TSDLStateEnum State, std::optional<double> StartTime = {},
                     bool Force = false);
    // Starts the first due pending job, whatever the limit, and returns its handle; empty when none was started.
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
    const std::u16string& AssetsPath() const { return m_sAssetsPath; }
    void SetAssetsPath(std::u16string_view value) { m_sAssetsPath = value; }
    std::int16_t ActiveJobs() const { return m_iActiveJobs; }
    void SetActiveJobs(std::int16_t value) { m_iActiveJobs = value; }
    void SetLangID(std::int32_t value);  // 0 or below: the user's default language

    // Starts the host process's application log (platform/app_log.h). Throws for an unusable target.
    void StartLog(std::u16string_view LogTarget, std::int32_t LogModes);

  private:
    explicit CDLManager(IManagerEvents& events) : m_pEvents(&events) {}
};

}  // namespace tsasync
