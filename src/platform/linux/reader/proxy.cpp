#include "platform/linux/reader/proxy.h"

#include <gio/gio.h>

#include <string_view>

namespace tsasync::platform::reader {

namespace {

bool EnvironmentNames(const std::string& scheme) {
    // http_proxy has no form in capitals: a web server's CGI programs could be given that one by their
    // clients.
    for (const std::string& name :
         {scheme + "_proxy", std::string("all_proxy"), std::string("HTTPS_PROXY"), std::string("ALL_PROXY"),
          std::string("no_proxy"), std::string("NO_PROXY")}) {
        if (g_getenv(name.c_str()) != nullptr) return true;
    }
    return false;
}

// GIO writes socks:// where the proxy looks the names up.
std::string ForCurl(std::string_view proxy) {
    if (proxy.starts_with("direct://")) return {};
    if (proxy.starts_with("socks://")) return "socks5h" + std::string(proxy.substr(5));
    if (proxy.starts_with("socks5://")) return "socks5h" + std::string(proxy.substr(6));
    return std::string(proxy);
}

}  // namespace

std::optional<std::string> DesktopProxy(const SourceUrl& source) {
    if (EnvironmentNames(source.scheme)) return std::nullopt;
    GProxyResolver* resolver = g_proxy_resolver_get_default();
    if (!g_proxy_resolver_is_supported(resolver)) return std::nullopt;
    // The origin tells enough, and keeps what else the URL says to ourselves.
    gchar** proxies = g_proxy_resolver_lookup(resolver, (source.origin + "/").c_str(), nullptr, nullptr);
    std::optional<std::string> proxy;
    if (proxies != nullptr && proxies[0] != nullptr) proxy = ForCurl(proxies[0]);
    g_strfreev(proxies);
    return proxy;
}

}  // namespace tsasync::platform::reader
