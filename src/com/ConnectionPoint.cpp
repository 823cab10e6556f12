#include "com/ConnectionPoint.h"

#include "com/Enumerator.h"
#include "com/ErrorBoundary.h"

#include <utility>

namespace tsasync::com {

HRESULT ConnectionPoint::QueryInterface(REFIID riid, void** object) {
    if (object == nullptr) return E_POINTER;
    const bool known = riid == IID_IUnknown || riid == IID_IConnectionPoint;
    *object = known ? static_cast<IConnectionPoint*>(this) : nullptr;
    if (!known) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) {
    if (iid == nullptr) return E_POINTER;
    *iid = DIID___CDLManager;
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
    if (container == nullptr) return E_POINTER;
    *container = &m_owner;
    m_owner.AddRef();
    return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
    if (sink == nullptr || cookie == nullptr) return E_POINTER;
    *cookie = 0;
    if (!m_thread.IsCurrent()) return RPC_E_WRONG_THREAD;
    for (const IID& iid : {DIID___CDLManager, DIID___CDLManager___v0, IID_IDispatch}) {
        host::ComPtr<IDispatch> events;
        if (FAILED(sink->QueryInterface(iid, events.PutVoid())) || !events) continue;
        return Guarded(IID_NULL, [&] { *cookie = m_sinks.Connect(std::move(events)); });
    }
    return CONNECT_E_CANNOTCONNECT;
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
    if (!m_thread.IsCurrent()) return RPC_E_WRONG_THREAD;
    return m_sinks.Disconnect(cookie) ? S_OK : CONNECT_E_NOCONNECTION;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) {
    if (connections == nullptr) return E_POINTER;
    *connections = nullptr;
    if (!m_thread.IsCurrent()) return RPC_E_WRONG_THREAD;
    return Guarded(IID_NULL, [&] {
        *connections = new Enumerator<IEnumConnections, ConnectedSink>(IID_IEnumConnections, m_sinks.All());
    });
}

}  // namespace tsasync::com
