#pragma once

#include "com/ErrorBoundary.h"
#include "com/EventSinks.h"
#include "com/ModuleLock.h"
#include "tsasync/com.h"
#include "tsasync/host.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace tsasync::com {

// As the receiver gets it, counted for it.
inline IConnectionPoint* Counted(const host::ComPtr<IConnectionPoint>& point) {
    point->AddRef();
    return point.Get();
}
inline CONNECTDATA Counted(const ConnectedSink& sink) {
    sink.sink->AddRef();
    return {sink.sink.Get(), sink.cookie};
}

// Walks over a copy of a list.
template <typename Interface, typename Held>
class Enumerator final : public Interface {
  public:
    using Element = decltype(Counted(std::declval<const Held&>()));

    Enumerator(REFIID iid, std::vector<Held> elements, std::size_t position = 0)
        : m_iid(iid), m_elements(std::move(elements)), m_position(position) {}
    Enumerator(const Enumerator&) = delete;
    Enumerator& operator=(const Enumerator&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        if (object == nullptr) return E_POINTER;
        const bool known = riid == IID_IUnknown || riid == m_iid;
        *object = known ? static_cast<Interface*>(this) : nullptr;
        if (!known) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --m_references;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE Next(ULONG count, Element* elements, ULONG* fetched) override {
        if (elements == nullptr || (fetched == nullptr && count != 1)) return E_POINTER;
        const auto given = static_cast<ULONG>(std::min<std::size_t>(count, m_elements.size() - m_position));
        for (ULONG i = 0; i < given; ++i) elements[i] = Counted(m_elements[m_position++]);
        if (fetched != nullptr) *fetched = given;
        return given == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
        const std::size_t left = m_elements.size() - m_position;
        m_position += std::min<std::size_t>(count, left);
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() override {
        m_position = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface** copy) override {
        if (copy == nullptr) return E_POINTER;
        *copy = nullptr;
        return Guarded(IID_NULL, [&] { *copy = new Enumerator(m_iid, m_elements, m_position); });
    }

  private:
    ~Enumerator() = default;

    LiveObject m_live;
    const IID m_iid;
    std::vector<Held> m_elements;
    std::size_t m_position;
    ULONG m_references = 1;
};

}  // namespace tsasync::com
