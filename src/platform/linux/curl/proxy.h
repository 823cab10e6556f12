#pragma once

#include "platform/linux/curl/report.h"
#include "platform/reader/source_url.h"

#include <curl/curl.h>
#include <gio/gio.h>

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tsasync::platform::reader {

// A proxy as libcurl takes it, empty for none; nothing: libcurl shall follow the environment.
using ProxyChoice = std::optional<std::string>;

// Which proxy leads to which server. Where the environment names none the desktop's settings decide, and
// these may take long to tell: an auto-configuration script must be run. So they are asked for while other
// work goes on, and what they tell of an origin holds for a minute. Lives on one thread.
class Proxies {
  public:
    Proxies();
    // Questions under way are given up.
    ~Proxies();
    Proxies(const Proxies&) = delete;
    Proxies& operator=(const Proxies&) = delete;

    // The way to `source`; null as long as the desktop is being asked for it. Good until the next call.
    const ProxyChoice* Find(const SourceUrl& source);

    // Waits like curl_multi_poll, but for answers too. Whether there was one.
    bool Poll(CURLM* multi, int milliseconds);

  private:
    struct Question {
        Proxies* asker;
        std::string origin;
        GCancellable* cancel;
        GSource* limit;
    };
    struct Answer {
        ProxyChoice choice;
        Clock::time_point until;
    };

    void Ask(const std::string& origin);
    static void OnAnswer(GObject* resolver, GAsyncResult* result, gpointer question);
    void Take(Question& question, ProxyChoice choice);

    GProxyResolver* m_resolver = nullptr;  // GIO's; null until it is needed
    GMainContext* m_context;
    std::unordered_map<std::string, Question> m_questions;  // by origin
    std::unordered_map<std::string, Answer> m_answers;      // by origin
    std::vector<GPollFD> m_polled;
    std::vector<curl_waitfd> m_waited;
};

}  // namespace tsasync::platform::reader
