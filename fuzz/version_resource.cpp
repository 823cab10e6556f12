// The reader of version resources, fed with whole files.
#include "platform/version_resource.h"

#include "base/Utf8.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

using tsasync::platform::VersionResource;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const int file = memfd_create("executable", MFD_CLOEXEC);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) std::abort();
    const auto resource = VersionResource::Read(tsasync::FromUtf8("/proc/self/fd/" + std::to_string(file)));
    if (resource) {
        resource->Fixed();
        const auto translation =
            resource->FirstTranslation().value_or(tsasync::platform::Translation{0x409, 1200});
        for (const auto* const name : {u"CompanyName", u"ProductVersion"})
            resource->String(translation, name);
    }
    close(file);
    return 0;
}
