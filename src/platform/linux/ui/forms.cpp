#include "platform/forms.h"

#include "base/Utf8.h"

#include <cstdio>
#include <string>

namespace tsasync::platform {

// Windows have no classes here that name a module.
std::intptr_t WindowClassInstance(std::u16string_view /*className*/) { return 0; }

// The address of something inside the component: all that this system has of a module's identity.
std::intptr_t ComponentInstance() {
    static const char anchor = 0;
    return reinterpret_cast<std::intptr_t>(&anchor);
}

void ShowErrorMessage(std::u16string_view text, std::u16string_view title) {
    const std::string line = ToUtf8(title) + ": " + ToUtf8(text) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

}  // namespace tsasync::platform
