#pragma once

#include "platform/url_reader.h"

#include <curl/curl.h>

#include <string_view>

namespace tsasync::platform::reader {

// The failures of a read. Each description names the culprit; the numbers are the URL moniker's.
ReadFailure Failure(std::int32_t number, std::string_view what, std::string_view culprit);

// A transfer that libcurl ended with `code` (not CURLE_OK); `detail` is libcurl's own text.
ReadFailure TransportFailure(CURLcode code, std::string_view detail, std::string_view url);

// A response that holds no data for us.
ReadFailure StatusFailure(int status, std::string_view url);

// A call of the system on a file that failed with `systemError` (errno).
ReadFailure FileFailure(int systemError, std::string_view path);

}  // namespace tsasync::platform::reader
