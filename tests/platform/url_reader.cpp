#include "tests/platform/url_reader.h"

#include "base/KeyFold.h"

#include <algorithm>
#include <new>

namespace tsasync {

namespace {

struct ReaderState {
    platform::IReadEvents* events = nullptr;
    std::vector<testplatform::OpenRead> reads;
    std::int32_t startRefusal = 0;
    std::int32_t cancelRefusal = 0;
    bool lacksMemory = false;
};

thread_local ReaderState g_reader;

auto FindRead(std::u16string_view name) {
    return std::find_if(g_reader.reads.begin(), g_reader.reads.end(),
                        [&](const auto& read) { return FoldKey(read.name) == FoldKey(name); });
}

template <typename Deliver>
std::optional<AutomationError> ErrorOf(const Deliver& deliver) {
    try {
        deliver();
        return {};
    } catch (...) {
        return CurrentError();
    }
}

}  // namespace

class platform::UrlReader::Impl {
  public:
    std::u16string nearFolder;
};

platform::UrlReader::UrlReader(IReadEvents& events) : m_impl(std::make_unique<Impl>()) {
    g_reader = {};
    g_reader.events = &events;
}

platform::UrlReader::~UrlReader() = default;

void platform::UrlReader::ListenHere() {}

void platform::UrlReader::PlaceNear(std::u16string_view folder) { m_impl->nearFolder = folder; }

std::int32_t platform::UrlReader::AsyncRead(std::u16string_view target, std::int32_t /*type*/,
                                            std::u16string_view propertyName) {
    if (g_reader.lacksMemory) throw std::bad_alloc();
    if (g_reader.startRefusal != 0) return g_reader.startRefusal;
    g_reader.reads.push_back(
        {std::u16string(propertyName), std::u16string(target), std::u16string(m_impl->nearFolder)});
    return 0;
}

std::int32_t platform::UrlReader::CancelAsyncRead(std::u16string_view propertyName) {
    if (g_reader.lacksMemory) throw std::bad_alloc();
    const auto read = FindRead(propertyName);
    if (read == g_reader.reads.end()) return platform::kErrNoSuchRead;
    if (g_reader.cancelRefusal != 0) return g_reader.cancelRefusal;
    g_reader.reads.erase(read);
    return 0;
}

namespace testplatform {

const std::vector<OpenRead>& OpenReads() { return g_reader.reads; }

bool IsReading(std::u16string_view name) { return FindRead(name) != g_reader.reads.end(); }

void RefuseReads(std::int32_t error) { g_reader.startRefusal = error; }

void LackMemory(bool lack) { g_reader.lacksMemory = lack; }

void RefuseCancels(std::int32_t error) { g_reader.cancelRefusal = error; }

platform::AsyncProperty Status(std::u16string_view name, std::int32_t code, std::u16string_view text) {
    platform::AsyncProperty property;
    property.PropertyName = name;
    property.StatusCode = code;
    property.Status = text;
    return property;
}

platform::AsyncProperty Bytes(std::u16string_view name, std::int32_t read, std::int32_t max) {
    auto property = Status(name, platform::kStatusDownloading);
    property.BytesRead = read;
    property.BytesMax = max;
    return property;
}

platform::AsyncProperty Error(std::u16string_view name, std::int32_t number) {
    auto property = Status(name, platform::kStatusError);
    property.Value = number;
    return property;
}

platform::AsyncProperty Done(std::u16string_view name, std::u16string_view file, std::u16string_view target,
                             std::int32_t size) {
    auto property = Bytes(name, size, size);
    property.Value = std::u16string(file);
    property.Target = target;
    return property;
}

platform::AsyncProperty Failed(std::u16string_view name, std::int32_t number) {
    auto property = Status(name, platform::kStatusError);
    property.Value = platform::ReadFailure{number, u"The read failed."};
    return property;
}

std::optional<AutomationError> FireProgress(const platform::AsyncProperty& property) {
    return ErrorOf([&] { g_reader.events->AsyncReadProgress(property); });
}

std::optional<AutomationError> FireComplete(const platform::AsyncProperty& property) {
    if (const auto read = FindRead(property.PropertyName); read != g_reader.reads.end()) {
        g_reader.reads.erase(read);
    }
    return ErrorOf([&] { g_reader.events->AsyncReadComplete(property); });
}

}  // namespace testplatform

}  // namespace tsasync
