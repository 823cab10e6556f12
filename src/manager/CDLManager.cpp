// Lifecycle and registration.
#include "manager/CDLManager.h"

#include "base/AutomationError.h"
#include "base/Text.h"
#include "files/modFileOps.h"
#include "manager/modSingleton.h"
#include "naming/UrlNameParser.h"
#include "platform/app_log.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/settings_store.h"
#include "settings/CRegSettings.h"
#include "settings/MShFolder.h"
#include "ui/modRes.h"

#include <utility>

namespace tsasync {

namespace {

constexpr std::int32_t kDocumentsFolder = 5;
constexpr std::int32_t kOwnModule = -1;

std::u16string ReadAssetsPath() {
    CRegSettings settings;
    settings.SetCompany(u"Corvane");
    settings.SetAppName(u"Quillmark");
    const std::u16string fallback =
        MShFolder::GetSpecialFolder(kDocumentsFolder) + platform::kPathSeparator + u"Quillmark Assets";
    std::u16string path = settings.GetSetting(u"Assets", u"Location", fallback, platform::kCurrentUserRoot);
    return path.empty() ? fallback : path;
}

}  // namespace

std::shared_ptr<CDLManager> CDLManager::Create(IManagerEvents& events) {
    std::shared_ptr<CDLManager> manager(new CDLManager(events));
    manager->Initialize();
    return manager;
}

void CDLManager::Initialize() {
    auto& thread = modSingleton::State();
    if (!thread.g_colJobs) {
        modRes::SetResModule(kOwnModule);
        auto jobs = std::make_unique<JobRegistry>();
        thread.g_oCAT = CAsyncT::Create();
        thread.g_colJobs = std::move(jobs);
    }
    ++thread.g_lManagerCount;
    m_oCAT = thread.g_oCAT;
    m_oCAT->Connect(std::shared_ptr<ITransferEvents>(shared_from_this(), this));
    m_sAssetsPath = ReadAssetsPath();
    thread.g_iMaxActive = modSingleton::kMaxActive;
}

CDLManager::~CDLManager() { Terminate(); }

void CDLManager::Terminate() noexcept {
    m_pEvents = nullptr;
    if (!m_oCAT || modSingleton::HasEnded()) return;
    m_oCAT->Disconnect(*this);
    auto& thread = modSingleton::State();
    if (--thread.g_lManagerCount == 0) {
        // Closing a window may run the host's code: a manager that it creates begins anew.
        const auto jobs = std::move(thread.g_colJobs);
        thread.g_oCAT.reset();
        while (const auto oI = jobs->First()) {
            Step(OnError::GoOn, [&] { m_oCAT->CancelDownload(JobKey(oI->Handle())); });
            jobs->RemoveFirst();
            Step(OnError::GoOn, [&] { CloseDialog(*oI); });
        }
    }
    SetFrmP(nullptr);
    m_oCAT.reset();
}

std::u16string CDLManager::AddURL(std::u16string_view URL, std::u16string_view Name, bool Force) {
    const auto self = shared_from_this();
    return WithErrorSource(u"CDLManager.AddURL", [&] {
        std::u16string handle = GetHDL(URL);
        const std::u16string key = JobKey(handle);
        auto oI = modSingleton::Jobs().Find(key);
        bool schedule = true;
        if (!oI) {
            oI = NewJob(URL, Name, handle);
            modSingleton::Jobs().Add(key, oI);
        } else {
            schedule = AddReference(oI);
        }
        if (schedule && Force) {
            DownloadBehindDialog(*oI, key, URL);
            if (oI->State() == tsdStopped) handle.clear();
        } else if (schedule) {
            Schedule(*oI, key, URL);
        }
        RaiseStateChanged(oI);
        return handle;
    });
}

std::shared_ptr<CDLItem> CDLManager::NewJob(std::u16string_view URL, std::u16string_view Name,
                                            std::u16string_view handle) {
    auto oI = std::make_shared<CDLItem>();
    if (Name.empty()) {
        const double seconds = RoundHalfEven(double{platform::SecondsSinceMidnight()});
        oI->SetName(u"Asset" + Hex(static_cast<std::uint32_t>(seconds)));
    } else {
        oI->SetName(Name);
    }
    oI->SetHandle(handle);
    oI->SetURL(URL);
    oI->SetStart(platform::Now());
    oI->SetRefCount(1);
    return oI;
}

// Whether the job is to be scheduled again.
bool CDLManager::AddReference(const std::shared_ptr<CDLItem>& oI) {
    oI->SetRefCount(static_cast<std::int32_t>(std::int64_t{oI->RefCount()} + 1));
    RaiseStateChanged(oI);
    if (oI->IsRunning() || oI->State() == tsdFinished) return false;
    if (oI->State() == tsdBroken) oI->SetAttempts(0);
    return true;
}

// Whatever the limit, starts the transfer and waits until the job's dialog is closed; without a window, until
// the job runs no longer. A dialog that the job has already would be left with nobody to close it: its wait
// ends as soon as this one has.
void CDLManager::DownloadBehindDialog(CDLItem& oI, std::u16string_view key, std::u16string_view URL) {
    UrlNameParser parser;
    parser.SetUrl(URL);
    CloseDialog(oI);
    const auto outer = frmP;
    const auto dialog = std::make_shared<frmProgress>();
    oI.SetProgressForm(dialog);
    // Without its dialog, also when that fails, the job is one like any other. The dialog around this one is
    // in front again; if it is closed by now, it raises nothing.
    const auto leave = [&] {
        if (oI.ProgressForm() == dialog) oI.SetProgressForm(nullptr);
        SetFrmP(m_oCAT ? outer : nullptr);
    };
    try {
        dialog->SetDestination(modFileOps::AddBackslash(m_sAssetsPath) + parser.FileName());
        dialog->SetAssetURL(oI.URL());
        dialog->SetHDL(oI.Handle());
        dialog->BeginDownload(false);
        StartTransfer(oI, key, URL);
        if (oI.IsRunning()) {
            SetFrmP(dialog);
            const platform::ForcedWait wait;
            dialog->ShowModal([&oI] { return oI.IsRunning(); });
        } else {
            dialog->Unload();
        }
    } catch (...) {
        leave();
        throw;
    }
    leave();
}

void CDLManager::RemoveURL(std::u16string_view HDL) {
    const auto self = shared_from_this();
    WithErrorSource(u"CDLManager.RemoveURL", [&] {
        const std::u16string key = JobKey(HDL);
        const auto oI = modSingleton::Jobs().Item(key);
        if (oI->RefCount() > 1) {
            oI->SetRefCount(oI->RefCount() - 1);
            RaiseStateChanged(oI);
            return;
        }
        if (oI->IsRunning()) {
            CancelTransfer(key);
            oI->SetState(tsdStopped);
            CloseDialog(*oI);
        }
        modSingleton::Jobs().Remove(key);
        ElectAndReport();
    });
}

std::u16string CDLManager::GetHDL(std::u16string_view sURL) const { return m_oHandleGen.HandleOf(sURL); }

std::u16string CDLManager::HDLbyURL(std::u16string_view sURL) const noexcept {
    try {
        if (sURL.empty()) return {};
        std::u16string handle = GetHDL(sURL);
        if (modSingleton::Jobs().Find(JobKey(handle))) return handle;
    } catch (...) {
        // A look-up that can't be made finds nothing.
    }
    return {};
}

std::int16_t CDLManager::Jobs() const { return static_cast<std::int16_t>(modSingleton::Jobs().Count()); }

void CDLManager::SetLangID(std::int32_t value) { modRes::SetLangID(value); }

void CDLManager::StartLog(std::u16string_view LogTarget, std::int32_t LogModes) {
    const std::int32_t error = platform::StartLog(LogTarget, LogModes);
    if (error != 0) Raise(error);
}

std::u16string CDLManager::JobKey(std::u16string_view HDL) {
    std::u16string key;
    key.reserve(HDL.size() + 2);
    return key.append(1, u'[').append(HDL).append(1, u']');
}

// Only one dialog at a time is heard: the newest that is open.
void CDLManager::SetFrmP(std::shared_ptr<frmProgress> dialog) {
    if (frmP) frmP->SetEvents(nullptr);
    frmP = std::move(dialog);
    if (frmP) frmP->SetEvents(this);
}

// Closes the dialog of a job that has one, which ends the wait of the AddURL that opened it.
void CDLManager::CloseDialog(const CDLItem& oI) {
    if (const auto& dialog = oI.ProgressForm()) {
        if (frmP == dialog) SetFrmP(nullptr);
        dialog->Unload();
    }
}

void CDLManager::RaiseStateChanged(const std::shared_ptr<CDLItem>& oI) {
    if (m_pEvents != nullptr) m_pEvents->StateChanged(oI);
}

}  // namespace tsasync
