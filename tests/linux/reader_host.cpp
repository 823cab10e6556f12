#include "tests/linux/reader_host.h"

#include "base/Utf8.h"
#include "platform/app_log.h"

namespace tsasync {

void platform::LogEntry(std::u16string_view text) { tests::Logged().emplace_back(text); }

namespace tests {

std::vector<std::u16string>& Logged() {
    thread_local std::vector<std::u16string> entries;
    return entries;
}

std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 31 + i / 251) & 0xFF);
    return bytes;
}

namespace {

// The tests' own home: no settings of the user's, no files among the user's.
struct Home {
    ScratchFolder folder;
    Home() {
        g_setenv("XDG_CACHE_HOME", folder.Path().c_str(), TRUE);
        g_setenv("HOME", folder.Path().c_str(), TRUE);
        for (const char* name :
             {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTPS_PROXY", "ALL_PROXY"}) {
            g_unsetenv(name);
        }
        // Nor the desktop's; and GIO's other resolvers use threads that the thread sanitizer can't follow.
        g_setenv("GIO_USE_PROXY_RESOLVER", "dummy", TRUE);
    }
};
const Home g_home;

}  // namespace

const std::string& CacheFolder() { return g_home.folder.Path(); }

ReaderHost::ReaderHost(const std::string& placeNear) : m_context(g_main_context_new()) {
    g_main_context_push_thread_default(m_context);
    m_reader.reset(new platform::UrlReader(*this));
    m_reader->PlaceNear(FromUtf8(placeNear));
}

ReaderHost::~ReaderHost() {
    m_reader.reset();
    g_main_context_pop_thread_default(m_context);
    g_main_context_unref(m_context);
}

std::int32_t ReaderHost::Start(const std::string& url, const std::string& name) {
    const std::string& key = name.empty() ? url : name;
    m_heard.try_emplace(key);
    return m_reader->AsyncRead(FromUtf8(url), platform::kReadIntoFile, FromUtf8(key));
}

bool ReaderHost::RunUntil(const std::function<bool()>& done, int seconds) {
    bool late = false;
    GSource* timer = g_timeout_source_new_seconds(static_cast<guint>(seconds));
    g_source_set_callback(
        timer, [](gpointer flag) -> gboolean { return *static_cast<bool*>(flag) = true, G_SOURCE_REMOVE; },
        &late, nullptr);
    g_source_attach(timer, m_context);
    while (!done() && !late) g_main_context_iteration(m_context, TRUE);
    g_source_destroy(timer);
    g_source_unref(timer);
    return done();
}

bool ReaderHost::AllCompleted() const {
    for (const auto& [name, heard] : m_heard) {
        if (!heard.completed) return false;
    }
    return true;
}

Heard ReaderHost::Read(const std::string& url) {
    m_heard[url] = {};
    Start(url);
    RunUntil([&] { return m_heard[url].completed; });
    return m_heard[url];
}

void ReaderHost::Note(Heard& heard, const platform::AsyncProperty& property) {
    heard.target = ToUtf8(property.Target);
    heard.bytesRead = property.BytesRead;
    heard.bytesMax = property.BytesMax;
}

void ReaderHost::AsyncReadProgress(const platform::AsyncProperty& property) {
    Heard& heard = m_heard[ToUtf8(property.PropertyName)];
    Note(heard, property);
    if (heard.codes.empty() || heard.codes.back() != property.StatusCode)
        heard.codes.push_back(property.StatusCode);
    if (property.StatusCode == platform::kStatusMimeTypeAvailable) heard.mimeType = ToUtf8(property.Status);
    if (onNotice) onNotice(property, false);
}

void ReaderHost::AsyncReadComplete(const platform::AsyncProperty& property) {
    Heard& heard = m_heard[ToUtf8(property.PropertyName)];
    Note(heard, property);
    heard.completed = true;
    if (const auto* path = std::get_if<std::u16string>(&property.Value)) heard.path = ToUtf8(*path);
    if (const auto* failure = std::get_if<platform::ReadFailure>(&property.Value)) {
        heard.failure = failure->number;
        heard.description = ToUtf8(failure->description);
    }
    if (onNotice) onNotice(property, true);
}

}  // namespace tests
}  // namespace tsasync
