#pragma once

#include <curl/curl.h>

#include <memory>
#include <vector>

namespace tsasync::platform::reader {

struct FreeEasy {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
using EasyHandle = std::unique_ptr<CURL, FreeEasy>;

// libcurl's transfer handles with all the options that are the same for every read. They are used again,
// unless a server or a proxy has asked a user's name of them: they would answer the next server with what
// they know of that.
class EasyHandlePool {
  public:
    EasyHandle Take();
    void GiveBack(EasyHandle handle);

  private:
    std::vector<EasyHandle> m_free;
};

}  // namespace tsasync::platform::reader
