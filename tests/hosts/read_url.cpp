// Reads URLs with the reader alone, all at once, and prints a line for each: the number of the failure (0 for
// none), the URL and the failure's description. Hosts of the component never see that number.
#include "base/Utf8.h"
#include "platform/url_reader.h"

#include <glib.h>

#include <cstdio>
#include <string>
#include <variant>

namespace {

using namespace tsasync;

class Printer final : public platform::IReadEvents {
  public:
    void AsyncReadProgress(const platform::AsyncProperty&) override {}
    void AsyncReadComplete(const platform::AsyncProperty& property) override {
        std::uint32_t number = 0;
        std::string text;
        // A finished file that stayed would spare the next read its download.
        if (const auto* path = std::get_if<std::u16string>(&property.Value))
            std::remove(ToUtf8(*path).c_str());
        if (const auto* failure = std::get_if<platform::ReadFailure>(&property.Value)) {
            number = static_cast<std::uint32_t>(failure->number);
            text = ToUtf8(failure->description);
        }
        std::printf("%X\t%s\t%s\n", number, ToUtf8(property.PropertyName).c_str(), text.c_str());
        --open;
    }

    int open = 0;
};

}  // namespace

int main(int argc, char** argv) {
    Printer printer;
    platform::UrlReader reader(printer);
    for (int i = 1; i < argc; ++i) {
        const std::u16string url = FromUtf8(argv[i]);
        if (reader.AsyncRead(url, platform::kReadIntoFile, url) == 0) ++printer.open;
    }
    while (printer.open > 0) g_main_context_iteration(nullptr, TRUE);
    return 0;
}
