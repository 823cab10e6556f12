#include "tests/linux/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <span>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace tsasync::tests {

namespace {

constexpr int kSkipped = 77;

std::string Because(const char* what) {
    return std::string(what) + ": " + std::generic_category().message(errno);
}

dev_t VolumeOf(const std::string& path) {
    struct stat entry {};
    return stat(path.c_str(), &entry) == 0 ? entry.st_dev : 0;
}

// A mount namespace; without the superuser's rights inside a user namespace, where they are to be had.
Obstacle OwnMounts() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    const int flags = user == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
    if (unshare(flags) != 0) return Because("no mount namespace");
    if (user != 0) {
        std::ofstream("/proc/self/setgroups") << "deny";
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
        std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    }
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return Because("no private mounts");
    return std::nullopt;
}

Obstacle Install(std::span<sock_filter> filter) {
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return Because("no_new_privs");
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) return Because("no seccomp filter");
    return std::nullopt;
}

}  // namespace

std::optional<std::string> OtherVolume() {
    for (const char* const candidate : {"/dev/shm", "/var/tmp", "/run/lock"}) {
        if (access(candidate, W_OK) == 0 && VolumeOf(candidate) != VolumeOf(ScratchFolder::TemporaryBase())) {
            return candidate;
        }
    }
    return std::nullopt;
}

void InChild(const std::function<Obstacle()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int code = EXIT_FAILURE;
        try {
            const auto obstacle = body();
            if (obstacle) std::printf("%s\n", obstacle->c_str());
            code = obstacle ? kSkipped : ::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS;
        } catch (const std::exception& error) {
            std::printf("%s\n", error.what());
        }
        std::fflush(nullptr);
        _exit(code);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == kSkipped) GTEST_SKIP() << "this machine does not allow it (reason above)";
    EXPECT_EQ(WEXITSTATUS(status), EXIT_SUCCESS) << "failed in the child process, see above";
}

Obstacle MountTmpfs(const std::string& folder, std::size_t bytes) {
    if (auto obstacle = OwnMounts()) return obstacle;
    const std::string options = "size=" + std::to_string(bytes);
    if (mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) != 0) return Because("no tmpfs");
    return std::nullopt;
}

Obstacle MakeReadOnly(const std::string& folder) {
    if (mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0)
        return Because("no remount");
    return std::nullopt;
}

void BecomeNobody() {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 &&
        (setresgid(kNobody, kNobody, kNobody) != 0 || setresuid(kNobody, kNobody, kNobody) != 0)) {
        throw std::runtime_error(Because("setresuid"));
    }
}

Obstacle RefuseModernCalls() {
    constexpr auto kArgument = [](int index) {
        return static_cast<std::uint32_t>(offsetof(seccomp_data, args) + sizeof(std::uint64_t) * index);
    };
    constexpr std::uint32_t kNamelessBit = O_TMPFILE & ~O_DIRECTORY;
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kArgument(4)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, RENAME_NOREPLACE, 0, 5),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kArgument(2)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, kNamelessBit, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EOPNOTSUPP),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    return Install(filter);
}

Obstacle RefuseCalls(std::initializer_list<int> calls) {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const int call : calls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    return Install(filter);
}

}  // namespace tsasync::tests
