// The entry points: class factory, unloading, registration.
#include "platform/module.h"
#include "platform/settings_store.h"
#include "tests/com/com_test.h"

#include <gtest/gtest.h>

#include <string>

namespace tsasync::test {
namespace {

using platform::kClassesRoot;

host::ComPtr<IClassFactory> Factory() {
    host::ComPtr<IClassFactory> factory;
    host::Check(DllGetClassObject(CLSID_CDLManager, IID_IClassFactory, factory.PutVoid()));
    return factory;
}

TEST(Server, MakesManagersOnly) {
    void* object = &object;
    EXPECT_EQ(DllGetClassObject(CLSID_CDLItem, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(DllGetClassObject(IID__CDLManager, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(DllGetClassObject(CLSID_CDLManager, IID_IDispatch, &object), E_NOINTERFACE);
    EXPECT_EQ(DllGetClassObject(CLSID_CDLManager, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(Server, FactoryRefusesAggregation) {
    const auto factory = Factory();
    void* object = &object;
    EXPECT_EQ(factory->CreateInstance(factory.Get(), IID_IUnknown, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID__CDLItem, &object), E_NOINTERFACE);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID__CDLManager, nullptr), E_POINTER);
}

TEST(Server, StaysForObjectsAndLocks) {
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    auto factory = Factory();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    factory->LockServer(TRUE);
    factory->LockServer(TRUE);
    factory->LockServer(FALSE);
    factory.Reset();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    Factory()->LockServer(FALSE);
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    auto manager = host::CreateManager(&::DllGetClassObject);
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    manager.Reset();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(Server, ObjectsHaveOneIdentity) {
    const auto manager = host::CreateManager(&::DllGetClassObject);
    const auto identity = host::Query<IUnknown>(manager.Get(), IID_IUnknown);
    for (const IID& iid : {IID_IDispatch, IID__CDLManager, IID_CDLManager___v0, IID_CDLManager___v1,
                           IID_ISupportErrorInfo, IID_IConnectionPointContainer}) {
        const auto part = host::Query<IUnknown>(manager.Get(), iid);
        EXPECT_EQ(host::Query<IUnknown>(part.Get(), IID_IUnknown).Get(), identity.Get());
        EXPECT_EQ(host::Query<IDispatch>(part.Get(), IID_IDispatch).Get(), manager.Get());
    }
    void* none = &none;
    EXPECT_EQ(manager->QueryInterface(IID__CDLItem, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(manager->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

constexpr const char16_t* kClass = u"CLSID\\{F48DE0B7-A80A-11D3-93D8-00500433864D}";

TEST(Registration, SaysWhereTheClassIs) {
    testplatform::ClearSettings();
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const std::u16string server = std::u16string(kClass) + u"\\InprocServer32";
    EXPECT_EQ(platform::ReadSetting(kClassesRoot, server, u""), platform::ModulePath());
    testplatform::RefuseSettingWrites(true);
    EXPECT_EQ(DllRegisterServer(), SELFREG_E_CLASS);
    EXPECT_EQ(DllUnregisterServer(), SELFREG_E_CLASS);
    testplatform::RefuseSettingWrites(false);
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    // Half a registration goes, too: keys without a value of their own.
    ASSERT_TRUE(platform::WriteSetting(kClassesRoot, server, u"ThreadingModel", u"Apartment"));
    EXPECT_EQ(DllUnregisterServer(), S_OK);
    EXPECT_FALSE(platform::SettingKeyExists(kClassesRoot, kClass));
}

}  // namespace
}  // namespace tsasync::test
