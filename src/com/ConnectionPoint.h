#pragma once

#include "com/EventSinks.h"
#include "com/OwnThread.h"
#include "tsasync/TSAsync.h"

namespace tsasync::com {

// The connection point of a manager's events, a part of the manager: it shares the manager's reference count.
// A sink is taken when it has one of the two identifiers of the event interface, or IDispatch alone.
class ConnectionPoint final : public IConnectionPoint {
  public:
    ConnectionPoint(IConnectionPointContainer& owner, EventSinks& sinks, const OwnThread& thread)
        : m_owner(owner), m_sinks(sinks), m_thread(thread) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return m_owner.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_owner.Release(); }

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

  private:
    IConnectionPointContainer& m_owner;
    EventSinks& m_sinks;
    const OwnThread& m_thread;
};

}  // namespace tsasync::com
