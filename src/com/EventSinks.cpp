#include "com/EventSinks.h"

#include "com/ErrorBoundary.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace tsasync::com {

DWORD EventSinks::Connect(host::ComPtr<IDispatch> sink) {
    m_sinks.push_back({++m_lastCookie, std::move(sink)});
    return m_lastCookie;
}

bool EventSinks::Disconnect(DWORD cookie) {
    const auto found = std::find_if(m_sinks.begin(), m_sinks.end(),
                                    [cookie](const ConnectedSink& each) { return each.cookie == cookie; });
    if (found == m_sinks.end()) return false;
    const ConnectedSink leaving = std::move(*found);  // its end may call back, when the list is whole again
    m_sinks.erase(found);
    return true;
}

void EventSinks::DisconnectAll() { const std::vector<ConnectedSink> leaving = std::exchange(m_sinks, {}); }

bool EventSinks::IsConnected(DWORD cookie) const {
    return std::any_of(m_sinks.begin(), m_sinks.end(),
                       [cookie](const ConnectedSink& each) { return each.cookie == cookie; });
}

void EventSinks::Raise(DISPID event, VARIANT* arguments, UINT count) {
    std::optional<AutomationError> failure;
    const std::vector<ConnectedSink> listeners = m_sinks;
    for (const ConnectedSink& listener : listeners) {
        if (!IsConnected(listener.cookie)) continue;
        DISPPARAMS parameters{};
        parameters.rgvarg = arguments;
        parameters.cArgs = count;
        OwnedExcepInfo details;
        const HRESULT answer = listener.sink->Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD,
                                                     &parameters, nullptr, &details, nullptr);
        if (SUCCEEDED(answer) || answer == DISP_E_MEMBERNOTFOUND) continue;
        const AutomationError error = ErrorOf(answer, details);
        if (!failure) failure = error;
    }
    if (failure) throw AutomationError(*failure);
}

}  // namespace tsasync::com
