#include "platform/forms.h"

#include "platform/windows/base/own_module.h"
#include "platform/windows/base/wide.h"

#include <windows.h>

#include <string>

namespace tsasync::platform {

std::intptr_t WindowClassInstance(std::u16string_view className) {
    const HWND window = FindWindowW(Wide(std::u16string(className)), nullptr);
    return window == nullptr ? 0 : GetWindowLongPtrW(window, GWLP_HINSTANCE);
}

std::intptr_t ComponentInstance() { return reinterpret_cast<std::intptr_t>(OwnModule()); }

void ShowErrorMessage(std::u16string_view text, std::u16string_view title) {
    MessageBoxW(nullptr, Wide(std::u16string(text)), Wide(std::u16string(title)),
                MB_OK | MB_ICONSTOP | MB_TASKMODAL);
}

}  // namespace tsasync::platform
