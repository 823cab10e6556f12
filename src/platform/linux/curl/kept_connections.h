#pragma once

#include <curl/curl.h>

#include <set>
#include <string>

namespace tsasync::platform::reader {

std::string AddressText(const curl_sockaddr& address);

// The connections that libcurl has open. It keeps them for later requests and would take whatever has come on
// one meanwhile for the answer to the next request.
class KeptConnections {
  public:
    // Callbacks of libcurl, with this object.
    curl_socket_t Open(const curl_sockaddr& address);
    static int Close(void* self, curl_socket_t connection);

    // Whether something has come on the connection of `easy` (in a callback before its request, which tells
    // both ends), or it has ended. What secured servers say of the security alone, as session tickets, does
    // not count, nor what belongs to a connection that carries many requests at a time.
    bool HasUnasked(CURL* easy, const char* peer, int peerPort, int ownPort) const;

  private:
    std::set<curl_socket_t> m_open;
};

}  // namespace tsasync::platform::reader
