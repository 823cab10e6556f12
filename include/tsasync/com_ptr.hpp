#pragma once

#include <utility>

namespace tsasync::host {

// A counted reference to an object.
template <typename T>
class ComPtr {
  public:
    ComPtr() = default;
    // Adds a reference of its own.
    explicit ComPtr(T* object) : m_object(object) {
        if (m_object != nullptr) m_object->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.m_object) {}
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~ComPtr() { Reset(); }

    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    void Reset() {
        if (T* object = std::exchange(m_object, nullptr)) object->Release();
    }
    // For an [out] parameter, which brings a reference with it.
    T** Put() {
        Reset();
        return &m_object;
    }
    void** PutVoid() { return reinterpret_cast<void**>(Put()); }

  private:
    T* m_object = nullptr;
};

}  // namespace tsasync::host
