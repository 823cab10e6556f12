#pragma once

#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <string>
#include <vector>

namespace tsasync::com {

struct ConnectedSink {
    DWORD cookie;
    host::ComPtr<IDispatch> sink;
};

// The sinks connected to a source of events.
class EventSinks {
  public:
    DWORD Connect(host::ComPtr<IDispatch> sink);  // the cookie, never 0
    bool Disconnect(DWORD cookie);
    void DisconnectAll();

    const std::vector<ConnectedSink>& All() const { return m_sinks; }

    // Calls every sink that is connected now, in the order of connection, but for those that leave meanwhile.
    // A sink that does not know the event is passed over. The first failure is thrown as an AutomationError
    // when all have been called. The caller holds this object: a sink may end its owner.
    void Raise(DISPID event, VARIANT* arguments, UINT count);

  private:
    bool IsConnected(DWORD cookie) const;

    std::vector<ConnectedSink> m_sinks;
    DWORD m_lastCookie = 0;
};

}  // namespace tsasync::com
