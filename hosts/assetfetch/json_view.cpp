#include "view.h"

#include <glib.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace assetfetch {

namespace {

// `text` as a JSON string; what is not UTF-8 becomes U+FFFD.
std::string Quoted(const std::string& text) {
    char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string result = "\"";
    for (const char c : std::string_view(valid)) {
        if (c == '"' || c == '\\') {
            result += {'\\', c};
        } else if (static_cast<unsigned char>(c) < 0x20) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c));
            result += escape.data();
        } else {
            result += c;
        }
    }
    g_free(valid);
    return result + '"';
}

std::string StateName(TSDLStateEnum state) {
    switch (state) {
        case tsdStopped:
            return "stopped";
        case tsdStarting:
            return "starting";
        case tsdDownloading:
            return "downloading";
        case tsdPending:
            return "pending";
        case tsdFinished:
            return "finished";
        case tsdBroken:
            return "broken";
    }
    return std::to_string(static_cast<int>(state));
}

class JsonView final : public View {
  public:
    explicit JsonView(const Totals& totals) : m_totals(totals) {}

    void Changed(const Job& job) override {
        std::string line =
            "{\"event\":\"state\",\"url\":" + Quoted(job.url) + ",\"name\":" + Quoted(job.name) +
            ",\"handle\":" + Quoted(job.handle) + ",\"state\":\"" + StateName(job.state) +
            "\",\"size\":" + std::to_string(job.size) + ",\"total\":" + std::to_string(job.total) +
            ",\"attempts\":" + std::to_string(job.attempts);
        if (!job.mime.empty()) line += ",\"type\":" + Quoted(job.mime);
        if (!job.path.empty()) line += ",\"path\":" + Quoted(job.path);
        if (!job.reason.empty()) line += ",\"reason\":" + Quoted(job.reason);
        std::puts((line + "}").c_str());
    }
    void Tick() override { std::fflush(stdout); }
    void Message(const std::string& line) override { PrintMessage(line); }
    void End(const std::deque<Job>&) override {
        std::printf("{\"event\":\"end\",\"jobs\":%zu,\"finished\":%zu,\"failed\":%zu,\"received\":%lld}\n",
                    m_totals.jobs, m_totals.finished, m_totals.failed,
                    static_cast<long long>(m_totals.received));
    }

  private:
    const Totals& m_totals;
};

}  // namespace

std::unique_ptr<View> MakeJsonView(const Totals& totals) { return std::make_unique<JsonView>(totals); }

}  // namespace assetfetch
