#include "tests/platform/forms.h"

#include "platform/forms.h"

namespace tsasync {

namespace {

thread_local std::intptr_t g_windowInstance = 0;
thread_local std::vector<testplatform::ErrorMessage> g_messages;

}  // namespace

std::intptr_t platform::WindowClassInstance(std::u16string_view /*className*/) { return g_windowInstance; }

std::intptr_t platform::ComponentInstance() { return testplatform::kComponentInstance; }

void platform::ShowErrorMessage(std::u16string_view text, std::u16string_view title) {
    g_messages.push_back({std::u16string(text), std::u16string(title)});
}

void testplatform::SetWindowInstance(std::intptr_t instance) { g_windowInstance = instance; }

const std::vector<testplatform::ErrorMessage>& testplatform::ErrorMessages() { return g_messages; }

}  // namespace tsasync
