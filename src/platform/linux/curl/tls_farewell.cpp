#include "platform/linux/curl/tls_farewell.h"

#include <openssl/ssl.h>

namespace tsasync::platform::reader {

namespace {

// The place that a connection keeps for its listener.
int ListenerIndex() {
    static const int index = SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

void OnEvent(const SSL* connection, int where, int alert) {
    if ((where & SSL_CB_READ_ALERT) != SSL_CB_READ_ALERT || (alert & 0xFF) != SSL_AD_CLOSE_NOTIFY) return;
    static_cast<TlsFarewell*>(SSL_get_ex_data(connection, ListenerIndex()))->Hear();
}

}  // namespace

void TlsFarewell::Await(CURL* easy) {
    const curl_tlssessioninfo* session = nullptr;
    curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session);
    if (session == nullptr || session->backend != CURLSSLBACKEND_OPENSSL || session->internals == nullptr)
        return;
    auto* const connection = static_cast<SSL*>(session->internals);
    SSL_set_ex_data(connection, ListenerIndex(), this);
    SSL_set_info_callback(connection, OnEvent);
    m_awaited = true;
}

}  // namespace tsasync::platform::reader
