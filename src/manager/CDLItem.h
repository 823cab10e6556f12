#pragma once

#include "manager/TSDLStateEnum.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace tsasync {

class CDLItem;
class frmProgress;

// Hears of the changes of a registered record that decide whether and when its job is due.
class IScheduleObserver {
  public:
    virtual void ScheduleChanged(const CDLItem& item) = 0;

  protected:
    ~IScheduleObserver() = default;
};

// The object through which hosts see a record.
class IHostObject {
  protected:
    ~IHostObject() = default;
};

// The record of one download job. Every value is stored as it is given; only SetSize does more.
class CDLItem {
  public:
    const std::u16string& Handle() const { return m_sHandle; }
    void SetHandle(std::u16string_view value) { m_sHandle = value; }
    const std::u16string& URL() const { return m_sURL; }
    void SetURL(std::u16string_view value) { m_sURL = value; }
    const std::u16string& TmpPath() const { return m_sTmpPath; }
    void SetTmpPath(std::u16string_view value) { m_sTmpPath = value; }
    const std::u16string& FinalPath() const { return m_sFinalPath; }
    void SetFinalPath(std::u16string_view value) { m_sFinalPath = value; }
    const std::u16string& Name() const { return m_sName; }
    void SetName(std::u16string_view value) { m_sName = value; }
    const std::u16string& MIMEType() const { return m_sMIMEType; }
    void SetMIMEType(std::u16string_view value) { m_sMIMEType = value; }

    TSDLStateEnum State() const { return m_State; }
    void SetState(TSDLStateEnum value);
    // A transfer is under way for the job: it is starting or downloading.
    bool IsRunning() const { return m_State == tsdStarting || m_State == tsdDownloading; }
    // When the job was registered or last stopped, or the earliest time at which it may start (automation
    // date, local time).
    double Start() const { return m_dtStart; }
    void SetStart(double value);

    std::int32_t Size() const { return m_lSize; }
    // Raises TotalSize to `value` where that is larger.
    void SetSize(std::int32_t value);
    std::int32_t TotalSize() const { return m_lTotalSize; }
    void SetTotalSize(std::int32_t value) { m_lTotalSize = value; }
    std::int16_t Attempts() const { return m_iAttempts; }
    void SetAttempts(std::int16_t value) { m_iAttempts = value; }
    std::int32_t RefCount() const { return m_lRefCount; }
    void SetRefCount(std::int32_t value) { m_lRefCount = value; }

    const std::shared_ptr<frmProgress>& ProgressForm() const { return m_oProgressForm; }
    void SetProgressForm(std::shared_ptr<frmProgress> value) { m_oProgressForm = std::move(value); }

    // So that hosts always see the same object. It sets itself when it is made and clears itself when it
    // ends; it owns the record, never the other way round.
    IHostObject* HostObject() const { return m_pHostObject; }
    void SetHostObject(IHostObject* value) { m_pHostObject = value; }

    // The registry that the record is in, null when it is in none, and the record's place there. Set by the
    // registry.
    void SetPlace(IScheduleObserver* registry, std::size_t place) {
        m_pRegistry = registry;
        m_place = place;
    }
    std::size_t Place() const { return m_place; }

  private:
    std::u16string m_sHandle;
    std::u16string m_sURL;
    std::u16string m_sTmpPath;
    std::u16string m_sFinalPath;
    std::u16string m_sName;
    std::u16string m_sMIMEType;
    double m_dtStart = 0;
    std::shared_ptr<frmProgress> m_oProgressForm;
    IHostObject* m_pHostObject = nullptr;
    IScheduleObserver* m_pRegistry = nullptr;
    std::size_t m_place = 0;
    TSDLStateEnum m_State = tsdStopped;
    std::int32_t m_lSize = 0;
    std::int32_t m_lTotalSize = 0;
    std::int32_t m_lRefCount = 0;
    std::int16_t m_iAttempts = 0;
};

}  // namespace tsasync
