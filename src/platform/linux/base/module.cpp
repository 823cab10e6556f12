#include "platform/module.h"

#include "base/Utf8.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <memory>

namespace tsasync::platform {

std::u16string ModulePath() {
    static const char address = 0;
    Dl_info module{};
    if (dladdr(&address, &module) == 0 || module.dli_fname == nullptr) return {};
    const std::unique_ptr<char, void (*)(void*)> path(realpath(module.dli_fname, nullptr), &free);
    return path ? FromUtf8(path.get()) : std::u16string();
}

}  // namespace tsasync::platform
