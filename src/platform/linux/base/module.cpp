#include "platform/module.h"

#include "platform/linux/files/native_path.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <memory>

namespace tsasync::platform {

std::u16string ModulePath() {
    static const char address = 0;
    Dl_info module{};
    if (dladdr(&address, &module) == 0 || module.dli_fname == nullptr) return {};
    const std::unique_ptr<char, void (*)(void*)> path(realpath(module.dli_fname, nullptr), &free);
    return path ? FromNativeBytes(path.get()) : std::u16string();
}

}  // namespace tsasync::platform
