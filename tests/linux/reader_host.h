#pragma once

#include "platform/url_reader.h"
#include "tests/linux/scratch.h"

#include <glib.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tsasync::tests {

// What a host of the reader has heard of one read.
struct Heard {
    std::vector<std::int32_t> codes;  // in order; a row of equal ones counts once
    std::string mimeType;
    std::string target;
    bool completed = false;
    std::string path;          // the finished file
    std::int32_t failure = 0;  // or the failure
    std::string description;
    std::int64_t bytesRead = 0;
    std::int64_t bytesMax = 0;
};

// A reader with a main loop of its own, and what it has notified.
class ReaderHost final : platform::IReadEvents {
  public:
    explicit ReaderHost(const std::string& placeNear);
    ~ReaderHost();

    // Starts a read; the name of the read is `name`, or the URL itself.
    std::int32_t Start(const std::string& url, const std::string& name = {});
    // Runs the loop until `done` holds. False after `seconds` without.
    bool RunUntil(const std::function<bool()>& done, int seconds = 60);
    // Reads one URL to its end.
    Heard Read(const std::string& url);
    // Whether every read that was started has completed.
    bool AllCompleted() const;

    Heard& Of(const std::string& name) { return m_heard[name]; }
    platform::UrlReader& Reader() { return *m_reader; }
    void ReleaseReader() { m_reader.reset(); }

    // Called in every notification, after it has been noted.
    std::function<void(const platform::AsyncProperty&, bool complete)> onNotice;

  private:
    void AsyncReadProgress(const platform::AsyncProperty& property) override;
    void AsyncReadComplete(const platform::AsyncProperty& property) override;
    void Note(Heard& heard, const platform::AsyncProperty& property);

    GMainContext* m_context;
    std::map<std::string, Heard> m_heard;
    std::unique_ptr<platform::UrlReader> m_reader;
};

// What errors in notification handlers have been written to the application log.
std::vector<std::u16string>& Logged();

// So many bytes that look like data.
std::string Pattern(std::size_t size);

// Where the reader puts its files when they are wanted on the same volume; empty at the start of a test
// program.
const std::string& CacheFolder();

}  // namespace tsasync::tests
