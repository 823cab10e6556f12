#pragma once

#include "platform/reader/connection_gate.h"
#include "platform/reader/digest_check.h"
#include "platform/reader/kept_data.h"
#include "platform/reader/patience.h"
#include "platform/reader/redirections.h"
#include "platform/reader/type_finder.h"
#include "platform/url_reader.h"
#include "platform/windows/moniker/timing.h"
#include "tsasync/com_ptr.hpp"

#include <urlmon.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tsasync::platform {

// One notification of a binding.
struct BindingNotice {
    std::int32_t code = 0;  // ReadStatus; without meaning at the end
    std::u16string text;
    std::u16string target;  // the URL read at this moment
    std::int64_t bytesRead = 0;
    std::int64_t bytesMax = 0;  // 0 unknown
    // Start is to be called again, for a redirection, after a pause or for a part of a long check; nothing is
    // told then.
    struct Again {
        std::chrono::milliseconds pause{0};
        bool isTurnedAway = false;  // by the server: the place at its host is for others meanwhile
        ConnectionGate::Clock::time_point askedAt;
    };
    std::optional<Again> again;
    // At the end only, and then always: the path of the file, or the failure.
    std::optional<std::variant<std::u16string, ReadFailure>> result;
};

// One URL moniker on its way into one file. Used on one thread, from whose message loop the moniker calls
// back. Reference-counted, since the moniker holds it.
class UrlBinding final : public IBindStatusCallback, public IHttpNegotiate, public IBindCallbackRedirect {
  public:
    using Report = std::function<void(BindingNotice)>;

    using Folder = std::variant<std::shared_ptr<reader::PrivateFolder>, reader::PrivateFolders::Refusal>;

    // `read`: a number that no other read of its time has. `folder`: of its data. `othersAreServed` tells
    // whether other reads hold places at the host. `report` may be called from inside Start already. It is
    // called last with a result, and never after Abort.
    UrlBinding(std::uint64_t read, std::u16string url, Folder folder, std::function<bool()> othersAreServed,
               Report report);
    UrlBinding(const UrlBinding&) = delete;
    UrlBinding& operator=(const UrlBinding&) = delete;

    void Start();
    // Stops it silently. What the next read can use of its data stays.
    void Abort();
    // The file of a read that ended well, once.
    std::optional<reader::FinishedFile> TakeFinished() { return std::exchange(m_finished, std::nullopt); }
    // Does what the time asks for; to be called a few times a second.
    void Tick();
    // Whether it is to be ended, since the server has given no sign for too long, its head is still not
    // complete, or what comes is not wanted.
    bool IsOver() const;
    // Stops it with what follows from that.
    void EndOver();

    // IUnknown
    STDMETHOD(QueryInterface)(REFIID id, void** object) override;
    STDMETHOD_(ULONG, AddRef)() override;
    STDMETHOD_(ULONG, Release)() override;

    // IBindStatusCallback
    STDMETHOD(OnStartBinding)(DWORD reserved, IBinding* binding) override;
    STDMETHOD(GetPriority)(LONG* priority) override;
    STDMETHOD(OnLowResource)(DWORD reserved) override;
    STDMETHOD(OnProgress)(ULONG progress, ULONG progressMax, ULONG code, LPCWSTR text) override;
    STDMETHOD(OnStopBinding)(HRESULT result, LPCWSTR error) override;
    STDMETHOD(GetBindInfo)(DWORD* flags, BINDINFO* info) override;
    STDMETHOD(OnDataAvailable)(DWORD flags, DWORD size, FORMATETC* format, STGMEDIUM* medium) override;
    STDMETHOD(OnObjectAvailable)(REFIID id, IUnknown* object) override;

    // IHttpNegotiate
    STDMETHOD(BeginningTransaction)
    (LPCWSTR url, LPCWSTR headers, DWORD reserved, LPWSTR* additional) override;
    STDMETHOD(OnResponse)(DWORD status, LPCWSTR headers, LPCWSTR requestHeaders, LPWSTR* additional) override;

    // IBindCallbackRedirect
    STDMETHOD(Redirect)(LPCWSTR location, VARIANT_BOOL* cancel) override;

  private:
    ~UrlBinding() = default;
    using Meaning = reader::Answer::Meaning;

    const reader::SourceUrl& Source() const { return m_way->Current(); }
    bool Means(Meaning meaning) const { return m_answer && m_answer->meaning == meaning; }
    // There is an answer, and nothing of the rest of it is to be waited for.
    bool IsUnwanted() const { return m_answer && !IsSaved(); }
    bool IsSaved() const { return m_answer && m_answer->IsSaved(); }
    std::int64_t Total() const { return m_answer ? m_answer->total.value_or(0) : 0; }

    HRESULT Bind();
    HRESULT Progress(ULONG progressMax, ULONG code, LPCWSTR text);
    HRESULT Receive(IStream& data);
    std::string_view Wanted(std::string_view bytes) const;
    bool Save(std::string_view bytes);
    HRESULT End(HRESULT result);
    void Follow();
    void CheckOn();
    void Succeed();
    void Fail(ReadFailure failure);
    void ReadHead(DWORD status, std::string_view head);
    std::string RawHead() const;
    void BeginSaving();
    void Keep(bool last);
    void Announce(std::string_view bytes);
    void Begin();
    void Tell(std::int32_t code, std::u16string text);
    void Finish(std::variant<std::u16string, ReadFailure> result);
    std::optional<ReadFailure> FailureOf(HRESULT result);
    std::optional<std::chrono::milliseconds> PauseAfter(const ReadFailure& failure);
    HRESULT CauseOf(HRESULT result) const;
    void BeginAgain(BindingNotice::Again again);
    void Wait(BindingNotice::Again again);
    void StopBinding();

    const std::uint64_t m_read;
    const std::u16string m_url;  // as asked for
    Folder m_folder;
    const std::u16string m_shownUrl;            // without user and password
    std::u16string m_target;                    // after redirections
    std::optional<reader::Redirections> m_way;  // set by the first start
    std::function<bool()> m_othersAreServed;
    Report m_report;  // empty once the end is told
    host::ComPtr<IBinding> m_binding;
    std::optional<reader::PartialFile> m_file;  // set by the first start, until the end
    bool m_lookedForEarlier = false;
    std::optional<reader::FinishedFile> m_finished;
    std::optional<reader::DigestCheck> m_check;
    reader::ResponseHead m_head;             // of the last HTTP response
    std::optional<reader::Answer> m_answer;  // likewise: what it means; what is no HTTP brings the whole file
    std::int64_t m_ignored = 0;              // bytes of its data that nobody wants
    std::int64_t m_received = 0;             // bytes of its data that are saved
    bool m_triedToKeep = false;
    std::uint64_t m_answeredAt = 0;         // in ticks of the system
    std::optional<std::int64_t> m_encoded;  // how many bytes stand for its data, where they are not it
    reader::TypeFinder m_finder{Timing().longestSniff};
    std::string m_mediaType;  // as told
    bool m_begun = false;     // whether the media type is told
    ConnectionGate::Clock::time_point m_askedAt;
    std::uint64_t m_lastSign = GetTickCount64();
    std::int32_t m_lastCode = 0;  // ReadStatus, of the last notification
    bool m_waits = false;         // to begin again
    Patience m_patience{Timing()};
    std::set<std::int32_t> m_told;  // of the codes that are told once
    ULONG m_references = 1;
};

}  // namespace tsasync::platform
