#pragma once

// What a C++ host would otherwise write itself: ownership by type, errors as exceptions, an event sink.
// Header only; nothing of it crosses the border of the component.

#include "tsasync/TSAsync.h"
#include "tsasync/com_ptr.hpp"

#include <atomic>
#include <cstdio>
#include <functional>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace tsasync::host {

// --- text --------------------------------------------------------------------------------------------------

namespace detail {

// How many bytes of UTF-8 follow a character's first one.
constexpr int TrailBytes(char32_t point) {
    if (point < 0x80) return 0;
    if (point < 0x800) return 1;
    return point < 0x10000 ? 2 : 3;
}

// The same, told by the first one; -1 where it can't be one.
constexpr int TrailBytesAfter(unsigned char lead) {
    if (lead < 0x80) return 0;
    if (lead < 0xC0 || lead >= 0xF8) return -1;
    if (lead < 0xE0) return 1;
    return lead < 0xF0 ? 2 : 3;
}

}  // namespace detail

// UTF-8 from UTF-16 and back. A byte that is no part of a character, as a path on Linux may have it, stands
// as the unit U+DC00 and its number, and comes back from it; other halves of a character become U+FFFD.
inline std::string Utf8(std::u16string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (point >= 0xD800 && point < 0xE000) {
            const bool pair = point < 0xDC00 && i + 1 < text.size() && (text[i + 1] & 0xFC00) == 0xDC00;
            if (pair)
                point = 0x10000 + ((point & 0x3FF) << 10) + (text[++i] & 0x3FFu);
            else if (point < 0xDC80 || point > 0xDCFF)
                point = 0xFFFD;
        }
        const auto put = [&result](char32_t byte) { result.push_back(static_cast<char>(byte)); };
        if (point < 0x80 || (point & 0xFFFFFF00) == 0xDC00) {
            put(point & 0xFF);
            continue;
        }
        const int trail = detail::TrailBytes(point);
        constexpr char32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
        put(kLead[trail] | (point >> (6 * trail)));
        for (int n = trail - 1; n >= 0; --n) put(0x80 | ((point >> (6 * n)) & 0x3F));
    }
    return result;
}

inline std::u16string Utf16(std::string_view text) {
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    std::u16string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t start = i;
        const auto lead = static_cast<unsigned char>(text[i++]);
        const int trail = detail::TrailBytesAfter(lead);
        char32_t point = trail <= 0 ? lead : lead & (0x3Fu >> trail);
        int read = 0;
        while (read < trail && i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) {
            point = (point << 6) | (static_cast<unsigned char>(text[i++]) & 0x3Fu);
            ++read;
        }
        const bool surrogate = point >= 0xD800 && point < 0xE000;
        if (trail < 0 || read < trail || point < kSmallest[trail] || surrogate || point > 0x10FFFF) {
            for (const char byte : text.substr(start, i - start))
                result.push_back(static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(byte)));
        } else if (point >= 0x10000) {
            result.push_back(static_cast<char16_t>(0xD7C0 + (point >> 10)));
            result.push_back(static_cast<char16_t>(0xDC00 + (point & 0x3FF)));
        } else {
            result.push_back(static_cast<char16_t>(point));
        }
    }
    return result;
}

// An owned automation string. Passes as an [in] BSTR; Put takes an [out] one.
class Bstr {
  public:
    Bstr() = default;
    explicit Bstr(std::u16string_view text)
        : m_value(SysAllocStringLen(nullptr, static_cast<UINT>(text.size()))) {
        if (m_value == nullptr) throw std::bad_alloc();
        for (std::size_t i = 0; i < text.size(); ++i) m_value[i] = static_cast<OLECHAR>(text[i]);
    }
    Bstr(Bstr&& other) noexcept : m_value(std::exchange(other.m_value, nullptr)) {}
    Bstr& operator=(Bstr&& other) noexcept {
        std::swap(m_value, other.m_value);
        return *this;
    }
    ~Bstr() { SysFreeString(m_value); }

    operator BSTR() const { return m_value; }
    BSTR* Put() {
        SysFreeString(std::exchange(m_value, nullptr));
        return &m_value;
    }
    std::u16string Text() const {
        return m_value == nullptr ? std::u16string()
                                  : std::u16string(m_value, m_value + SysStringLen(m_value));
    }

  private:
    BSTR m_value = nullptr;
};

// --- errors ------------------------------------------------------------------------------------------------

// A failed call. `what` is one line for a person: source, description and number.
class Error : public std::runtime_error {
  public:
    Error(HRESULT number, std::u16string source, std::u16string description)
        : std::runtime_error(Line(number, source, description)),
          m_number(number),
          m_source(std::move(source)),
          m_description(std::move(description)) {}

    HRESULT Number() const { return m_number; }  // 0x800A0000 + n stands for the runtime error n
    const std::u16string& Source() const { return m_source; }
    const std::u16string& Description() const { return m_description; }

  private:
    static std::string Line(HRESULT number, const std::u16string& source, const std::u16string& description) {
        char code[16];
        std::snprintf(code, sizeof code, "0x%08X", static_cast<unsigned>(number));
        std::string line = source.empty() ? "" : Utf8(source) + ": ";
        return line + (description.empty() ? "error" : Utf8(description)) + " (" + code + ")";
    }

    HRESULT m_number;
    std::u16string m_source;
    std::u16string m_description;
};

// The text of a number with which a call may fail without an error object; else empty.
inline std::u16string_view TextOf(HRESULT number) {
    switch (number) {
        case REGDB_E_CLASSNOTREG:
            return u"the class is not registered";
        case CO_E_CLASSSTRING:
            return u"no class is registered under this name";
        case RPC_E_WRONG_THREAD:
            return u"the object was created on another thread";
        default:
            return {};
    }
}

// Throws Error for a failed result, with the thread's error object where there is one. Use it right after the
// call.
inline void Check(HRESULT result) {
    if (SUCCEEDED(result)) return;
    ComPtr<IErrorInfo> info;
    Bstr source;
    Bstr description;
    if (GetErrorInfo(0, info.Put()) == S_OK) {
        info->GetSource(source.Put());
        info->GetDescription(description.Put());
    }
    const std::u16string text = description.Text();
    throw Error(result, source.Text(), text.empty() ? std::u16string(TextOf(result)) : text);
}

template <typename T>
ComPtr<T> Query(IUnknown* object, REFIID iid) {
    ComPtr<T> result;
    Check(object->QueryInterface(iid, result.PutVoid()));
    return result;
}

// --- creating a manager ------------------------------------------------------------------------------------

using GetClassObject = decltype(&::DllGetClassObject);

// From a component that is linked or that the host has loaded itself.
inline ComPtr<_CDLManager> CreateManager(GetClassObject getClassObject) {
    ComPtr<IClassFactory> factory;
    Check(getClassObject(CLSID_CDLManager, IID_IClassFactory, factory.PutVoid()));
    ComPtr<_CDLManager> manager;
    Check(factory->CreateInstance(nullptr, IID__CDLManager, manager.PutVoid()));
    return manager;
}

// From the registered component, by class identifier.
inline ComPtr<_CDLManager> CreateManager(REFCLSID classId = CLSID_CDLManager) {
    ComPtr<_CDLManager> manager;
    Check(CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager, manager.PutVoid()));
    return manager;
}

// From the registered component, by programmatic identifier ("TSAsync.CDLManager").
inline ComPtr<_CDLManager> CreateManager(const OLECHAR* progId) {
    CLSID classId{};
    Check(CLSIDFromProgID(progId, &classId));
    return CreateManager(classId);
}

// --- events ------------------------------------------------------------------------------------------------

// What a host hears of. An Error thrown by a handler makes the manager's operation fail with it; any other
// exception makes it fail with E_FAIL and, as the description, its `what`.
struct Events {
    std::function<void(_CDLItem& item)> stateChanged;
    std::function<void(std::u16string_view logBuff, LONG evType)> traceEvent;
};

namespace detail {

class Sink final : public IDispatch {
  public:
    explicit Sink(Events events) : m_events(std::move(events)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override {
        const bool known = riid == IID_IUnknown || riid == IID_IDispatch || riid == DIID___CDLManager;
        *object = known ? static_cast<IDispatch*>(this) : nullptr;
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
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*,
                                     EXCEPINFO* error, UINT*) override {
        try {
            try {
                return Dispatch(member, *arguments);
            } catch (const Error& failure) {
                return Report(failure, error);
            } catch (const std::exception& failure) {
                return Report(Error(E_FAIL, {}, Utf16(failure.what())), error);
            }
        } catch (...) {  // also where there is no memory for the report
            return E_FAIL;
        }
    }

  private:
    ~Sink() = default;

    static HRESULT Report(const Error& failure, EXCEPINFO* error) {
        if (error == nullptr) return failure.Number();
        error->bstrSource = Copy(failure.Source());
        error->bstrDescription = Copy(failure.Description());
        error->scode = failure.Number();
        return DISP_E_EXCEPTION;
    }

    static BSTR Copy(const std::u16string& text) {
        const BSTR copy = SysAllocStringLen(nullptr, static_cast<UINT>(text.size()));
        for (std::size_t i = 0; copy != nullptr && i < text.size(); ++i)
            copy[i] = static_cast<OLECHAR>(text[i]);
        return copy;
    }

    // Arguments stand in reverse order.
    HRESULT Dispatch(DISPID member, const DISPPARAMS& arguments) {
        const VARIANT* values = arguments.rgvarg;
        if (member == DISPID_CDLManager_StateChanged) {
            if (arguments.cArgs != 1 || values[0].vt != VT_DISPATCH) return DISP_E_TYPEMISMATCH;
            const auto item = Query<_CDLItem>(values[0].pdispVal, IID__CDLItem);
            if (m_events.stateChanged) m_events.stateChanged(*item.Get());
            return S_OK;
        }
        if (member == DISPID_CDLManager_TraceEvent) {
            if (arguments.cArgs != 2 || values[1].vt != VT_BSTR || values[0].vt != VT_I4)
                return DISP_E_TYPEMISMATCH;
            const BSTR text = values[1].bstrVal;
            const std::u16string buffer(text, text + SysStringLen(text));
            if (m_events.traceEvent) m_events.traceEvent(buffer, values[0].lVal);
            return S_OK;
        }
        return DISP_E_MEMBERNOTFOUND;
    }

    Events m_events;
    std::atomic<ULONG> m_references{0};
};

}  // namespace detail

// Events go to the handlers for as long as this lives. It holds the manager.
class Connection {
  public:
    Connection() = default;
    Connection(const ComPtr<_CDLManager>& manager, Events events) {
        const auto container = Query<IConnectionPointContainer>(manager.Get(), IID_IConnectionPointContainer);
        Check(container->FindConnectionPoint(DIID___CDLManager, m_point.Put()));
        const ComPtr<IDispatch> sink(new detail::Sink(std::move(events)));
        Check(m_point->Advise(sink.Get(), &m_cookie));
    }
    Connection(Connection&& other) noexcept
        : m_point(std::move(other.m_point)), m_cookie(std::exchange(other.m_cookie, 0)) {}
    Connection& operator=(Connection&& other) noexcept {
        std::swap(m_point, other.m_point);
        std::swap(m_cookie, other.m_cookie);
        return *this;
    }
    ~Connection() {
        if (m_point) m_point->Unadvise(m_cookie);
    }

  private:
    ComPtr<IConnectionPoint> m_point;
    DWORD m_cookie = 0;
};

}  // namespace tsasync::host
