#include "com/ManagerObject.h"

#include "com/ComText.h"
#include "com/Enumerator.h"
#include "com/ErrorBoundary.h"
#include "com/ItemObject.h"
#include "platform/app_log.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tsasync::com {

namespace {

constexpr IID kIdentifiers[] = {IID__CDLManager, IID_CDLManager___v0, IID_CDLManager___v1};

VARIANT_BOOL ToVariantBool(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

}  // namespace

const MemberTable& ManagerMembers() {
    static const MemberTable members{
        Method<&_CDLManager::AddURL>(u"AddURL", DISPID_CDLManager_AddURL,
                                     {{u"URL", VT_BSTR}, {u"Name", VT_BSTR, true}, {u"Force", VT_BOOL, true}},
                                     VT_BSTR),
        Get<&_CDLManager::get_AutoStart>(u"AutoStart", DISPID_CDLManager_AutoStart, VT_BOOL),
        Put<&_CDLManager::put_AutoStart>(u"AutoStart", DISPID_CDLManager_AutoStart, VT_BOOL),
        Get<&_CDLManager::get_AssetsPath>(u"AssetsPath", DISPID_CDLManager_AssetsPath, VT_BSTR),
        Put<&_CDLManager::put_AssetsPath>(u"AssetsPath", DISPID_CDLManager_AssetsPath, VT_BSTR),
        Get<&_CDLManager::get_ActiveJobs>(u"ActiveJobs", DISPID_CDLManager_ActiveJobs, VT_I2),
        Put<&_CDLManager::put_ActiveJobs>(u"ActiveJobs", DISPID_CDLManager_ActiveJobs, VT_I2),
        Method<&_CDLManager::ChangeState>(
            u"ChangeState", DISPID_CDLManager_ChangeState,
            {{u"HDL", VT_BSTR}, {u"State", VT_I4}, {u"StartTime", VT_DATE, true}, {u"Force", VT_BOOL, true}}),
        Method<&_CDLManager::Elect>(u"Elect", DISPID_CDLManager_Elect, {}, VT_BSTR),
        Method<&_CDLManager::RemoveURL>(u"RemoveURL", DISPID_CDLManager_RemoveURL, {{u"HDL", VT_BSTR}}),
        Get<&_CDLManager::get_Jobs>(u"Jobs", DISPID_CDLManager_Jobs, VT_I2),
        Method<&_CDLManager::StartLog>(u"StartLog", DISPID_CDLManager_StartLog,
                                       {{u"LogTarget", VT_BSTR}, {u"LogModes", VT_I4}}),
        Method<&_CDLManager::HDLbyURL>(u"HDLbyURL", DISPID_CDLManager_HDLbyURL, {{u"sURL", VT_BSTR}},
                                       VT_BSTR),
        Method<&_CDLManager::GetHDL>(u"GetHDL", DISPID_CDLManager_GetHDL, {{u"sURL", VT_BSTR}}, VT_BSTR),
        Put<&_CDLManager::put_LangID>(u"LangID", DISPID_CDLManager_LangID, VT_I4),
    };
    return members;
}

ManagerObject::ManagerObject()
    : DispatchObject(ManagerMembers(), kIdentifiers), m_manager(CDLManager::Create(*this)) {}

// The manager of another thread can't be ended here: what it would end is this thread's.
bool ManagerObject::End() noexcept {
    if (!m_thread.IsCurrent()) {
        Guarded(IID_NULL, [] {
            platform::LogEntry(u"A manager's last reference was dropped on another thread: it lives on");
        });
        return false;
    }
    m_sinks->DisconnectAll();
    m_manager->Terminate();
    return true;
}

// Every operation holds the manager by a reference of its own: the object may end while it runs.
template <typename Operation>
HRESULT ManagerObject::Do(const Operation& operation) {
    const std::shared_ptr<CDLManager> own = m_manager;
    return Guarded(IID__CDLManager, [&] {
        if (!m_thread.IsCurrent()) Raise(RPC_E_WRONG_THREAD);
        operation(*own);
    });
}

template <typename T, typename Operation>
HRESULT ManagerObject::Give(T* result, const Operation& operation) {
    if (result == nullptr) return E_POINTER;
    *result = T{};  // a caller may free it whatever happens
    return Do([&](CDLManager& manager) {
        if constexpr (std::is_same_v<T, BSTR>) {
            *result = NewString(operation(manager));
        } else {
            *result = operation(manager);
        }
    });
}

HRESULT ManagerObject::AddURL(BSTR URL, BSTR Name, VARIANT_BOOL Force, BSTR* result) {
    return Give(result, [&](CDLManager& manager) {
        return manager.AddURL(Text(URL), Text(Name), Force != VARIANT_FALSE);
    });
}

HRESULT ManagerObject::get_AutoStart(VARIANT_BOOL* result) {
    return Give(result, [](CDLManager& manager) { return ToVariantBool(manager.AutoStart()); });
}

HRESULT ManagerObject::put_AutoStart(VARIANT_BOOL value) {
    return Do([&](CDLManager& manager) { manager.SetAutoStart(value != VARIANT_FALSE); });
}

HRESULT ManagerObject::get_AssetsPath(BSTR* result) {
    return Give(result, [](CDLManager& manager) { return manager.AssetsPath(); });
}

HRESULT ManagerObject::put_AssetsPath(BSTR value) {
    return Do([&](CDLManager& manager) { manager.SetAssetsPath(Text(value)); });
}

HRESULT ManagerObject::get_ActiveJobs(SHORT* result) {
    return Give(result, [](CDLManager& manager) { return manager.ActiveJobs(); });
}

HRESULT ManagerObject::put_ActiveJobs(SHORT value) {
    return Do([&](CDLManager& manager) { manager.SetActiveJobs(value); });
}

// A caller that is compiled against the interface leaves StartTime out by passing the zero of its type.
HRESULT ManagerObject::ChangeState(BSTR HDL, ::TSDLStateEnum State, DATE StartTime, VARIANT_BOOL* Force) {
    return Do([&](CDLManager& manager) {
        const std::optional<double> start = StartTime == 0 ? std::nullopt : std::optional(StartTime);
        const bool force = Force != nullptr && *Force != VARIANT_FALSE;
        manager.ChangeState(Text(HDL), static_cast<TSDLStateEnum>(State), start, force);
    });
}

HRESULT ManagerObject::Elect(BSTR* result) {
    return Give(result, [](CDLManager& manager) { return manager.Elect(); });
}

HRESULT ManagerObject::RemoveURL(BSTR HDL) {
    return Do([&](CDLManager& manager) { manager.RemoveURL(Text(HDL)); });
}

HRESULT ManagerObject::get_Jobs(SHORT* result) {
    return Give(result, [](CDLManager& manager) { return manager.Jobs(); });
}

HRESULT ManagerObject::StartLog(BSTR LogTarget, LONG LogModes) {
    return Do([&](CDLManager& manager) { manager.StartLog(Text(LogTarget), LogModes); });
}

HRESULT ManagerObject::HDLbyURL(BSTR sURL, BSTR* result) {
    return Give(result, [&](CDLManager& manager) { return manager.HDLbyURL(Text(sURL)); });
}

HRESULT ManagerObject::GetHDL(BSTR sURL, BSTR* result) {
    return Give(result, [&](CDLManager& manager) { return manager.GetHDL(Text(sURL)); });
}

HRESULT ManagerObject::put_LangID(LONG value) {
    return Do([&](CDLManager& manager) { manager.SetLangID(value); });
}

void* ManagerObject::FindOther(REFIID riid) {
    if (riid == IID_IConnectionPointContainer) return static_cast<IConnectionPointContainer*>(this);
    UINT descriptions = 0;
    GetTypeInfoCount(&descriptions);
    const bool described = riid == IID_IProvideClassInfo && descriptions > 0;
    return described ? static_cast<IProvideClassInfo*>(this) : nullptr;
}

HRESULT ManagerObject::EnumConnectionPoints(IEnumConnectionPoints** points) {
    if (points == nullptr) return E_POINTER;
    *points = nullptr;
    if (!m_thread.IsCurrent()) return RPC_E_WRONG_THREAD;
    return Guarded(IID_NULL, [&] {
        using Point = host::ComPtr<IConnectionPoint>;
        *points = new Enumerator<IEnumConnectionPoints, Point>(IID_IEnumConnectionPoints,
                                                               {Point(&m_connectionPoint)});
    });
}

HRESULT ManagerObject::FindConnectionPoint(REFIID riid, IConnectionPoint** point) {
    if (point == nullptr) return E_POINTER;
    *point = nullptr;
    if (!m_thread.IsCurrent()) return RPC_E_WRONG_THREAD;
    const bool known = riid == DIID___CDLManager || riid == DIID___CDLManager___v0;
    if (!known) return CONNECT_E_NOCONNECTION;
    *point = &m_connectionPoint;
    AddRef();
    return S_OK;
}

HRESULT ManagerObject::GetClassInfo(ITypeInfo** description) {
    if (description == nullptr) return E_POINTER;
    *description = nullptr;
    const HRESULT read =
        Guarded(IID_NULL, [&] { *description = platform::TypeDescription(CLSID_CDLManager); });
    return SUCCEEDED(read) && *description == nullptr ? E_FAIL : read;
}

void ManagerObject::StateChanged(const std::shared_ptr<CDLItem>& oI) {
    const std::shared_ptr<EventSinks> sinks = m_sinks;
    if (sinks->All().empty()) return;
    const host::ComPtr<ItemObject> item = ItemObject::Of(oI);
    VARIANT argument;
    VariantInit(&argument);
    argument.vt = VT_DISPATCH;
    argument.pdispVal = item.Get();  // by value and the sink's for the call only, so it is not counted again
    sinks->Raise(DISPID_CDLManager_StateChanged, &argument, 1);
}

}  // namespace tsasync::com
