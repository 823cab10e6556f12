#include "platform/linux/curl/easy_handle.h"

#include "platform/linux/curl/timing.h"

#include <glib.h>

namespace tsasync::platform::reader {

namespace {

constexpr long kReceiveBuffer = 64 * 1024;  // bytes; larger ones fall out of the processor's cache

void SetTrust(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_SSLVERSION, CURL_SSLVERSION_TLSv1_2);
    for (const char* name : {"CURL_CA_BUNDLE", "SSL_CERT_FILE"}) {
        if (const char* file = g_getenv(name); file != nullptr && *file != '\0') {
            curl_easy_setopt(easy, CURLOPT_CAINFO, file);
            return;
        }
    }
}

EasyHandle Create() {
    EasyHandle easy(curl_easy_init());
    CURL* const handle = easy.get();
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);  // a cancelled name look-up is not waited for
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https,ftp");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);  // redirections are ours: Redirections
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_2TLS);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, "QMASYN10/1.0");
    curl_easy_setopt(handle, CURLOPT_NETRC, CURL_NETRC_OPTIONAL);
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, CURLAUTH_BASIC | CURLAUTH_DIGEST);
    curl_easy_setopt(handle, CURLOPT_PROXYAUTH, CURLAUTH_BASIC | CURLAUTH_DIGEST);
    curl_easy_setopt(handle, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, kReceiveBuffer);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(Timing().connect.count()));
    SetTrust(handle);
    return easy;
}

}  // namespace

EasyHandle EasyHandlePool::Take() {
    if (m_free.empty()) return Create();
    EasyHandle easy = std::move(m_free.back());
    m_free.pop_back();
    return easy;
}

void EasyHandlePool::GiveBack(EasyHandle handle) {
    long server = 0;
    long proxy = 0;
    curl_easy_getinfo(handle.get(), CURLINFO_HTTPAUTH_AVAIL, &server);
    curl_easy_getinfo(handle.get(), CURLINFO_PROXYAUTH_AVAIL, &proxy);
    if (server == 0 && proxy == 0) m_free.push_back(std::move(handle));
}

}  // namespace tsasync::platform::reader
