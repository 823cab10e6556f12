#pragma once

#include "platform/url_reader.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

// The parts of the URL reader: see docs/reader.md for what it does, url_reader.h for its contract.
namespace tsasync::platform::reader {

class Inbox;
struct Read;

// One notification on its way from the transfer thread to the thread that started the read.
struct Notice {
    std::shared_ptr<Read> read;
    std::int32_t code = 0;  // ReadStatus; without meaning in a completion
    std::u16string text;
    // Set in a completion only: the path of the file, or the failure.
    std::optional<std::variant<std::u16string, ReadFailure>> result;
};

class NoticeReceiver {
  public:
    // Called on the thread that owns the read; throws nothing.
    virtual void Receive(const Notice& notice) = 0;

  protected:
    ~NoticeReceiver() = default;
};

// One read as its two threads see it: the owner, which started it, and the transfer thread.
struct Read {
    // Written before the read starts, read by both.
    std::uint64_t id = 0;
    std::string url;               // as asked for, UTF-8
    std::string folder;            // where the file will be wanted; may be empty
    std::shared_ptr<Inbox> inbox;  // of the owner

    // Written by the transfer thread.
    std::atomic<std::int64_t> bytesRead{0};
    std::atomic<std::int64_t> bytesMax{0};
    // Whether a notice of byte progress waits for delivery: there is never a second one.
    std::atomic<bool> progressWaits{false};
    // Whether the transfer thread holds the finished file's metadata until the owner has heard of it.
    std::atomic<bool> isHeld{false};

    // The owner's.
    std::u16string name;
    std::u16string target;               // the URL finally read, as far as the owner has heard
    NoticeReceiver* receiver = nullptr;  // null once the read is cancelled or completed
    std::size_t waiting = 0;             // undelivered notices of progress
    std::optional<Notice> completion;    // held back until those are delivered
};

}  // namespace tsasync::platform::reader
