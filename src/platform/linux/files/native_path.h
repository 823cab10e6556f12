#pragma once

#include "platform/linux/files/file_handle.h"

#include <optional>
#include <string>
#include <string_view>

namespace tsasync::platform {

// Names are bytes here, mostly UTF-8. A byte that is no part of a character stands in the core's paths as the
// unit U+DC00 and its number, which is no character either, so that any path leads back to where it came
// from.
std::string ToNativeBytes(std::u16string_view path);
std::u16string FromNativeBytes(std::string_view path);

// A path as the system's calls take it. They take no more than PATH_MAX bytes; a longer one becomes a short
// one that leads to the same entry through a folder, which stays open as long as this lives. Its last
// component is kept in any case.
class NativePath {
  public:
    explicit NativePath(std::string path);

    const std::string& Text() const { return m_text; }
    const char* c_str() const { return m_text.c_str(); }

  private:
    void Shorten();

    std::string m_text;
    FileHandle m_folder;
};

// Nothing when `path` can't be the name of an entry (empty, a NUL inside), so that a call never reaches
// another entry than the one named.
std::optional<NativePath> ToNativePath(std::u16string_view path);

}  // namespace tsasync::platform
