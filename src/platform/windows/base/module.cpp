#include "platform/module.h"

#include "platform/windows/base/own_module.h"
#include "platform/windows/base/wide.h"

namespace tsasync::platform {

std::u16string ModulePath() {
    std::u16string path(MAX_PATH, u'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(OwnModule(), Wide(path), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

}  // namespace tsasync::platform
