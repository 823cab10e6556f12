#pragma once

#include <curl/curl.h>

namespace tsasync::platform::reader {

// Whether a secured server told the end of its last response. Where nothing but the end of the connection
// tells where the content ends, anybody on the way can cut it short, and libcurl takes that for its end.
class TlsFarewell {
  public:
    // Begins to listen on the connection of `easy`, whose current response must be the connection's last.
    // This object must outlive the request. A connection that is not secured says no farewell and need not.
    void Await(CURL* easy);
    // Whether the connection ended without the farewell that was awaited.
    bool IsMissing() const { return m_awaited && !m_heard; }

    void Hear() { m_heard = true; }

  private:
    bool m_awaited = false;
    bool m_heard = false;
};

}  // namespace tsasync::platform::reader
