// Runs a script in the system's own engine of its language: script_host LANGUAGE FILE ARGUMENT…
//
// The script sees a WScript object as in the system's script host, with the members that Wine's lacks:
// ConnectObject and a Sleep that runs the message loop. It creates the component itself.
#include "tsasync/host.hpp"

#include <windows.h>
// defines the identifiers that the next one declares
#include <initguid.h>
// after it
#include <activscp.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using tsasync::host::Check;
using tsasync::host::ComPtr;
using tsasync::host::Query;
using tsasync::host::Utf8;

std::u16string Text(const wchar_t* text) { return {text, text + wcslen(text)}; }

// An object that lives as long as the program, with nothing but Invoke.
template <typename Interface>
class Immortal : public Interface {
  public:
    STDMETHOD_(ULONG, AddRef)() override { return 1; }
    STDMETHOD_(ULONG, Release)() override { return 1; }
};

class Dispatch : public Immortal<IDispatch> {
  public:
    STDMETHOD(QueryInterface)(REFIID id, void** object) override {
        const bool known = id == IID_IUnknown || id == IID_IDispatch;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHOD(GetTypeInfoCount)(UINT* count) override { return *count = 0, S_OK; }
    STDMETHOD(GetTypeInfo)(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
};

DISPID IdOf(IDispatch& object, const std::wstring& name) {
    DISPID id = DISPID_UNKNOWN;
    auto* text = const_cast<wchar_t*>(name.c_str());
    object.GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
    return id;
}

// The description of the events that the object's class raises first.
ComPtr<ITypeInfo> EventsOf(IDispatch& object) {
    ComPtr<ITypeInfo> type;
    Check(Query<IProvideClassInfo>(&object, IID_IProvideClassInfo)->GetClassInfo(type.Put()));
    INT flags = 0;
    for (UINT n = 0; type->GetImplTypeFlags(n, &flags) == S_OK; ++n) {
        if (flags != (IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE)) continue;
        HREFTYPE reference = 0;
        ComPtr<ITypeInfo> events;
        Check(type->GetRefTypeOfImplType(n, &reference));
        Check(type->GetRefTypeInfo(reference, events.Put()));
        return events;
    }
    return {};
}

// Passes events on to the functions of the script that bear a prefix and the event's name.
class Events final : public Dispatch {
  public:
    Events(ComPtr<ITypeInfo> description, IDispatch& script, std::wstring prefix)
        : m_description(std::move(description)), m_script(script), m_prefix(std::move(prefix)) {}
    STDMETHOD(Invoke)
    (DISPID event, REFIID, LCID locale, WORD, DISPPARAMS* arguments, VARIANT* result, EXCEPINFO* error,
     UINT* bad) override {
        BSTR name = nullptr;
        UINT count = 0;
        Check(m_description->GetNames(event, &name, 1, &count));
        const DISPID function = IdOf(m_script, m_prefix + name);
        SysFreeString(name);
        if (function == DISPID_UNKNOWN) return S_OK;
        return m_script.Invoke(function, IID_NULL, locale, DISPATCH_METHOD, arguments, result, error, bad);
    }

  private:
    ComPtr<ITypeInfo> m_description;
    IDispatch& m_script;
    std::wstring m_prefix;
};

// What the script calls WScript.
class ScriptHost final : public Dispatch {
  public:
    explicit ScriptHost(std::vector<std::wstring> arguments) : m_arguments(std::move(arguments)) {}
    ComPtr<IDispatch> script;
    LONG result = 0;

    STDMETHOD(GetIDsOfNames)(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
        const wchar_t* const known[] = {L"Arguments", L"ConnectObject", L"Echo", L"Quit", L"Sleep"};
        for (ids[0] = 0; ids[0] < 5; ++ids[0]) {
            if (_wcsicmp(names[0], known[ids[0]]) == 0) return S_OK;
        }
        return DISP_E_UNKNOWNNAME;
    }
    // Arguments stand in reverse order.
    STDMETHOD(Invoke)
    (DISPID member, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT* answer, EXCEPINFO*, UINT*) override {
        VARIANT first{};
        VariantChangeType(&first, &arguments->rgvarg[arguments->cArgs - 1], 0,
                          member == 1   ? VT_DISPATCH
                          : member == 2 ? VT_BSTR
                                        : VT_I4);
        if (member == 0) {
            answer->vt = VT_BSTR;
            answer->bstrVal = SysAllocString(m_arguments.at(static_cast<std::size_t>(first.lVal)).c_str());
        }
        if (member == 1) Connect(*first.pdispVal, arguments->rgvarg[0].bstrVal);
        if (member == 2) std::puts(Utf8(Text(first.bstrVal)).c_str());
        if (member == 3) result = first.lVal;
        if (member == 4) Sleep(static_cast<DWORD>(first.lVal));
        return VariantClear(&first);
    }

  private:
    // The sink stays, like the connection, to the program's end.
    void Connect(IDispatch& object, const wchar_t* prefix) {
        const ComPtr<ITypeInfo> events = EventsOf(object);
        TYPEATTR* attributes = nullptr;
        Check(events->GetTypeAttr(&attributes));
        ComPtr<IConnectionPoint> point;
        Check(Query<IConnectionPointContainer>(&object, IID_IConnectionPointContainer)
                  ->FindConnectionPoint(attributes->guid, point.Put()));
        events->ReleaseTypeAttr(attributes);
        DWORD cookie = 0;
        Check(point->Advise(new Events(events, *script.Get(), prefix), &cookie));
    }
    static void Sleep(DWORD milliseconds) {
        const ULONGLONG end = GetTickCount64() + milliseconds;
        MSG message{};
        for (ULONGLONG now = GetTickCount64(); now < end; now = GetTickCount64()) {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) DispatchMessageW(&message);
        }
    }

    std::vector<std::wstring> m_arguments;
};

// What the engine asks for, and tells.
class Site final : public Immortal<IActiveScriptSite> {
  public:
    explicit Site(ScriptHost& host) : m_host(host) {}
    STDMETHOD(QueryInterface)(REFIID id, void** object) override {
        const bool known = id == IID_IUnknown || id == IID_IActiveScriptSite;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHOD(GetLCID)(LCID* locale) override { return *locale = LOCALE_USER_DEFAULT, S_OK; }
    STDMETHOD(GetItemInfo)(LPCOLESTR, DWORD, IUnknown** item, ITypeInfo** type) override {
        if (item != nullptr) *item = &m_host;
        if (type != nullptr) *type = nullptr;
        return S_OK;
    }
    STDMETHOD(GetDocVersionString)(BSTR*) override { return E_NOTIMPL; }
    STDMETHOD(OnScriptTerminate)(const VARIANT*, const EXCEPINFO*) override { return S_OK; }
    STDMETHOD(OnStateChange)(SCRIPTSTATE) override { return S_OK; }
    STDMETHOD(OnScriptError)(IActiveScriptError* error) override {
        EXCEPINFO info{};
        DWORD context = 0;
        ULONG line = 0;
        LONG column = 0;
        error->GetExceptionInfo(&info);
        error->GetSourcePosition(&context, &line, &column);
        std::printf("FAILED line %lu: error 0x%08lX %s\n", line + 1, info.scode,
                    info.bstrDescription == nullptr ? "" : Utf8(Text(info.bstrDescription)).c_str());
        m_host.result = 1;
        return S_OK;
    }
    STDMETHOD(OnEnterScript)() override { return S_OK; }
    STDMETHOD(OnLeaveScript)() override { return S_OK; }

  private:
    ScriptHost& m_host;
};

void Run(const wchar_t* language, const wchar_t* file, ScriptHost& host) {
    std::ifstream stream(Utf8(Text(file)), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    CLSID engineClass{};
    Check(CLSIDFromProgID(language, &engineClass));
    ComPtr<IActiveScript> engine;
    Check(CoCreateInstance(engineClass, nullptr, CLSCTX_INPROC_SERVER, IID_IActiveScript, engine.PutVoid()));
    const auto parser = Query<IActiveScriptParse>(engine.Get(), IID_IActiveScriptParse);
    Site site(host);
    Check(parser->InitNew());
    Check(engine->SetScriptSite(&site));
    Check(engine->AddNamedItem(L"WScript", SCRIPTITEM_ISVISIBLE));
    Check(engine->GetScriptDispatch(nullptr, host.script.Put()));
    Check(engine->SetScriptState(SCRIPTSTATE_CONNECTED));
    const std::wstring source(text.begin(), text.end());
    EXCEPINFO error{};
    if (FAILED(parser->ParseScriptText(source.c_str(), nullptr, nullptr, nullptr, 0, 0, 0, nullptr, &error)))
        host.result = 1;
    host.script.Reset();
    engine->Close();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    ScriptHost host(std::vector<std::wstring>(argv + 3, argv + argc));
    Check(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    Run(argv[1], argv[2], host);
    CoUninitialize();
    return static_cast<int>(host.result);
}
