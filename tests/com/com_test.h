#pragma once

#include "tests/platform/clock.h"
#include "tests/platform/settings_store.h"
#include "tests/platform/url_reader.h"
#include "tsasync/TSAsync.h"
#include "tsasync/host.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace tsasync::test {

// A manager, made as a host makes it, over the tests' platform.
class ComTest : public testing::Test {
  protected:
    ComTest() {
        testplatform::ClearSettings();
        testplatform::RefuseReads(0);
        manager = host::CreateManager(&::DllGetClassObject);
    }
    ~ComTest() override {
        manager.Reset();
        EXPECT_EQ(DllCanUnloadNow(), S_OK) << "an object was not released";
    }

    IDispatch& Late() { return *manager.Get(); }

    // The handle of a newly registered URL.
    std::u16string Add(std::u16string_view url) {
        host::Bstr handle;
        host::Check(manager->AddURL(host::Bstr(url), nullptr, VARIANT_FALSE, handle.Put()));
        return handle.Text();
    }

    std::u16string HandleOf(std::u16string_view url) {
        host::Bstr handle;
        host::Check(manager->GetHDL(host::Bstr(url), handle.Put()));
        return handle.Text();
    }

    // The record of the next StateChanged that `action` raises.
    host::ComPtr<_CDLItem> ItemFrom(const std::function<void()>& action) {
        host::ComPtr<_CDLItem> seen;
        const host::Connection connection(manager,
                                          {[&seen](_CDLItem& item) { seen = host::ComPtr(&item); }, {}});
        action();
        return seen;
    }

    host::ComPtr<_CDLManager> manager;
};

}  // namespace tsasync::test
