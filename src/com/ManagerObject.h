#pragma once

#include "com/ConnectionPoint.h"
#include "com/DispatchObject.h"
#include "com/EventSinks.h"
#include "com/OwnThread.h"
#include "manager/CDLManager.h"
#include "tsasync/TSAsync.h"

#include <memory>

namespace tsasync::com {

// The members of _CDLManager.
const MemberTable& ManagerMembers();

// The public object of a download manager. Dropping the last reference terminates the manager, also from
// inside an event: the operation that raised it then ends on what is left. Script hosts learn from its
// class's description, where there is a type library, which events they can connect.
//
// Its members, and those by which sinks connect, work on the thread that created it only, and fail elsewhere
// with RPC_E_WRONG_THREAD. When its last reference is dropped elsewhere, it lives on.
class ManagerObject final : public DispatchObject<_CDLManager>,
                            IConnectionPointContainer,
                            IProvideClassInfo,
                            IManagerEvents {
  public:
    // With one reference, the caller's. Throws AutomationError when the manager can't be created.
    ManagerObject();

    HRESULT STDMETHODCALLTYPE AddURL(BSTR URL, BSTR Name, VARIANT_BOOL Force, BSTR* result) override;
    HRESULT STDMETHODCALLTYPE get_AutoStart(VARIANT_BOOL* result) override;
    HRESULT STDMETHODCALLTYPE put_AutoStart(VARIANT_BOOL value) override;
    HRESULT STDMETHODCALLTYPE get_AssetsPath(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_AssetsPath(BSTR value) override;
    HRESULT STDMETHODCALLTYPE get_ActiveJobs(SHORT* result) override;
    HRESULT STDMETHODCALLTYPE put_ActiveJobs(SHORT value) override;
    HRESULT STDMETHODCALLTYPE ChangeState(BSTR HDL, ::TSDLStateEnum State, DATE StartTime,
                                          VARIANT_BOOL* Force) override;
    HRESULT STDMETHODCALLTYPE Elect(BSTR* result) override;
    HRESULT STDMETHODCALLTYPE RemoveURL(BSTR HDL) override;
    HRESULT STDMETHODCALLTYPE get_Jobs(SHORT* result) override;
    HRESULT STDMETHODCALLTYPE StartLog(BSTR LogTarget, LONG LogModes) override;
    HRESULT STDMETHODCALLTYPE HDLbyURL(BSTR sURL, BSTR* result) override;
    HRESULT STDMETHODCALLTYPE GetHDL(BSTR sURL, BSTR* result) override;
    HRESULT STDMETHODCALLTYPE put_LangID(LONG value) override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        return DispatchObject::QueryInterface(riid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return DispatchObject::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return DispatchObject::Release(); }

  private:
    ~ManagerObject() override = default;

    template <typename Operation>
    HRESULT Do(const Operation& operation);
    template <typename T, typename Operation>
    HRESULT Give(T* result, const Operation& operation);

    bool End() noexcept override;
    void* FindOther(REFIID riid) override;

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** point) override;

    HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** description) override;

    void StateChanged(const std::shared_ptr<CDLItem>& oI) override;

    const OwnThread m_thread;
    std::shared_ptr<EventSinks> m_sinks = std::make_shared<EventSinks>();
    ConnectionPoint m_connectionPoint{*this, *m_sinks, m_thread};
    std::shared_ptr<CDLManager> m_manager;
};

}  // namespace tsasync::com
