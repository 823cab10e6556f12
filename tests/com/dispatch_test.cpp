// Binding by name and by dispatch identifier.
#include "platform/type_library.h"
#include "tests/com/com_test.h"
#include "tests/com/late_bound.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tsasync::test {
namespace {

class Dispatch : public ComTest {
  protected:
    HRESULT InvokeRaw(DISPPARAMS* arguments, DISPID id, const IID& iid = IID_NULL) {
        return Late().Invoke(id, iid, 0, DISPATCH_METHOD, arguments, nullptr, nullptr, nullptr);
    }
};

constexpr const char16_t* kUrl = u"http://host/a.png";

TEST_F(Dispatch, NamesAreFoundInAnyLetterCase) {
    const struct {
        std::vector<std::u16string> names;
        HRESULT result;
        std::vector<DISPID> ids;
    } cases[] = {{{u"gethdl"}, S_OK, {0x60030019}},
                 {{u"LANGID"}, S_OK, {0x6803001A}},
                 {{u"AddURL", u"force", u"URL", u"name"}, S_OK, {0x60030005, 2, 0, 1}},
                 {{u"changestate", u"HDL", u"State", u"StartTime", u"Force"}, S_OK, {0x6003000B, 0, 1, 2, 3}},
                 {{u"Nothing", u"URL"}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN, DISPID_UNKNOWN}},
                 {{u"AddURL", u"URL", u"HDL"}, DISP_E_UNKNOWNNAME, {0x60030005, 0, DISPID_UNKNOWN}},
                 {{u""}, DISP_E_UNKNOWNNAME, {DISPID_UNKNOWN}},
                 {{u"AutoStart", u""}, DISP_E_UNKNOWNNAME, {DISPID_CDLManager_AutoStart, DISPID_UNKNOWN}}};
    for (const auto& c : cases) EXPECT_EQ(Find(Late(), c.names), std::pair(c.result, c.ids)) << &c - cases;
    DISPID id = 0;
    OLECHAR name[] = OLESTR("Jobs");
    LPOLESTR names = name;
    EXPECT_EQ(Late().GetIDsOfNames(IID_IUnknown, &names, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(Late().GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_INVALIDARG);
}

// Four ways to leave Name out and give Force, or to give both by name.
TEST_F(Dispatch, ArgumentsMayBeNamedOmittedAndConverted) {
    const auto add = [this](const std::vector<Value>& positional,
                            const std::vector<std::pair<DISPID, Value>>& named = {}) {
        const Outcome added = Call(Late(), DISPID_CDLManager_AddURL, positional, named);
        EXPECT_EQ(added.result, S_OK);
        EXPECT_EQ(added.value.Text(), Call(Late(), 0x60030019, {Value(kUrl)}).value.Text());
    };
    const auto item = ItemFrom([&] {
        add({}, {{2, Value(u"False")}, {1, Value(u"picture")}, {0, Value(kUrl)}});
    });
    EXPECT_EQ(Read(*item.Get(), DISPID_CDLItem_Name).value.Text(), u"picture");
    add({Value(kUrl), Value::Omitted(), Value::Long(0)});
    add({Value(kUrl), Value::Omitted()}, {{2, Value::Real(0)}});
    add({Value(kUrl), Value(), Value()});
    Value omitted = Value::Omitted();
    SCODE missing = DISP_E_PARAMNOTFOUND;
    add({Value(kUrl), Value::ByRef(omitted.Get()), Value::ByRef(missing)});
    EXPECT_EQ(Read(*item.Get(), DISPID_CDLItem_RefCount).value.Number(), 5);
    const auto other = ItemFrom([&] { Call(Late(), DISPID_CDLManager_AddURL, {Value(u"http://host/b")}); });
    EXPECT_EQ(Read(*other.Get(), DISPID_CDLItem_Name).value.Text().substr(0, 5), u"Asset");
}

// At the limit and not yet due: only a forced start starts.
TEST_F(Dispatch, ChangeStateReadsForceByReference) {
    const auto handle = Value(Add(kUrl));
    ASSERT_EQ(Write(Late(), DISPID_CDLManager_ActiveJobs, Value::Long(3)).result, S_OK);
    VARIANT_BOOL no = VARIANT_FALSE;
    VARIANT_BOOL yes = VARIANT_TRUE;
    Value inner = Value::ByRef(no);
    const struct {
        std::vector<Value> more;
        LONG state;
    } cases[] = {{{Value::Long(tsdStarting), Value::Date(999999.5)}, tsdPending},  // Force defaults to False
                 {{Value(u"1"), Value::Date(999999.5), Value::ByRef(inner.Get())}, tsdPending},
                 {{Value(u"1"), Value::Date(999999.5), Value::ByRef(yes)}, tsdStarting}};
    for (const auto& c : cases) {
        std::vector<Value> arguments{handle};
        arguments.insert(arguments.end(), c.more.begin(), c.more.end());
        const auto item = ItemFrom([&] {
            EXPECT_EQ(Call(Late(), DISPID_CDLManager_ChangeState, arguments).result, S_OK) << &c - cases;
        });
        EXPECT_EQ(Read(*item.Get(), DISPID_CDLItem_State).value.Number(), c.state) << &c - cases;
        const Outcome start = Read(*item.Get(), DISPID_CDLItem_Start);
        EXPECT_EQ(start.value.Type(), VT_DATE);
        EXPECT_EQ(start.value.RealNumber(), 999999.5);
    }
    EXPECT_EQ(yes, VARIANT_TRUE) << "it is only read";
}

TEST_F(Dispatch, ResultsHaveTheirTypes) {
    const auto item = ItemFrom([this] { Add(kUrl); });
    const struct {
        IDispatch* object;
        DISPID id;
        VARTYPE type;
    } rows[] = {
        {&Late(), DISPID_CDLManager_AutoStart, VT_BOOL}, {&Late(), DISPID_CDLManager_AssetsPath, VT_BSTR},
        {&Late(), DISPID_CDLManager_ActiveJobs, VT_I2},  {&Late(), DISPID_CDLManager_Jobs, VT_I2},
        {item.Get(), DISPID_CDLItem_Name, VT_BSTR},      {item.Get(), DISPID_CDLItem_Attempts, VT_I2},
        {item.Get(), DISPID_CDLItem_State, VT_I4},       {item.Get(), DISPID_CDLItem_TotalSize, VT_I4}};
    for (const auto& row : rows) EXPECT_EQ(Read(*row.object, row.id).value.Type(), row.type) << row.id;
    EXPECT_EQ(Call(Late(), DISPID_CDLManager_RemoveURL, {Value(Add(kUrl))}).value.Type(), VT_EMPTY);
    // Languages that can't tell a method from a property ask for both.
    constexpr WORD kEither = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_Jobs, kEither).value.Number(), 1);
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_Elect, kEither).result, S_OK);
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
    EXPECT_EQ(InvokeRaw(&none, DISPID_CDLManager_Elect, IID_IUnknown), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(InvokeRaw(nullptr, DISPID_CDLManager_Elect), E_INVALIDARG);
}

TEST_F(Dispatch, BadArgumentsAreNamed) {
    constexpr DISPID kAdd = DISPID_CDLManager_AddURL;
    constexpr DISPID kChange = DISPID_CDLManager_ChangeState;
    const Value x(u"x");
    const struct {
        DISPID id;
        std::vector<Value> positional;
        std::vector<std::pair<DISPID, Value>> named;
        HRESULT result;
        UINT badArgument;  // index in the array as passed: named first, then positional from the last
    } calls[] = {{kAdd, {}, {}, DISP_E_PARAMNOTOPTIONAL, 0},
                 {kChange, {x}, {}, DISP_E_PARAMNOTOPTIONAL, 0},
                 {kAdd, {Value::Omitted(), x}, {}, DISP_E_PARAMNOTOPTIONAL, 1},
                 {DISPID_CDLManager_GetHDL, {x, x}, {}, DISP_E_BADPARAMCOUNT, 0},
                 {kChange, {x, Value(u"soon")}, {}, DISP_E_TYPEMISMATCH, 0},
                 {kChange, {x, Value::Long(0), Value::Null(), Value::Bool(true)}, {}, DISP_E_TYPEMISMATCH, 1},
                 {kChange, {x, Value::Real(3e9)}, {}, DISP_E_OVERFLOW, 0},
                 {kAdd, {x}, {{3, Value()}}, DISP_E_PARAMNOTFOUND, 0},
                 {kAdd, {x}, {{1, x}, {0, x}}, DISP_E_PARAMNOTFOUND, 1},
                 {kAdd, {x}, {{-7, Value()}}, DISP_E_PARAMNOTFOUND, 0},
                 {kAdd, {x}, {{DISPID_PROPERTYPUT, Value()}}, DISP_E_PARAMNOTFOUND, 0}};
    for (const auto& call : calls) {
        const Outcome outcome = Call(Late(), call.id, call.positional, call.named);
        EXPECT_EQ(std::pair(outcome.result, outcome.badArgument), std::pair(call.result, call.badArgument))
            << &call - calls;
    }
    EXPECT_EQ(Read(Late(), DISPID_CDLManager_Jobs).value.Number(), 0) << "no refused call has an effect";
    EXPECT_EQ(Write(Late(), DISPID_CDLManager_ActiveJobs, Value::Long(40000)).result, DISP_E_OVERFLOW);
    EXPECT_EQ(Invoke(Late(), DISPID_CDLManager_ActiveJobs, DISPATCH_PROPERTYPUT).result,
              DISP_E_PARAMNOTOPTIONAL);
    Value one = Value::Long(1);
    DISPPARAMS lies[] = {{nullptr, nullptr, 2, 0}, {&one.Get(), nullptr, 1, 1}, {&one.Get(), nullptr, 1, 2}};
    for (DISPPARAMS& lie : lies) EXPECT_EQ(InvokeRaw(&lie, kAdd), E_INVALIDARG);
}

// One description where the system has type libraries, none elsewhere.
TEST_F(Dispatch, DescribesTheInterfaceOnce) {
    UINT count = 9;
    EXPECT_EQ(Late().GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, platform::HasTypeLibrary() ? 1u : 0u);
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
