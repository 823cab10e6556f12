#pragma once

#include <string>
#include <string_view>

namespace tsasync {

// Turns a URL into the handle that identifies its job: SHA-256 of the URL's UTF-8, the first 130 bits in
// lower-case base 32 (RFC 4648 alphabet), 26 characters. The URL is taken exactly as given; different URLs
// (unpaired surrogates included) have different handles.
class UrlHandleGenerator {
  public:
    std::u16string HandleOf(std::u16string_view url) const;
};

}  // namespace tsasync
