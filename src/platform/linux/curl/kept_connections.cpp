#include "platform/linux/curl/kept_connections.h"

#include <netdb.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace tsasync::platform::reader {

namespace {

struct End {
    std::string host;
    int port = 0;

    bool operator==(const End&) const = default;
};

End EndOf(const sockaddr* address, socklen_t size) {
    char host[NI_MAXHOST] = {};
    char port[NI_MAXSERV] = {};
    getnameinfo(address, size, host, sizeof host, port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV);
    return {host, std::atoi(port)};
}

// `name` is getsockname or getpeername.
End EndOf(curl_socket_t connection, int (*name)(int, sockaddr*, socklen_t*)) {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    auto* const address = reinterpret_cast<sockaddr*>(&storage);
    return name(connection, address, &size) == 0 ? EndOf(address, size) : End{};
}

// Null where the connection is not secured.
SSL* SecurityOf(CURL* easy) {
    const curl_tlssessioninfo* session = nullptr;
    curl_easy_getinfo(easy, CURLINFO_TLS_SSL_PTR, &session);
    const bool isOurs = session != nullptr && session->backend == CURLSSLBACKEND_OPENSSL;
    return isOurs ? static_cast<SSL*>(session->internals) : nullptr;
}

bool SpeaksHttp2(const SSL* security) {
    const unsigned char* protocol = nullptr;
    unsigned size = 0;
    SSL_get0_alpn_selected(security, &protocol, &size);
    return std::string_view(reinterpret_cast<const char*>(protocol), size) == "h2";
}

// Lets OpenSSL take what it alone is told. libcurl's own way to the socket is not to be used outside its
// calls. A connection on which OpenSSL wants to answer is left to die.
bool HasContent(SSL* security, curl_socket_t connection) {
    BIO* const in = SSL_get_rbio(security);
    BIO* const out = SSL_get_wbio(security);
    BIO_up_ref(in);
    BIO_up_ref(out);
    BIO* const answer = BIO_new(BIO_s_mem());
    SSL_set0_rbio(security, BIO_new_socket(connection, BIO_NOCLOSE));
    SSL_set0_wbio(security, answer);
    char byte = 0;
    const int result = SSL_peek(security, &byte, 1);
    const bool waits = result <= 0 && SSL_get_error(security, result) == SSL_ERROR_WANT_READ;
    const bool isQuiet = waits && BIO_pending(answer) == 0;
    SSL_set0_rbio(security, in);
    SSL_set0_wbio(security, out);
    ERR_clear_error();
    return !isQuiet;
}

}  // namespace

std::string AddressText(const curl_sockaddr& address) { return EndOf(&address.addr, address.addrlen).host; }

curl_socket_t KeptConnections::Open(const curl_sockaddr& address) {
    const curl_socket_t connection =
        socket(address.family, address.socktype | SOCK_CLOEXEC, address.protocol);
    if (connection != CURL_SOCKET_BAD) m_open.insert(connection);
    return connection;
}

int KeptConnections::Close(void* self, curl_socket_t connection) {
    static_cast<KeptConnections*>(self)->m_open.erase(connection);
    return close(connection);
}

bool KeptConnections::HasUnasked(CURL* easy, const char* peer, int peerPort, int ownPort) const {
    const auto found = std::find_if(m_open.begin(), m_open.end(), [&](curl_socket_t one) {
        return EndOf(one, getsockname).port == ownPort && EndOf(one, getpeername) == End{peer, peerPort};
    });
    if (found == m_open.end()) return true;
    SSL* const security = SecurityOf(easy);
    if (security != nullptr && SpeaksHttp2(security)) return false;
    char byte = 0;
    const bool isQuiet = recv(*found, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
    if (security == nullptr) return !isQuiet;
    return SSL_has_pending(security) != 0 || (!isQuiet && HasContent(security, *found));
}

}  // namespace tsasync::platform::reader
