#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace tsasync::tests {

// A new folder, removed with all that is in it at the end, but not by a child that the process forked off.
class ScratchFolder {
  public:
    explicit ScratchFolder(const std::string& base = TemporaryBase())
        : m_path(base + "/tsasync-test-XXXXXX") {
        if (mkdtemp(m_path.data()) == nullptr) throw std::runtime_error("can't make a folder in " + base);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        if (getpid() == m_process) std::filesystem::remove_all(m_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    const std::string& Path() const { return m_path; }

    static std::string TemporaryBase() { return std::filesystem::temp_directory_path().string(); }

  private:
    std::string m_path;
    const pid_t m_process = getpid();
};

inline void Write(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << content).flush()) throw std::runtime_error("can't write " + path);
}

// Nothing when it can't be read.
inline std::string Read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> List(const std::string& folder) {  // names in order
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tsasync::tests
