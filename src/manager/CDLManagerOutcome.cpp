// What becomes of a transfer: progress, completion, failure, and Cancel in the dialog.
#include "base/AutomationError.h"
#include "base/Text.h"
#include "base/modErrHand.h"
#include "files/modFileOps.h"
#include "manager/CDLManager.h"
#include "manager/modSingleton.h"
#include "naming/MimeExtensionMap.h"
#include "naming/UrlNameParser.h"
#include "platform/clock.h"
#include "platform/file_system.h"

#include <string>
#include <variant>

namespace tsasync {

namespace {

constexpr std::int16_t kAttemptLimit = 10;
constexpr double kRetryDelay = 3.0 / (24 * 60);  // 3 minutes in days
constexpr std::u16string_view kDefaultExtension = u".dat";
constexpr std::int32_t kMoveFlags = platform::kFlagSilent | platform::kFlagRenameOnCollision;

using ReadValue = decltype(platform::AsyncProperty::Value);

// The failure that a notification's value stands for. A value that holds no error number is a failure like
// any other: the job is tried again.
AutomationError FailureOf(const ReadValue& value) {
    AutomationError error;
    if (const auto* number = std::get_if<std::int32_t>(&value)) error.number = *number;
    if (const auto* failure = std::get_if<platform::ReadFailure>(&value)) {
        error.number = failure->number;
        error.description = failure->description;
    }
    if (error.number == 0) error.number = kErrTypeMismatch;
    return error;
}

std::u16string TextOf(const ReadValue& value) {
    if (const auto* text = std::get_if<std::u16string>(&value)) return *text;
    if (std::holds_alternative<std::monostate>(value)) return {};
    return Decimal(FailureOf(value).number);
}

// The name of the finished file: that of the URL, with the extension of what was really sent.
std::u16string FileNameOf(const CDLItem& oI) {
    std::u16string extension;
    if (!oI.MIMEType().empty()) {
        extension = MimeExtensionMap().ExtensionOf(oI.MIMEType());
        if (extension.empty()) extension = kDefaultExtension;
    }
    UrlNameParser parser;
    parser.SetUrl(oI.URL());
    const std::u16string& name = parser.FileName();
    if (name.empty()) {
        const double seconds = RoundHalfEven(double{platform::SecondsSinceMidnight()});
        return u"QMA" + Hex(static_cast<std::uint32_t>(seconds)) + extension;
    }
    return name.substr(0, name.rfind(u'.')) + extension;
}

}  // namespace

void CDLManager::FileReadProgress(std::u16string_view sFileKey, std::int32_t /*lngFileType*/,
                                  const platform::AsyncProperty& AsyncProp, std::u16string_view /*strData*/) {
    if (m_bInProgress.IsRunning()) return;
    const platform::HandlerState::Run inProgress(m_bInProgress);
    std::shared_ptr<CDLItem> oI;
    try {
        oI = modSingleton::Jobs().Item(sFileKey);
        ApplyProgress(oI, sFileKey, AsyncProp);
    } catch (...) {
        if (CurrentError().number == kErrInvalidProcedureCall) {
            modErrHand::RaiseError(kErrUnknownProgressKey, u"CDLManager.FileReadProgress");
        }
        if (!oI) return;
        RetryOrGiveUp(*oI, sFileKey, OnError::GoOn);
        Step(OnError::GoOn, [&] { RaiseStateChanged(oI); });
    }
}

void CDLManager::ApplyProgress(const std::shared_ptr<CDLItem>& oI, std::u16string_view sFileKey,
                               const platform::AsyncProperty& AsyncProp) {
    oI->SetSize(AsyncProp.BytesRead);
    oI->SetTotalSize(AsyncProp.BytesMax);
    const auto oForm = oI->ProgressForm();
    switch (AsyncProp.StatusCode) {
        case platform::kStatusError:
            if (m_oCAT->CancelDownload(sFileKey)) {
                oI->SetState(tsdStopped);
                CountActive(-1);
            }
            if (oForm) oForm->SetAsyncStatus(platform::kStatusError, TextOf(AsyncProp.Value));
            throw FailureOf(AsyncProp.Value);
        case platform::kStatusBeginDownload:
        case platform::kStatusDownloading:
            oI->SetState(tsdDownloading);
            break;
        case platform::kStatusMimeTypeAvailable:
            oI->SetMIMEType(AsyncProp.Status);
            break;
        default:
            break;
    }
    if (oForm) {
        oForm->SetAsyncStatus(AsyncProp.StatusCode, AsyncProp.Status);
        UpdateDialog(*oI, OnError::Raise);
    }
    RaiseStateChanged(oI);
    ElectAndReport();
}

void CDLManager::FileReadComplete(std::u16string_view sFileKey, std::int32_t /*lngFileType*/,
                                  const platform::AsyncProperty& AsyncProp, std::u16string_view /*strData*/) {
    if (m_bInComplete.IsRunning()) return;
    const platform::HandlerState::Run inComplete(m_bInComplete);
    CountActive(-1);
    std::shared_ptr<CDLItem> oI;
    try {
        oI = modSingleton::Jobs().Item(sFileKey);
        Finish(*oI, AsyncProp);
        RaiseStateChanged(oI);
        ElectAndReport();
    } catch (...) {
        const AutomationError error = CurrentError();
        if (error.number == kErrInvalidProcedureCall) {
            Raise(kErrUnknownHandle, u"CDLManager.FileReadComplete");
        }
        if (!oI) throw;
        switch (error.number) {
            case kErrMoveFailed:
            case kErrMoveAborted:
            case kErrMoveCancelled:
                oI->SetState(tsdBroken);
                break;
            default:
                RetryOrGiveUp(*oI, sFileKey, OnError::Raise);
        }
        RaiseStateChanged(oI);
    }
}

void CDLManager::Finish(CDLItem& oI, const platform::AsyncProperty& AsyncProp) {
    const auto* tmp = std::get_if<std::u16string>(&AsyncProp.Value);
    if (tmp == nullptr) throw FailureOf(AsyncProp.Value);
    oI.SetSize(AsyncProp.BytesRead);
    oI.SetTotalSize(AsyncProp.BytesMax);
    oI.SetTmpPath(*tmp);
    oI.SetURL(AsyncProp.Target);
    PlaceFile(oI);
    oI.SetState(tsdFinished);
    CloseDialog(oI);
    oI.SetProgressForm(nullptr);
}

void CDLManager::PlaceFile(CDLItem& oI) {
    const std::u16string destination = modFileOps::AddBackslash(m_sAssetsPath) + FileNameOf(oI);
    std::int32_t flags = kMoveFlags;
    if (!modFileOps::FolderExists(m_sAssetsPath)) {
        modFileOps::CreateFolderTree(m_sAssetsPath);
        flags |= platform::kFlagNoConfirmMkDir;
    }
    oI.SetFinalPath(modFileOps::FileOperation(oI.TmpPath(), destination, platform::kOpMove, flags, 0));
}

// The end of a transfer that failed.
void CDLManager::RetryOrGiveUp(CDLItem& oI, std::u16string_view sFileKey, OnError onError) {
    if (oI.Attempts() >= kAttemptLimit) {
        oI.SetState(tsdBroken);
        Step(onError, [&] { CloseDialog(oI); });
        oI.SetProgressForm(nullptr);
    } else if (!oI.ProgressForm()) {
        oI.SetStart(platform::Now() + kRetryDelay);
        oI.SetState(tsdPending);
    } else {
        // Its user is waiting for it.
        StartTransfer(oI, sFileKey, oI.URL());
        UpdateDialog(oI, onError);
    }
}

void CDLManager::UpdateDialog(const CDLItem& oI, OnError onError) {
    const auto oForm = oI.ProgressForm();
    if (!oForm) return;
    Step(onError, [&] { oForm->SetSizeSoFar(oI.Size()); });
    Step(onError, [&] { oForm->SetTotalSize(oI.TotalSize()); });
    Step(onError, [&] { oForm->SetAssetURL(oI.URL()); });
    Step(onError, [&] { oForm->Refresh(); });
}

void CDLManager::Cancel(std::u16string_view HDL) {
    static constexpr std::u16string_view kSource = u"CDLManager.frmP.Cancel";
    const auto self = shared_from_this();
    std::shared_ptr<CDLItem> oI;
    const auto stop = [&] {
        oI->SetStart(platform::Now());
        oI->SetState(tsdStopped);
    };
    try {
        const std::u16string key = JobKey(HDL);
        oI = modSingleton::Jobs().Item(key);
        if (oI->IsRunning()) {
            CancelTransfer(key);
            stop();
        }
        RaiseStateChanged(oI);
    } catch (...) {
        const AutomationError error = CurrentError();
        if (oI) {
            stop();
            RaiseStateChanged(oI);
        }
        if (error.number == kErrInvalidProcedureCall) {
            modErrHand::RaiseError(kErrUnknownHandle, std::u16string(kSource));
        }
        throw error.From(std::u16string(kSource));
    }
}

}  // namespace tsasync
