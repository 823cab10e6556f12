// Shows one progress dialog in a commanded state and waits until it is closed: for the pictures of the
// documentation and for looking at the window by hand. The clock stands still, so that every figure is exact.
#include "platform/clock.h"
#include "transfer/CAsyncT.h"
#include "ui/frmProgress.h"
#include "ui/modRes.h"

#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace tsasync {

namespace {

constexpr double kStart = 45366;
constexpr double kElapsed = 74.0 / 86400;
double g_now = kStart;

class PrintCancel final : public IProgressEvents {
  public:
    void Cancel(std::u16string_view /*HDL*/) override { std::puts("cancel"); }
};

void Show(std::int32_t language) {
    const auto channel = CAsyncT::Create();
    modRes::SetResModule(-1);
    modRes::SetLangID(language);
    PrintCancel events;
    frmProgress dialog;
    dialog.SetEvents(&events);
    dialog.SetDestination(
        u"/home/quill/Documents/Quillmark/Assets/Garden/Photographs of the summer/orchard.jpg");
    dialog.SetAssetURL(u"https://assets.example.org/library/garden/orchard.jpg");
    dialog.BeginDownload(false);
    g_now = kStart + kElapsed;
    dialog.SetTotalSize(2831155);
    dialog.SetSizeSoFar(1258291);
    dialog.SetTotalSize(2831155);
    dialog.ShowModal([] { return true; });
}

}  // namespace

double platform::Now() { return g_now; }

float platform::SecondsSinceMidnight() { return 0; }

}  // namespace tsasync

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: dialog_host LANGUAGE-IDENTIFIER\n", stderr);
        return 2;
    }
    tsasync::Show(static_cast<std::int32_t>(std::strtol(argv[1], nullptr, 10)));
    return 0;
}
