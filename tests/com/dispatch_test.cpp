// Binding by name and by dispatch identifier.
#include "com/TypeLibrary.h"
#include "tests/com/com_test.h"
#include "tests/com/late_bound.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tsasync::test {
namespace {

using Dispatch = ComTest;

constexpr const char16_t* kUrl = u"http://host/a.png";

TEST_F(Dispatch, NamesAreFoundInAnyLetterCase) {
    EXPECT_EQ(Find(Late(), {u"gethdl"}), std::pair(S_OK, std::vector<DISPID>{0x60030019}));
    EXPECT_EQ(Find(Late(), {u"LANGID"}), std::pair(S_OK, std::vector<DISPID>{0x6803001A}));
    EXPECT_EQ(Find(Late(), {u"AddURL", u"force", u"URL", u"name"}),
              std::pair(S_OK, std::vector<DISPID>{0x60030005, 2, 0, 1}));
    EXPECT_EQ(Find(Late(), {u"changestate", u"HDL", u"State", u"StartTime", u"Force"}),
              std::pair(S_OK, std::vector<DISPID>{0x6003000B, 0, 1, 2, 3}));
}

TEST_F(Dispatch, UnknownNamesAreTold) {
    EXPECT_EQ(Find(Late(), {u"Nothing", u"URL"}),
              std::pair(DISP_E_UNKNOWNNAME, std::vector<DISPID>{DISPID_UNKNOWN, DISPID_UNKNOWN}));
    EXPECT_EQ(Find(Late(), {u"AddURL", u"URL", u"HDL"}),
              std::pair(DISP_E_UNKNOWNNAME, std::vector<DISPID>{0x60030005, 0, DISPID_UNKNOWN}));
    EXPECT_EQ(Find(Late(), {u""}).first, DISP_E_UNKNOWNNAME);
    EXPECT_EQ(Find(Late(), {u"AutoStart", u""}).first, DISP_E_UNKNOWNNAME);
    DISPID id = 0;
    OLECHAR name[] = OLESTR("Jobs");
    LPOLESTR names = name;
    EXPECT_EQ(Late().GetIDsOfNames(IID_IUnknown, &names, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(Late().GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_INVALIDARG);
}

TEST_F(Dispatch, AddUrlTakesItsDefaults) {
    const Outcome added = Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl)});
    ASSERT_EQ(added.result, S_OK);
    EXPECT_EQ(added.value.Text(), Call(Late(), 0x60030019, {Value(kUrl)}).value.Text());
    const auto item = ItemFrom([this] { Add(kUrl); });
    host::Bstr name;
    ASSERT_EQ(item->get_Name(name.Put()), S_OK);
    EXPECT_EQ(name.Text().substr(0, 5), u"Asset");
}

// Four ways to leave Name out and give Force, or to give both by name.
TEST_F(Dispatch, ArgumentsMayBeNamedOmittedAndConverted) {
    const auto item = ItemFrom([this] {
        EXPECT_EQ(Call(Late(), DISPID_CDLManager_AddURL, {},
                       {{2, Value(u"False")}, {1, Value(u"picture")}, {0, Value(kUrl)}})
                      .result,
                  S_OK);
    });
    ASSERT_TRUE(item);
    EXPECT_EQ(Read(*item.Get(), DISPID_CDLItem_Name).value.Text(), u"picture");
    EXPECT_EQ(Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl), Value::Omitted(), Value::Long(0)}).result,
              S_OK);
    EXPECT_EQ(
        Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl), Value::Omitted()}, {{2, Value::Real(0)}}).result,
        S_OK);
    EXPECT_EQ(Call(Late(), DISPID_CDLManager_AddURL, {Value(kUrl), Value(), Value()}).result, S_OK);
    EXPECT_EQ(Read(*item.Get(), DISPID_CDLItem_RefCount).value.Number(), 4);
}

TEST_F(Dispatch, ChangeStateReadsForceByReference) {
    const auto handle = Value(Add(kUrl));
    ASSERT_EQ(Write(Late(), DISPID_CDLManager_ActiveJobs, Value::Long(3)).result, S_OK);
    // At the limit and not yet due: only a forced start starts.
    const Value later = Value::Date(999999);
    const auto item = ItemFrom([&] {
        EXPECT_EQ(
            Call(Late(), DISPID_CDLManager_ChangeState, {handle, Value::Long(tsdStarting), later}).result,
            S_OK);
    });
    ::TSDLStateEnum state{};
    item->get_State(&state);
    EXPECT_EQ(state, ::tsdPending) << "Force defaults to False";

    VARIANT_BOOL noForce = VARIANT_FALSE;
    Value inner = Value::ByRef(noForce);
    EXPECT_EQ(
        Call(Late(), DISPID_CDLManager_ChangeState, {handle, Value(u"1"), later, Value::ByRef(inner.Get())})
            .result,
        S_OK);
    item->get_State(&state);
    EXPECT_EQ(state, ::tsdPending);

    VARIANT_BOOL force = VARIANT_TRUE;
    EXPECT_EQ(
        Call(Late(), DISPID_CDLManager_ChangeState, {handle, Value(u"1"), later, Value::ByRef(force)}).result,
        S_OK);
    item->get_State(&state);
    EXPECT_EQ(state, ::tsdStarting);
    EXPECT_EQ(force, VARIANT_TRUE) << "it is only read";
}

TEST_F(Dispatch, StartTimeIsADate) {
    const auto handle = Value(Add(kUrl));
    const auto item = ItemFrom([&] {
        EXPECT_EQ(Call(Late(), DISPID_CDLManager_ChangeState,
                       {handle, Value::Long(tsdPending), Value::Date(999999.5)})
                      .result,
                  S_OK);
    });
    const Outcome start = Read(*item.Get(), DISPID_CDLItem_Start);
    EXPECT_EQ(start.value.Type(), VT_DATE);
    EXPECT_EQ(start.value.RealNumber(), 999999.5);
}

TEST_F(Dispatch, ResultsHaveTheirTypes) {
    const auto item = ItemFrom([this] { Add(kUrl); });
    struct Row {
        IDispatch* object;
        DISPID id;
        VARTYPE type;
    };
    const Row rows[] = {{manager.Get(), DISPID_CDLManager_AutoStart, VT_BOOL},
                        {manager.Get(), DISPID_CDLManager_AssetsPath, VT_BSTR},
                        {manager.Get(), DISPID_CDLManager_ActiveJobs, VT_I2},
                        {manager.Get(), DISPID_CDLManager_Jobs, VT_I2},
                        {item.Get(), DISPID_CDLItem_Name, VT_BSTR},
                        {item.Get(), DISPID_CDLItem_Attempts, VT_I2},
                        {item.Get(), DISPID_CDLItem_Start, VT_DATE},
                        {item.Get(), DISPID_CDLItem_State, VT_I4},
                        {item.Get(), DISPID_CDLItem_TotalSize, VT_I4}};
    for (const Row& row : rows) EXPECT_EQ(Read(*row.object, row.id).value.Type(), row.type) << row.id;
    EXPECT_EQ(Call(Late(), DISPID_CDLManager_RemoveURL, {Value(Add(kUrl))}).value.Type(), VT_EMPTY);
    // Languages that can't tell a method from a property ask for both.
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_Jobs, DISPATCH_METHOD | DISPATCH_PROPERTYGET).value.Number(),
              1);
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_Elect, DISPATCH_METHOD | DISPATCH_PROPERTYGET).result, S_OK);
}

TEST_F(Dispatch, MembersThatAreNotThereAreRefused) {
    EXPECT_EQ(Read(Late(), DISPID_CDLManager_LangID).result, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Write(Late(), DISPID_CDLManager_Jobs, Value::Long(1)).result, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(Late(), DISPID_CDLManager_AutoStart).result, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(Late(), 4711).result, DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_AutoStart, DISPATCH_PROPERTYPUTREF, {},
                     {{DISPID_PROPERTYPUT, Value::Bool(true)}})
                  .result,
              DISP_E_MEMBERNOTFOUND);
    DISPPARAMS none{};
    EXPECT_EQ(Late().Invoke(DISPID_CDLManager_Elect, IID_IUnknown, 0, DISPATCH_METHOD, &none, nullptr,
                            nullptr, nullptr),
              DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(Late().Invoke(DISPID_CDLManager_Elect, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr,
                            nullptr),
              E_INVALIDARG);
}

struct BadCall {
    DISPID id;
    std::vector<Value> positional;
    std::vector<std::pair<DISPID, Value>> named;
    HRESULT result;
    UINT badArgument;  // index in the array as passed: named first, then positional from the last
};

TEST_F(Dispatch, BadArgumentsAreNamed) {
    Value array = Value::Long(1);
    const BadCall calls[] = {
        {DISPID_CDLManager_AddURL, {}, {}, DISP_E_PARAMNOTOPTIONAL, 0},
        {DISPID_CDLManager_ChangeState, {Value(u"x")}, {}, DISP_E_PARAMNOTOPTIONAL, 0},
        {DISPID_CDLManager_AddURL, {Value::Omitted(), Value(u"n")}, {}, DISP_E_PARAMNOTOPTIONAL, 1},
        {DISPID_CDLManager_GetHDL, {Value(u"a"), Value(u"b")}, {}, DISP_E_BADPARAMCOUNT, 0},
        {DISPID_CDLManager_ChangeState, {Value(u"x"), Value(u"soon")}, {}, DISP_E_TYPEMISMATCH, 0},
        {DISPID_CDLManager_ChangeState,
         {Value(u"x"), Value::Long(0), Value::Null(), Value::Bool(true)},
         {},
         DISP_E_TYPEMISMATCH,
         1},
        {DISPID_CDLManager_ChangeState, {Value(u"x"), Value::Real(3e9)}, {}, DISP_E_OVERFLOW, 0},
        {DISPID_CDLManager_AddURL, {Value(u"x")}, {{3, Value()}}, DISP_E_PARAMNOTFOUND, 0},
        {DISPID_CDLManager_AddURL,
         {Value(u"x")},
         {{1, Value(u"n")}, {0, Value(u"y")}},
         DISP_E_PARAMNOTFOUND,
         1},
        {DISPID_CDLManager_AddURL, {Value(u"x")}, {{-7, Value()}}, DISP_E_PARAMNOTFOUND, 0},
        {DISPID_CDLManager_AddURL, {Value(u"x")}, {{DISPID_PROPERTYPUT, Value()}}, DISP_E_PARAMNOTFOUND, 0},
    };
    for (const BadCall& call : calls) {
        const Outcome outcome = Call(Late(), call.id, call.positional, call.named);
        EXPECT_EQ(outcome.result, call.result) << &call - calls;
        EXPECT_EQ(outcome.badArgument, call.result == DISP_E_BADPARAMCOUNT ? 0 : call.badArgument)
            << &call - calls;
    }
    EXPECT_EQ(Read(Late(), DISPID_CDLManager_Jobs).value.Number(), 0) << "no refused call has an effect";
    EXPECT_EQ(Write(Late(), DISPID_CDLManager_ActiveJobs, Value::Long(40000)).result, DISP_E_OVERFLOW);
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_ActiveJobs, DISPATCH_PROPERTYPUT).result,
              DISP_E_PARAMNOTOPTIONAL);
    DISPPARAMS lie{nullptr, nullptr, 2, 0};
    EXPECT_EQ(Late().Invoke(DISPID_CDLManager_AddURL, IID_NULL, 0, DISPATCH_METHOD, &lie, nullptr, nullptr,
                            nullptr),
              E_INVALIDARG);
    lie = {&array.Get(), nullptr, 1, 2};
    EXPECT_EQ(Late().Invoke(DISPID_CDLManager_AddURL, IID_NULL, 0, DISPATCH_METHOD, &lie, nullptr, nullptr,
                            nullptr),
              E_INVALIDARG);
}

// One description where the system has type libraries, none elsewhere.
TEST_F(Dispatch, DescribesTheInterfaceOnce) {
    UINT count = 9;
    EXPECT_EQ(Late().GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, com::HasTypeLibrary() ? 1u : 0u);
    ITypeInfo* description = nullptr;
    for (UINT index = 0; index < 3; ++index) {
        EXPECT_EQ(Late().GetTypeInfo(index, 0, &description), index < count ? S_OK : DISP_E_BADINDEX);
        EXPECT_EQ(description != nullptr, index < count);
    }
    host::ComPtr<IProvideClassInfo> described;
    EXPECT_EQ(Late().QueryInterface(IID_IProvideClassInfo, described.PutVoid()),
              count > 0 ? S_OK : E_NOINTERFACE);
}

}  // namespace
}  // namespace tsasync::test
