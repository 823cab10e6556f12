#pragma once

#include "platform/reader/failure.h"

#include <curl/curl.h>

#include <string_view>

namespace tsasync::platform::reader {

// Failures that this system alone tells.

// A transfer that libcurl ended with `code` (not CURLE_OK); `detail` is libcurl's own text.
ReadFailure TransportFailure(CURLcode code, std::string_view detail, std::string_view url);

// A call of the system on a file that failed with `systemError` (errno).
ReadFailure FileFailure(int systemError, std::string_view path);

}  // namespace tsasync::platform::reader
