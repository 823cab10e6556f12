// Reads the URLs on its standard input, one to a line, all at the same time, and writes how each ended, in
// their order: the number of the failure, the path of the file, which it leaves there, and the failure's
// description, separated by tabs. Its waiting times are short.
#include "platform/url_reader.h"
#include "platform/windows/moniker/timing.h"

#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace tsasync::platform;

std::u16string Widened(const std::string& text) { return {text.begin(), text.end()}; }
std::string Narrowed(const std::u16string& text) { return {text.begin(), text.end()}; }

class Reads : public IReadEvents {
  public:
    void Run(const std::vector<std::string>& urls) {
        m_outcomes.resize(urls.size());
        for (std::size_t i = 0; i < urls.size(); ++i)
            m_reader.AsyncRead(Widened(urls[i]), kReadIntoFile, Widened(std::to_string(i)));
        MSG message{};
        while (m_completed < urls.size() && GetMessageW(&message, nullptr, 0, 0) > 0)
            DispatchMessageW(&message);
        for (const std::string& outcome : m_outcomes) std::cout << outcome << "\n";
    }

  private:
    void AsyncReadProgress(const AsyncProperty&) override {}
    void AsyncReadComplete(const AsyncProperty& property) override {
        std::string& outcome = m_outcomes.at(std::stoul(Narrowed(property.PropertyName)));
        ++m_completed;
        if (const auto* failure = std::get_if<ReadFailure>(&property.Value)) {
            outcome = std::to_string(failure->number) + "\t\t" + Narrowed(failure->description);
        } else {
            outcome = "0\t" + Narrowed(std::get<std::u16string>(property.Value)) + "\t";
        }
    }

    UrlReader m_reader{*this};
    std::vector<std::string> m_outcomes;
    std::size_t m_completed = 0;
};

}  // namespace

int main() {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    // Long enough for a server on a busy machine, which sends some conversations byte by byte.
    using std::chrono::milliseconds;
    Timing() = {.connect = milliseconds(1000),
                .head = milliseconds(15'000),
                .silence = milliseconds(6000),
                .firstPause = milliseconds(20),
                .patience = milliseconds(2000),
                .decoded = 1000};
    std::vector<std::string> urls;
    for (std::string url; std::getline(std::cin, url);) {
        if (url.ends_with('\r')) url.pop_back();
        urls.push_back(url);
    }
    Reads().Run(urls);
    return 0;
}
