// Holds the type library of a component against the dispatch tables compiled into it, and its version record
// against what hosts know. TSASYNC_DLL names the component, TSASYNC_POINTER the size of its pointers in bits.
#include "com/ItemObject.h"
#include "com/ManagerObject.h"
#include "com/MemberTable.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

using tsasync::com::Member;
using tsasync::com::MemberTable;

constexpr UINT kInheritedSlots = 7;  // of IDispatch

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::wstring Wide(std::u16string_view text) { return {text.begin(), text.end()}; }

class TypeLibrary : public testing::Test {
  protected:
    void SetUp() override {
        const wchar_t* path = _wgetenv(L"TSASYNC_DLL");
        ASSERT_NE(path, nullptr);
        ASSERT_EQ(LoadTypeLibEx(path, REGKIND_NONE, &library), S_OK);
    }

    ITypeInfo* Type(REFGUID id) {
        ITypeInfo* type = nullptr;
        EXPECT_EQ(library->GetTypeInfoOfGuid(id, &type), S_OK);
        return type;
    }

    TYPEATTR Attributes(REFGUID id) {
        TYPEATTR* attributes = nullptr;
        EXPECT_EQ(Type(id)->GetTypeAttr(&attributes), S_OK);
        return *attributes;
    }

    // The half of a dual interface that is called by slot; the other one is never marked
    // automation-compatible.
    TYPEATTR MethodTable(REFGUID id) {
        HREFTYPE reference = 0;
        ITypeInfo* half = nullptr;
        TYPEATTR* attributes = nullptr;
        EXPECT_EQ(Type(id)->GetRefTypeOfImplType(static_cast<UINT>(-1), &reference), S_OK);
        EXPECT_EQ(Type(id)->GetRefTypeInfo(reference, &half), S_OK);
        EXPECT_EQ(half->GetTypeAttr(&attributes), S_OK);
        return *attributes;
    }

    ITypeLib* library = nullptr;
};

std::wstring NameOf(ITypeInfo* type, MEMBERID id) {
    BSTR name = nullptr;
    type->GetDocumentation(id, &name, nullptr, nullptr, nullptr);
    const std::wstring text = name == nullptr ? L"" : name;
    SysFreeString(name);
    return text;
}

// The type that a description refers to.
GUID ReferredTo(ITypeInfo* type, HREFTYPE reference) {
    ITypeInfo* target = nullptr;
    TYPEATTR* attributes = nullptr;
    EXPECT_EQ(type->GetRefTypeInfo(reference, &target), S_OK);
    EXPECT_EQ(target->GetTypeAttr(&attributes), S_OK);
    return attributes->guid;
}

// Behind pointers; an enumeration is a long.
VARTYPE PlainType(const TYPEDESC& type) {
    if (type.vt == VT_PTR) return PlainType(*type.lptdesc);
    return type.vt == VT_USERDEFINED ? static_cast<VARTYPE>(VT_I4) : type.vt;
}

void ExpectSameParameters(ITypeInfo* type, const FUNCDESC& function, const Member& member) {
    ASSERT_EQ(static_cast<std::size_t>(function.cParams), member.parameters.size());
    BSTR names[8]{};
    UINT count = 0;
    ASSERT_EQ(type->GetNames(function.memid, names, 8, &count), S_OK);
    for (std::size_t i = 0; i < member.parameters.size(); ++i) {
        const auto& parameter = member.parameters[i];
        const ELEMDESC& element = function.lprgelemdescParam[i];
        const TYPEDESC& own = element.tdesc.vt == VT_PTR ? *element.tdesc.lptdesc : element.tdesc;
        EXPECT_EQ(own.vt == VT_USERDEFINED, parameter.name == u"State" || member.name == u"State");
        if (own.vt == VT_USERDEFINED) {
            EXPECT_EQ(ReferredTo(type, own.hreftype), GUID_TSDLStateEnum);
        }
        EXPECT_EQ(element.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT),
                  own.vt != element.tdesc.vt ? PARAMFLAG_FIN | PARAMFLAG_FOUT : PARAMFLAG_FIN);
        if (member.kind == DISPATCH_METHOD) {
            EXPECT_EQ(names[i + 1], Wide(parameter.name));
        }
        EXPECT_EQ(PlainType(element.tdesc), parameter.type);
        EXPECT_EQ((element.paramdesc.wParamFlags & PARAMFLAG_FOPT) != 0, parameter.optional);
        const bool hasDefault = (element.paramdesc.wParamFlags & PARAMFLAG_FHASDEFAULT) != 0;
        EXPECT_EQ(hasDefault, parameter.name == u"Force");
        if (hasDefault) {
            EXPECT_EQ(element.paramdesc.pparamdescex->varDefaultValue.boolVal, VARIANT_FALSE);
        }
        const bool byReference = element.tdesc.vt == VT_PTR;
        EXPECT_EQ(byReference, member.name == u"ChangeState" && parameter.name == u"Force");
    }
}

void ExpectSameMembers(ITypeInfo* type, const MemberTable& table) {
    FUNCDESC* addRef = nullptr;
    ASSERT_EQ(type->GetFuncDesc(1, &addRef), S_OK);
    const UINT slotSize = static_cast<UINT>(addRef->oVft);
    for (UINT i = 0; i < table.size(); ++i) {
        const Member& member = table[i];
        SCOPED_TRACE(std::string(member.name.begin(), member.name.end()) + ", slot " + std::to_string(i + 1));
        FUNCDESC* function = nullptr;
        ASSERT_EQ(type->GetFuncDesc(kInheritedSlots + i, &function), S_OK);
        EXPECT_EQ(NameOf(type, function->memid), Wide(member.name));
        EXPECT_EQ(function->memid, member.id);
        EXPECT_EQ(static_cast<UINT>(function->oVft), (kInheritedSlots + i) * slotSize);
        EXPECT_EQ(static_cast<WORD>(function->invkind), member.kind);
        const VARTYPE result = PlainType(function->elemdescFunc.tdesc);
        const bool hasResult = member.result != VT_EMPTY;
        EXPECT_EQ(result, hasResult ? member.result : static_cast<VARTYPE>(VT_VOID));
        ExpectSameParameters(type, *function, member);
        type->ReleaseFuncDesc(function);
    }
    FUNCDESC* none = nullptr;
    EXPECT_NE(type->GetFuncDesc(kInheritedSlots + static_cast<UINT>(table.size()), &none), S_OK);
}

TEST_F(TypeLibrary, HasItsIdentity) {
    TLIBATTR* attributes = nullptr;
    ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
    EXPECT_EQ(attributes->guid, LIBID_TSAsync);
    EXPECT_EQ(attributes->wMajorVerNum, 1);
    EXPECT_EQ(attributes->wMinorVerNum, 2);
    EXPECT_EQ(attributes->lcid, 0x0409u);
    EXPECT_EQ(attributes->syskind, Environment("TSASYNC_POINTER") == "64" ? SYS_WIN64 : SYS_WIN32);
    BSTR name = nullptr;
    BSTR help = nullptr;
    ASSERT_EQ(library->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
    EXPECT_STREQ(name, L"TSAsync");
    EXPECT_STREQ(help, L"Quillmark Async Transfer Module 1.0");
    EXPECT_EQ(library->GetTypeInfoCount(), 9u);
}

TEST_F(TypeLibrary, HasTheManagersMembers) {
    ExpectSameMembers(Type(IID__CDLManager), tsasync::com::ManagerMembers());
}

TEST_F(TypeLibrary, HasTheRecordsMembers) {
    ExpectSameMembers(Type(IID__CDLItem), tsasync::com::ItemMembers());
}

TEST_F(TypeLibrary, HasTheTypesFlags) {
    constexpr WORD kHiddenDual =
        TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE | TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION;
    constexpr WORD kHiddenEvents = TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE;
    EXPECT_EQ(MethodTable(IID__CDLManager).wTypeFlags & kHiddenDual, kHiddenDual);
    EXPECT_EQ(MethodTable(IID__CDLItem).wTypeFlags & kHiddenDual, kHiddenDual);
    EXPECT_EQ(Attributes(DIID___CDLManager).wTypeFlags & (kHiddenEvents | TYPEFLAG_FDUAL), kHiddenEvents);
    EXPECT_EQ(Attributes(CLSID_CDLManager).wTypeFlags & TYPEFLAG_FCANCREATE, TYPEFLAG_FCANCREATE);
    EXPECT_EQ(Attributes(CLSID_CDLItem).wTypeFlags & TYPEFLAG_FCANCREATE, 0);
    for (const GUID& alias : {IID_CDLManager___v0, IID_CDLManager___v1, IID_CDLItem___v0}) {
        EXPECT_EQ(Attributes(alias).typekind, TKIND_ALIAS);
        EXPECT_EQ(Attributes(alias).wTypeFlags & TYPEFLAG_FHIDDEN, TYPEFLAG_FHIDDEN);
        const TYPEDESC& target = Attributes(alias).tdescAlias;
        ASSERT_EQ(target.vt, VT_USERDEFINED);
        EXPECT_EQ(ReferredTo(Type(alias), target.hreftype),
                  alias == IID_CDLItem___v0 ? IID__CDLItem : IID__CDLManager);
    }
}

TEST_F(TypeLibrary, NamesTheClassesInterfaces) {
    const struct {
        CLSID type;
        UINT index;
        IID interfaceId;
        int flags;
    } expected[] = {{CLSID_CDLManager, 0, IID__CDLManager, IMPLTYPEFLAG_FDEFAULT},
                    {CLSID_CDLManager, 1, DIID___CDLManager, IMPLTYPEFLAG_FDEFAULT | IMPLTYPEFLAG_FSOURCE},
                    {CLSID_CDLItem, 0, IID__CDLItem, IMPLTYPEFLAG_FDEFAULT}};
    for (const auto& implemented : expected) {
        ITypeInfo* type = Type(implemented.type);
        HREFTYPE reference = 0;
        int flags = 0;
        ASSERT_EQ(type->GetRefTypeOfImplType(implemented.index, &reference), S_OK);
        ASSERT_EQ(type->GetImplTypeFlags(implemented.index, &flags), S_OK);
        EXPECT_EQ(ReferredTo(type, reference), implemented.interfaceId);
        EXPECT_EQ(flags, implemented.flags);
    }
    EXPECT_EQ(Attributes(CLSID_CDLManager).cImplTypes, 2);
    EXPECT_EQ(Attributes(CLSID_CDLItem).cImplTypes, 1);
}

TEST_F(TypeLibrary, HasTheEvents) {
    ITypeInfo* events = Type(DIID___CDLManager);
    const struct {
        MEMBERID id;
        const wchar_t* names[3];
        UINT count;
        VARTYPE types[2];
    } expected[] = {{1, {L"StateChanged", L"oI"}, 2, {VT_PTR}},
                    {2, {L"TraceEvent", L"logBuff", L"evType"}, 3, {VT_BSTR, VT_I4}}};
    for (UINT e = 0; e < std::size(expected); ++e) {
        const auto& event = expected[e];
        FUNCDESC* function = nullptr;
        ASSERT_EQ(events->GetFuncDesc(e, &function), S_OK);
        ASSERT_EQ(function->memid, event.id);
        ASSERT_EQ(static_cast<UINT>(function->cParams), event.count - 1);
        for (UINT i = 0; i + 1 < event.count; ++i) {
            const ELEMDESC& parameter = function->lprgelemdescParam[i];
            EXPECT_EQ(parameter.tdesc.vt, event.types[i]);
            EXPECT_EQ(parameter.paramdesc.wParamFlags, PARAMFLAG_FIN);
            if (parameter.tdesc.vt == VT_PTR) {
                EXPECT_EQ(ReferredTo(events, parameter.tdesc.lptdesc->hreftype), IID__CDLItem);
            }
        }
        BSTR names[4]{};
        UINT count = 0;
        ASSERT_EQ(events->GetNames(event.id, names, 4, &count), S_OK);
        ASSERT_EQ(count, event.count);
        for (UINT i = 0; i < count; ++i) EXPECT_STREQ(names[i], event.names[i]);
    }
}

TEST_F(TypeLibrary, HasTheStates) {
    ITypeInfo* states = Type(GUID_TSDLStateEnum);
    const wchar_t* const names[] = {L"tsdStopped", L"tsdStarting", L"tsdDownloading",
                                    L"tsdPending", L"tsdFinished", L"tsdBroken"};
    ASSERT_EQ(Attributes(GUID_TSDLStateEnum).cVars, 6);
    for (UINT i = 0; i < 6; ++i) {
        VARDESC* state = nullptr;
        ASSERT_EQ(states->GetVarDesc(i, &state), S_OK);
        EXPECT_EQ(NameOf(states, state->memid), names[i]);
        EXPECT_EQ(state->lpvarValue->vt, VT_I4);
        EXPECT_EQ(state->lpvarValue->lVal, static_cast<LONG>(i));
    }
}

TEST(VersionRecord, IsTheComponents) {
    const std::string path = Environment("TSASYNC_DLL");
    std::vector<char> record(GetFileVersionInfoSizeA(path.c_str(), nullptr));
    ASSERT_FALSE(record.empty());
    ASSERT_TRUE(GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(record.size()), record.data()));
    void* value = nullptr;
    UINT size = 0;
    ASSERT_TRUE(VerQueryValueA(record.data(), "\\", &value, &size));
    const auto& fixed = *static_cast<const VS_FIXEDFILEINFO*>(value);
    for (const DWORD high : {fixed.dwFileVersionMS, fixed.dwProductVersionMS}) EXPECT_EQ(high, 0x10000u);
    for (const DWORD low : {fixed.dwFileVersionLS, fixed.dwProductVersionLS}) EXPECT_EQ(low, 103u);
    EXPECT_EQ(fixed.dwFileType, static_cast<DWORD>(VFT_DLL));
    EXPECT_EQ(fixed.dwFileOS, static_cast<DWORD>(VOS__WINDOWS32));
    const struct {
        const char* name;
        const char* text;
    } expected[] = {{"FileDescription", "quillmark Async Transfer Module"},
                    {"FileVersion", "1.00.0103"},
                    {"ProductVersion", "1.00.0103"},
                    {"InternalName", "QMASYN10"},
                    {"OriginalFilename", "QMASYN10.DLL"},
                    {"OLESelfRegister", ""}};
    for (const auto& entry : expected) {
        const std::string name = std::string("\\StringFileInfo\\040904B0\\") + entry.name;
        ASSERT_TRUE(VerQueryValueA(record.data(), name.c_str(), &value, &size)) << entry.name;
        EXPECT_STREQ(static_cast<const char*>(value), entry.text);
    }
}

}  // namespace
