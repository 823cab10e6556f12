// Automation strings: the units, a closing zero, and the length in bytes in the four bytes before them.
#include "tsasync/com.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace {

// The block begins this far before the units, so that they are aligned like any other allocation.
constexpr std::size_t kHeader = 8;
constexpr std::size_t kLength = sizeof(std::uint32_t);

void* BlockOf(BSTR string) { return reinterpret_cast<char*>(string) - kHeader; }

BSTR Allocate(const void* content, std::uint64_t bytes) {
    if (bytes > std::numeric_limits<std::uint32_t>::max() - kHeader - sizeof(OLECHAR)) return nullptr;
    auto* block = static_cast<char*>(std::malloc(kHeader + bytes + sizeof(OLECHAR)));
    if (block == nullptr) return nullptr;
    const auto length = static_cast<std::uint32_t>(bytes);
    std::memcpy(block + kHeader - kLength, &length, kLength);
    if (content != nullptr) std::memcpy(block + kHeader, content, bytes);
    std::memset(block + kHeader + bytes, 0, sizeof(OLECHAR));
    return reinterpret_cast<BSTR>(block + kHeader);
}

std::uint64_t UnitCount(const OLECHAR* text) {
    std::uint64_t count = 0;
    while (text[count] != 0) ++count;
    return count;
}

INT Replace(BSTR* string, BSTR replacement) {
    if (replacement == nullptr) return FALSE;
    SysFreeString(std::exchange(*string, replacement));
    return TRUE;
}

}  // namespace

BSTR SysAllocString(const OLECHAR* text) {
    return text == nullptr ? nullptr : Allocate(text, UnitCount(text) * sizeof(OLECHAR));
}

BSTR SysAllocStringLen(const OLECHAR* units, UINT length) {
    return Allocate(units, std::uint64_t{length} * sizeof(OLECHAR));
}

BSTR SysAllocStringByteLen(const char* bytes, UINT length) { return Allocate(bytes, length); }

INT SysReAllocString(BSTR* string, const OLECHAR* text) {
    if (text != nullptr) return Replace(string, SysAllocString(text));
    SysFreeString(std::exchange(*string, nullptr));
    return TRUE;
}

INT SysReAllocStringLen(BSTR* string, const OLECHAR* units, UINT length) {
    return Replace(string, SysAllocStringLen(units, length));
}

void SysFreeString(BSTR string) {
    if (string != nullptr) std::free(BlockOf(string));
}

UINT SysStringLen(BSTR string) { return SysStringByteLen(string) / UINT{sizeof(OLECHAR)}; }

UINT SysStringByteLen(BSTR string) {
    if (string == nullptr) return 0;
    std::uint32_t length = 0;
    std::memcpy(&length, reinterpret_cast<const char*>(string) - kLength, kLength);
    return length;
}

void* CoTaskMemAlloc(std::size_t size) { return std::malloc(size); }

void CoTaskMemFree(void* memory) { std::free(memory); }
