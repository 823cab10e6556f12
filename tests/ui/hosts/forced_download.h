#pragma once

#include "tsasync/host.hpp"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

// What the test hosts share: one forced download, and what the host saw of it on standard output.
namespace testhost {

struct Order {
    std::string url;
    std::string assets;
    LONG language = 0;
};

inline Order OrderFrom(char** arguments) {
    return {arguments[1], arguments[2], static_cast<LONG>(std::strtol(arguments[3], nullptr, 10))};
}

// Returns when the dialog is closed. `ticks` is counted up by the host's own timer. `prepared` runs between
// the creation of the manager and the download.
inline int Run(
    const Order& order, const int& ticks, const std::function<void()>& prepared = [] {}) {
    namespace host = tsasync::host;
    try {
        const auto manager = host::CreateManager(&DllGetClassObject);
        host::Check(manager->put_AssetsPath(host::Bstr(host::Utf16(order.assets))));
        host::Check(manager->put_LangID(order.language));
        prepared();
        const int before = ticks;
        host::Bstr handle;
        host::Check(manager->AddURL(host::Bstr(host::Utf16(order.url)), host::Bstr(u"asset"), VARIANT_TRUE,
                                    handle.Put()));
        SHORT active = -1;
        host::Check(manager->get_ActiveJobs(&active));
        std::printf("handle=%s\nactive=%d\nticks=%d\n", host::Utf8(handle.Text()).c_str(), active,
                    ticks - before);
        return 0;
    } catch (const host::Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

}  // namespace testhost
