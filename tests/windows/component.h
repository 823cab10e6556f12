#pragma once

#include "tsasync/TSAsync.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <functional>
#include <string>
#include <vector>

// What the tests of the registered component share. TSASYNC_URL is the test server, TSASYNC_ASSETS a folder
// for the files.
namespace tsasync::windowstest {

inline std::wstring Environment(const wchar_t* name) {
    const wchar_t* value = _wgetenv(name);
    return value == nullptr ? L"" : value;
}

// Owned automation text.
struct Text {
    explicit Text(const std::wstring& text) : value(SysAllocString(text.c_str())) {}
    ~Text() { SysFreeString(value); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    BSTR value;
};

inline std::wstring Take(BSTR text) {
    const std::wstring result = text == nullptr ? L"" : text;
    SysFreeString(text);
    return result;
}

// A sink that is connected to a manager's events under one of their identifiers, for as long as it lives.
class Sink final : public IDispatch {
  public:
    Sink(_CDLManager* manager, REFIID events) : m_events(events) {
        IConnectionPointContainer* container = nullptr;
        EXPECT_EQ(
            manager->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&container)),
            S_OK);
        EXPECT_EQ(container->FindConnectionPoint(events, &m_point), S_OK);
        container->Release();
        EXPECT_EQ(m_point->Advise(this, &m_cookie), S_OK);
    }
    ~Sink() {
        if (last != nullptr) last->Release();
        EXPECT_EQ(m_point->Unadvise(m_cookie), S_OK);
        m_point->Release();
    }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    STDMETHOD(QueryInterface)(REFIID id, void** object) override {
        const bool known = id == IID_IUnknown || id == IID_IDispatch || id == m_events;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHOD_(ULONG, AddRef)() override { return 1; }
    STDMETHOD_(ULONG, Release)() override { return 1; }
    STDMETHOD(GetTypeInfoCount)(UINT*) override { return E_NOTIMPL; }
    STDMETHOD(GetTypeInfo)(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHOD(Invoke)
    (DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*, UINT*) override {
        ids.push_back(id);
        if (id != DISPID_CDLManager_StateChanged || arguments->cArgs != 1) return S_OK;
        if (last != nullptr) last->Release();
        last = nullptr;
        arguments->rgvarg[0].pdispVal->QueryInterface(IID__CDLItem, reinterpret_cast<void**>(&last));
        TSDLStateEnum state = tsdStopped;
        last->get_State(&state);
        states.push_back(state);
        const auto action = then;  // which may replace itself
        if (action) action();
        return S_OK;
    }

    std::vector<DISPID> ids;
    std::vector<TSDLStateEnum> states;
    _CDLItem* last = nullptr;
    std::function<void()> then;  // done in every event

  private:
    IID m_events;
    IConnectionPoint* m_point = nullptr;
    DWORD m_cookie = 0;
};

inline HRESULT CreateManager(_CDLManager*& manager) {
    return CoCreateInstance(CLSID_CDLManager, nullptr, CLSCTX_INPROC_SERVER, IID__CDLManager,
                            reinterpret_cast<void**>(&manager));
}

class Component : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(CreateManager(manager), S_OK);
        manager->put_AssetsPath(Text(Environment(L"TSASYNC_ASSETS")).value);
    }
    void TearDown() override {
        if (manager != nullptr) manager->Release();
    }

    std::wstring Url(const wchar_t* path) { return Environment(L"TSASYNC_URL") + path; }

    std::wstring Add(const std::wstring& url, bool force = false) {
        BSTR handle = nullptr;
        EXPECT_EQ(manager->AddURL(Text(url).value, nullptr, force ? VARIANT_TRUE : VARIANT_FALSE, &handle),
                  S_OK);
        return Take(handle);
    }

    // Starts the job and runs the message loop until the record fulfils the condition, at most 60 seconds.
    void RunUntil(const std::wstring& handle, const std::function<bool()>& condition) {
        ASSERT_EQ(manager->ChangeState(Text(handle).value, tsdPending, 0, nullptr), S_OK);
        BSTR elected = nullptr;
        manager->Elect(&elected);
        SysFreeString(elected);
        const ULONGLONG end = GetTickCount64() + 60000;
        MSG message{};
        while (!condition() && GetTickCount64() < end) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) DispatchMessageW(&message);
        }
    }

    _CDLManager* manager = nullptr;
};

}  // namespace tsasync::windowstest
