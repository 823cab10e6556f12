#pragma once

#include <string>
#include <string_view>

namespace tsasync {

// Takes a URL apart as far as the names shown to the user and the file's name need it. Any text is accepted;
// a part that the URL does not have is empty.
class UrlNameParser {
  public:
    void SetUrl(std::u16string_view url);

    // The last segment of the path as one file name that is safe on every system: no query or fragment,
    // percent-decoded as UTF-8, no separators, control or bidirectional-override characters, none of <>:"|?*,
    // no leading dots, no trailing dots or blanks, no reserved device name; at most 200 bytes of UTF-8 with the
    // extension kept. Empty for "." and ".." and when nothing is left.
    const std::u16string& FileName() const { return m_sFileName; }

    // The name of the server, without user, password or port; empty for a URL without one.
    const std::u16string& HostName() const { return m_sHostName; }

  private:
    std::u16string m_sFileName;
    std::u16string m_sHostName;
};

}  // namespace tsasync
