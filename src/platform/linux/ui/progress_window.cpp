#include "platform/progress_window.h"

#include "base/LogError.h"
#include "platform/linux/curl/mailbox.h"
#include "platform/linux/gtk/gtk_module.h"
#include "platform/linux/ui/waiting_window.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

namespace tsasync::platform {

namespace {

constexpr std::string_view kGtkModule = "libqmasyn10-gtk3.so";
constexpr std::string_view kAnyGtk = "libgtk-";
constexpr std::string_view kOurGtk = "libgtk-3.so";

std::string_view FileNameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// Two major versions of GTK can't live in one process.
bool ForeignGtkIsLoaded() {
    const auto isForeign = [](dl_phdr_info* object, std::size_t, void*) -> int {
        const std::string_view name = FileNameOf(object->dlpi_name ? object->dlpi_name : "");
        return name.starts_with(kAnyGtk) && !name.starts_with(kOurGtk) ? 1 : 0;
    };
    return dl_iterate_phdr(isForeign, nullptr) != 0;
}

// GTK serves the main thread and the default context. Where this thread's reads are delivered from another
// context, a window could not wait for them.
bool GtkCouldRunHere() {
    if (gettid() != getpid() || ForeignGtkIsLoaded()) return false;
    return reader::Mailbox::OfThisThread()->Context() == g_main_context_default();
}

// A module that was cut off would end the process as it is loaded. A whole one has its table of sections at
// the end.
bool IsWhole(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    ElfW(Ehdr) header{};
    file.read(reinterpret_cast<char*>(&header), sizeof header);
    file.seekg(0, std::ios::end);
    const std::uint64_t end = header.e_shoff + std::uint64_t{header.e_shnum} * header.e_shentsize;
    return file && static_cast<std::uint64_t>(file.tellg()) >= end;
}

// The module beside the component; loaded once and never unloaded, because GTK can't be.
CreateGtkWindow* LoadGtkModule() {
    Dl_info component{};
    if (dladdr(reinterpret_cast<const void*>(&LoadGtkModule), &component) == 0 || !component.dli_fname)
        return nullptr;
    std::string path(component.dli_fname);
    path.replace(path.rfind('/') + 1, std::string::npos, kGtkModule);
    if (!IsWhole(path)) return nullptr;
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    return module ? reinterpret_cast<CreateGtkWindow*>(dlsym(module, kCreateGtkWindow)) : nullptr;
}

std::unique_ptr<ProgressWindow> TryGtk(IProgressWindowEvents& events) {
    if (!GtkCouldRunHere()) return nullptr;
    static CreateGtkWindow* const create = LoadGtkModule();
    return create ? std::unique_ptr<ProgressWindow>(create(events, &LogCurrentError)) : nullptr;
}

std::string_view Wish() {
    // The environment belongs to the host, which does not change it while it uses the component.
    const char* const value = std::getenv("QMASYN10_UI");  // NOLINT(concurrency-mt-unsafe)
    return value ? value : "";
}

}  // namespace

std::unique_ptr<ProgressWindow> CreateProgressWindow(IProgressWindowEvents& events) {
    const std::string_view wish = Wish();
    if (wish == "none") return std::make_unique<WaitingWindow>();
    if (wish != "terminal") {
        if (auto window = TryGtk(events)) return window;
    }
    if (isatty(STDERR_FILENO) != 0) return std::make_unique<TerminalWindow>();
    return std::make_unique<WaitingWindow>();
}

}  // namespace tsasync::platform
