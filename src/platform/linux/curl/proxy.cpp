#include "platform/linux/curl/proxy.h"

#include "platform/linux/curl/timing.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr auto kHolds = std::chrono::minutes(1);

bool AnySet(std::initializer_list<std::string> variables) {
    return std::any_of(variables.begin(), variables.end(),
                       [](const std::string& name) { return g_getenv(name.c_str()) != nullptr; });
}

// Whether a variable of the environment is about `scheme`, as libcurl reads them. HTTP_PROXY means nothing: a
// web server's CGI programs could be given it by their clients.
bool EnvironmentNames(const std::string& scheme) {
    return AnySet({scheme + "_proxy", "all_proxy", "ALL_PROXY"}) ||
           (scheme == "https" && AnySet({"HTTPS_PROXY"})) || (scheme == "ftp" && AnySet({"FTP_PROXY"}));
}

// The resolver for desktops without settings of their own reads the environment too, but by other rules.
bool ReadsEnvironment(GProxyResolver* resolver) {
    return std::string_view(G_OBJECT_TYPE_NAME(resolver)) == "GLibproxyResolver";
}

// Where they are missing, GIO's resolver of these settings ends the process. The environment decides then.
bool HasSettings() {
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    if (source == nullptr) return false;
    GSettingsSchema* const schema = g_settings_schema_source_lookup(source, "org.gnome.system.proxy", TRUE);
    if (schema == nullptr) return false;
    g_settings_schema_unref(schema);
    return true;
}

// Of what GIO writes: how libcurl says the same, "" being the straight way. An ftp proxy speaks http, and the
// one of socks:// looks the names up.
constexpr std::pair<std::string_view, std::string_view> kKinds[] = {
    {"direct://", ""},          {"http://", "http://"},       {"https://", "https://"},
    {"ftp://", "http://"},      {"socks://", "socks5h://"},   {"socks5://", "socks5h://"},
    {"socks4://", "socks4://"}, {"socks4a://", "socks4a://"},
};

// The first of the desktop's list of proxies that libcurl can go by; nothing when there is none.
ProxyChoice ForCurl(const gchar* const* proxies) {
    for (; *proxies != nullptr; ++proxies) {
        const std::string_view proxy(*proxies);
        for (const auto& [theirs, ours] : kKinds) {
            if (!proxy.starts_with(theirs)) continue;
            return ours.empty() ? std::string()
                                : std::string(ours) + std::string(proxy.substr(theirs.size()));
        }
    }
    return std::nullopt;
}

}  // namespace

Proxies::Proxies() : m_context(g_main_context_new()) {}

Proxies::~Proxies() {
    // Nobody runs the context any more: what still comes is heard by nobody.
    for (auto& [origin, question] : m_questions) {
        g_cancellable_cancel(question.cancel);
        g_object_unref(question.cancel);
        g_source_destroy(question.limit);
        g_source_unref(question.limit);
    }
    g_main_context_unref(m_context);
}

const ProxyChoice* Proxies::Find(const SourceUrl& source) {
    static const ProxyChoice kAsEnvironmentSays;
    if (EnvironmentNames(source.scheme)) return &kAsEnvironmentSays;
    static const bool hasSettings = HasSettings();
    if (!hasSettings) return &kAsEnvironmentSays;
    if (m_resolver == nullptr) m_resolver = g_proxy_resolver_get_default();
    if (!g_proxy_resolver_is_supported(m_resolver)) return &kAsEnvironmentSays;
    if (ReadsEnvironment(m_resolver) &&
        AnySet({"http_proxy", "https_proxy", "ftp_proxy", "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY"})) {
        return &kAsEnvironmentSays;
    }
    const auto answer = m_answers.find(source.origin);
    if (answer != m_answers.end() && answer->second.until > Clock::now()) return &answer->second.choice;
    if (!m_questions.contains(source.origin)) Ask(source.origin);
    return nullptr;
}

void Proxies::Ask(const std::string& origin) {
    GSource* limit = g_timeout_source_new(static_cast<guint>(Timing().connect.count()));
    Question& question =
        m_questions.emplace(origin, Question{this, origin, g_cancellable_new(), limit}).first->second;
    g_source_set_callback(
        limit,
        [](gpointer cancel) -> gboolean {
            g_cancellable_cancel(static_cast<GCancellable*>(cancel));
            return G_SOURCE_REMOVE;
        },
        question.cancel, nullptr);
    g_source_attach(limit, m_context);
    g_main_context_push_thread_default(m_context);
    // The origin tells enough, and keeps what else the URL says to ourselves.
    g_proxy_resolver_lookup_async(m_resolver, (origin + "/").c_str(), question.cancel, OnAnswer, &question);
    g_main_context_pop_thread_default(m_context);
}

void Proxies::OnAnswer(GObject* resolver, GAsyncResult* result, gpointer data) {
    auto& question = *static_cast<Question*>(data);
    // Where the desktop can't tell, the way is straight.
    ProxyChoice choice;
    if (gchar** proxies = g_proxy_resolver_lookup_finish(G_PROXY_RESOLVER(resolver), result, nullptr)) {
        choice = ForCurl(proxies);
        g_strfreev(proxies);
    }
    question.asker->Take(question, std::move(choice));
}

void Proxies::Take(Question& question, ProxyChoice choice) {
    const auto now = Clock::now();
    std::erase_if(m_answers, [&](const auto& one) { return one.second.until <= now; });
    m_answers.insert_or_assign(question.origin, Answer{std::move(choice), now + kHolds});
    g_object_unref(question.cancel);
    g_source_destroy(question.limit);
    g_source_unref(question.limit);
    m_questions.erase(std::string(question.origin));
}

bool Proxies::Poll(CURLM* multi, int milliseconds) {
    if (m_questions.empty()) {
        curl_multi_poll(multi, nullptr, 0, milliseconds, nullptr);
        return false;
    }
    const std::size_t asked = m_questions.size();
    gint priority = 0;
    gint timeout = -1;
    g_main_context_acquire(m_context);
    g_main_context_prepare(m_context, &priority);
    gint count = 0;
    while (count = g_main_context_query(m_context, priority, &timeout, m_polled.data(),
                                        static_cast<gint>(m_polled.size())),
           static_cast<std::size_t>(count) > m_polled.size()) {
        m_polled.resize(static_cast<std::size_t>(count));
    }
    m_waited.clear();
    const auto polled = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < polled; ++i) m_waited.push_back({m_polled[i].fd, CURL_WAIT_POLLIN, 0});
    const int wait = timeout < 0 ? milliseconds : std::min(milliseconds, timeout);
    curl_multi_poll(multi, m_waited.data(), static_cast<unsigned>(m_waited.size()), wait, nullptr);
    for (std::size_t i = 0; i < polled; ++i) {
        const bool ready = (m_waited[i].revents & CURL_WAIT_POLLIN) != 0;
        m_polled[i].revents = ready ? static_cast<gushort>(G_IO_IN) : gushort{0};
    }
    if (g_main_context_check(m_context, priority, m_polled.data(), count)) g_main_context_dispatch(m_context);
    g_main_context_release(m_context);
    return m_questions.size() < asked;
}

}  // namespace tsasync::platform::reader
