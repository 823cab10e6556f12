#pragma once

#include "com/ModuleLock.h"
#include "tsasync/com.h"

namespace tsasync::com {

// Makes download managers. Aggregation is refused.
class ClassFactory final : public IClassFactory {
  public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** object) override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

  private:
    ~ClassFactory() = default;

    LiveObject m_live;
    ULONG m_references = 1;
};

}  // namespace tsasync::com
