// Which transfer runs when.
#include "base/AutomationError.h"
#include "base/modErrHand.h"
#include "manager/CDLManager.h"
#include "manager/modSingleton.h"
#include "platform/clock.h"

namespace tsasync {

namespace {

constexpr std::u16string_view kChangeStateSource = u"CDLManager.ChangeState";

std::int16_t Wrapped(int value) { return static_cast<std::int16_t>(value); }

}  // namespace

void CDLManager::ChangeState(std::u16string_view HDL, TSDLStateEnum State, std::optional<double> StartTime,
                             bool Force) {
    const auto self = shared_from_this();
    WithErrorSource(kChangeStateSource, [&] {
        if (State == tsdDownloading) State = tsdStarting;
        const std::u16string key = JobKey(HDL);
        const auto oI = modSingleton::Jobs().Find(key);
        if (!oI) modErrHand::RaiseError(kErrUnknownHandle, std::u16string(kChangeStateSource));
        const double start = StartTime.value_or(platform::Now());
        if (oI->State() != State) {
            if (State == tsdStarting) {
                RequestStart(*oI, key, start, Force);
            } else {
                if (oI->IsRunning()) CancelTransfer(key);
                oI->SetStart(start);
                oI->SetState(State);
            }
        }
        RaiseStateChanged(oI);
        ElectAndReport();
    });
}

void CDLManager::RequestStart(CDLItem& oI, std::u16string_view key, double start, bool force) {
    if (oI.IsRunning()) return;
    if (oI.State() == tsdFinished || oI.State() == tsdBroken) oI.SetAttempts(0);
    if (force || IsBelowLimit()) {
        StartTransfer(oI, key, oI.URL());
    } else {
        oI.SetStart(start);
        oI.SetState(tsdPending);
    }
}

std::u16string CDLManager::Elect() {
    const auto self = shared_from_this();
    return WithErrorSource(u"CDLManager.Elect", [&]() -> std::u16string {
        if (!m_oCAT) return {};
        const auto oI = modSingleton::Jobs().FirstDue(platform::Now());
        if (!oI) return {};
        if (StartTransfer(*oI, JobKey(oI->Handle()), oI->URL())) return oI->Handle();
        RaiseStateChanged(oI);
        return {};
    });
}

void CDLManager::ElectAndReport() {
    const std::u16string handle = Elect();
    if (!handle.empty()) RaiseStateChanged(modSingleton::Jobs().Item(JobKey(handle)));
}

// What AddURL without Force does with a job that does not run.
void CDLManager::Schedule(CDLItem& oI, std::u16string_view key, std::u16string_view URL) {
    if (!m_bAutoStart) {
        oI.SetState(tsdStopped);
    } else if (IsBelowLimit()) {
        StartTransfer(oI, key, URL);
    } else {
        oI.SetState(tsdPending);
    }
}

bool CDLManager::IsBelowLimit() const { return m_iActiveJobs < modSingleton::State().g_iMaxActive; }

// A start that the channel refuses leaves the job pending and everything else as it was.
bool CDLManager::StartTransfer(CDLItem& oI, std::u16string_view key, std::u16string_view URL) {
    oI.SetAttempts(Wrapped(oI.Attempts() + 1));
    oI.SetState(tsdStarting);
    CountActive(+1);
    if (m_oCAT && m_oCAT->PlaceNear(m_sAssetsPath) &&
        m_oCAT->DownloadFile(key, URL, platform::kReadIntoFile, {})) {
        return true;
    }
    oI.SetAttempts(Wrapped(oI.Attempts() - 1));
    oI.SetState(tsdPending);
    CountActive(-1);
    return false;
}

void CDLManager::CancelTransfer(std::u16string_view key) {
    if (m_oCAT) m_oCAT->CancelDownload(key);
    CountActive(-1);
}

void CDLManager::CountActive(int change) { m_iActiveJobs = Wrapped(m_iActiveJobs + change); }

}  // namespace tsasync
