#include "platform/linux/reader/proxy.h"

#include <gio/gio.h>

#include <string_view>

namespace tsasync::platform::reader {

namespace {

// Any proxy variable makes the environment decide alone, and libcurl reads it: some of GIO's resolvers read
// it too, but by other rules. HTTP_PROXY then means nothing: a web server's CGI programs could be given it by
// their clients.
bool EnvironmentDecides() {
    for (const char* name : {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                             "HTTPS_PROXY", "FTP_PROXY", "ALL_PROXY", "NO_PROXY"}) {
        if (g_getenv(name) != nullptr) return true;
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
    if (EnvironmentDecides()) return std::nullopt;
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
