// Any bytes can be a settings file: no line is lost, and what is written comes back.
#include "platform/linux/settings/settings_file.h"

#include "base/Utf8.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using tsasync::platform::SettingsFile;
    std::string bytes(reinterpret_cast<const char*>(data), size);
    SettingsFile file(bytes);
    if (!bytes.empty() && bytes.back() != '\n') bytes += '\n';
    if (file.Text() != bytes) std::abort();

    const std::u16string text = tsasync::FromUtf8(bytes.substr(0, 64));
    const std::vector<std::u16string> key{u"CurrentUser", text};
    file.Write(key, text, text);
    SettingsFile again(file.Text());
    if (again.Read(key, text) != text || !again.DeleteValue(key, text) || again.Read(key, text)) std::abort();
    again.DeleteKey(key, true);
    return 0;
}
