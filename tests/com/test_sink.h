#pragma once

#include "tests/comrt/counted_object.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <functional>
#include <utility>

namespace tsasync::test {

// A sink on the stack, which a test scripts.
class TestSink : public CountedObject {
  public:
    explicit TestSink(std::function<HRESULT(EXCEPINFO&)> onEvent) : m_onEvent(std::move(onEvent)) {
        answersTo = DIID___CDLManager;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* arguments, VARIANT*,
                                     EXCEPINFO* error, UINT*) override {
        ++events;
        wellFormed = wellFormed && id == DISPID_CDLManager_StateChanged && flags == DISPATCH_METHOD &&
                     arguments->cArgs == 1 && arguments->rgvarg[0].vt == VT_DISPATCH;
        item = host::ComPtr(arguments->rgvarg[0].pdispVal);
        return m_onEvent ? m_onEvent(*error) : S_OK;
    }

    int events = 0;
    bool wellFormed = true;
    host::ComPtr<IDispatch> item;  // of the last event

  private:
    std::function<HRESULT(EXCEPINFO&)> m_onEvent;
};

inline host::ComPtr<IConnectionPoint> PointOf(IUnknown* manager, REFIID iid = DIID___CDLManager) {
    const auto container = host::Query<IConnectionPointContainer>(manager, IID_IConnectionPointContainer);
    host::ComPtr<IConnectionPoint> point;
    host::Check(container->FindConnectionPoint(iid, point.Put()));
    return point;
}

inline DWORD Advise(const host::ComPtr<IConnectionPoint>& point, TestSink& sink) {
    DWORD cookie = 0;
    host::Check(point->Advise(&sink, &cookie));
    return cookie;
}

}  // namespace tsasync::test
