#pragma once

#include <windows.h>
// after windows.h, whose types they use
#include <bcrypt.h>
#include <shlobj.h>

#include <memory>
#include <utility>

// What the system gives is given back when its owner goes. Interface pointers: host::ComPtr.
namespace tsasync::platform {

// Kind: the Type of the handle, what None looks like, and how to Close one.
template <typename Kind>
class Handle {
  public:
    using Type = typename Kind::Type;

    Handle() = default;
    explicit Handle(Type handle) : m_handle(handle) {}
    Handle(Handle&& other) noexcept : m_handle(std::exchange(other.m_handle, Kind::None())) {}
    Handle& operator=(Handle other) noexcept {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~Handle() { Reset(); }

    explicit operator bool() const { return m_handle != Kind::None(); }
    Type Get() const { return m_handle; }
    void Reset() {
        const Type handle = std::exchange(m_handle, Kind::None());
        if (handle != Kind::None()) Kind::Close(handle);
    }
    // For a function that stores what it gives.
    Type* Put() {
        Reset();
        return &m_handle;
    }

  private:
    Type m_handle = Kind::None();
};

template <typename T>
struct HandleKind {
    using Type = T;
    static Type None() { return {}; }
};

struct FileKind {
    using Type = HANDLE;
    static Type None() { return INVALID_HANDLE_VALUE; }
    static void Close(Type file) { CloseHandle(file); }
};
struct SearchKind {
    using Type = HANDLE;
    static Type None() { return INVALID_HANDLE_VALUE; }
    static void Close(Type search) { FindClose(search); }
};
struct KeyKind : HandleKind<HKEY> {
    static void Close(HKEY key) { RegCloseKey(key); }
};
struct EventSourceKind : HandleKind<HANDLE> {
    static void Close(HANDLE source) { DeregisterEventSource(source); }
};
struct AlgorithmKind : HandleKind<BCRYPT_ALG_HANDLE> {
    static void Close(BCRYPT_ALG_HANDLE algorithm) { BCryptCloseAlgorithmProvider(algorithm, 0); }
};
struct HashKind : HandleKind<BCRYPT_HASH_HANDLE> {
    static void Close(BCRYPT_HASH_HANDLE hash) { BCryptDestroyHash(hash); }
};
struct FontKind : HandleKind<HFONT> {
    static void Close(HFONT font) { DeleteObject(font); }
};
// One's own; its procedure finds no owner any more.
struct WindowKind : HandleKind<HWND> {
    static void Close(HWND window) {
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        DestroyWindow(window);
    }
};
struct TextKind : HandleKind<BSTR> {
    static void Close(BSTR text) { SysFreeString(text); }
};
// What functions of COM have allocated.
template <typename T>
struct TaskMemoryKind : HandleKind<T> {
    static void Close(T memory) { CoTaskMemFree(memory); }
};
struct SecurityKind : HandleKind<PSECURITY_DESCRIPTOR> {
    static void Close(PSECURITY_DESCRIPTOR descriptor) { LocalFree(descriptor); }
};

using FileHandle = Handle<FileKind>;
using SearchHandle = Handle<SearchKind>;
using KeyHandle = Handle<KeyKind>;
using EventSourceHandle = Handle<EventSourceKind>;
using AlgorithmHandle = Handle<AlgorithmKind>;
using HashHandle = Handle<HashKind>;
using FontHandle = Handle<FontKind>;
using WindowHandle = Handle<WindowKind>;
using TextHandle = Handle<TextKind>;
template <typename T>
using TaskMemory = Handle<TaskMemoryKind<T>>;
using SecurityHandle = Handle<SecurityKind>;

// To draw or measure in a window, or on the screen (null), with a font; the window's own without one.
class DeviceContext {
  public:
    explicit DeviceContext(HWND window, HFONT font = nullptr)
        : m_window(window),
          m_context(GetDC(window)),
          m_before(font != nullptr ? SelectObject(m_context, font) : nullptr) {}
    DeviceContext(const DeviceContext&) = delete;
    DeviceContext& operator=(const DeviceContext&) = delete;
    ~DeviceContext() {
        if (m_before != nullptr) SelectObject(m_context, m_before);
        ReleaseDC(m_window, m_context);
    }
    HDC Get() const { return m_context; }

  private:
    HWND m_window;
    HDC m_context;
    HGDIOBJ m_before;
};

}  // namespace tsasync::platform
