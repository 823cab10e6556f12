#pragma once

#include <string>
#include <string_view>

namespace tsasync {

// Takes a URL apart as far as the names shown to the user and the file's name need it. Any text is accepted;
// a part that the URL does not have is empty.
class UrlNameParser {
  public:
    void SetUrl(std::u16string_view url);

    // The last segment of the path as one file name that both Windows and Linux can hold: no query or
    // fragment, escapes replaced (where they stand for UTF-8, else kept), "_" for each separator, control or
    // direction-changing character and each of <>:"|?*, no dots or blanks at the beginning, at the end or
    // before a dot, "_" before the name of a device; at most 200 bytes of UTF-8 with the extension
    // kept. Empty for "." and "..", when nothing is left, and for a URL without a path (data:, mailto:).
    const std::u16string& FileName() const { return m_sFileName; }

    // The name of the server, without user, password or port (an IPv6 address in its brackets); empty for a
    // URL without one. Control and direction-changing characters are "_".
    const std::u16string& HostName() const { return m_sHostName; }

  private:
    std::u16string m_sFileName;
    std::u16string m_sHostName;
};

}  // namespace tsasync
