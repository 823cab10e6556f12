#pragma once

#include "platform/linux/reader/source_url.h"

#include <optional>
#include <string>

namespace tsasync::platform::reader {

// The proxy that the desktop's settings name for `source`, as libcurl takes it; empty for none. Nothing where
// the environment speaks of proxies, or there is no desktop: then libcurl follows the environment.
std::optional<std::string> DesktopProxy(const SourceUrl& source);

}  // namespace tsasync::platform::reader
