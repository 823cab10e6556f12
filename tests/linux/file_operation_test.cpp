#include "files/modFileOps.h"
#include "platform/file_system.h"
#include "tests/base/error_of.h"
#include "tests/linux/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <set>
#include <thread>

namespace tsasync {
namespace {

using namespace tests;  // NOLINT(google-build-using-namespace)
namespace fs = std::filesystem;
using platform::Destination;
using Names = std::vector<std::string>;

constexpr std::int32_t kRename = platform::kFlagSilent | platform::kFlagRenameOnCollision;

std::int32_t Operate(std::int32_t operation, const std::string& from, const std::string& to,
                     Destination destination, std::uint16_t flags = 0) {
    platform::FileOp op{.operation = operation, .from = FromUtf8(from), .to = FromUtf8(to), .flags = flags};
    op.destination = destination;
    return platform::RunFileOperation(op).code;
}

std::int32_t Move(const std::string& from, const std::string& to, Destination destination,
                  std::uint16_t flags = 0) {
    return Operate(platform::kOpMove, from, to, destination, flags);
}

// As the component finishes a file.
std::string Place(const std::string& from, const std::string& to) {
    return ToUtf8(modFileOps::FileOperation(FromUtf8(from), FromUtf8(to), platform::kOpMove, kRename, 0));
}

std::int32_t ErrorOfPlacing(const std::string& from, const std::string& to) {
    return ErrorOf([&] { Place(from, to); }).number;
}

// Moves within one volume, and from another one.
class FileOperation : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        const auto base = GetParam() ? OtherVolume() : ScratchFolder::TemporaryBase();
        if (!base) GTEST_SKIP() << "no second volume that can be written to";
        m_source = std::make_unique<ScratchFolder>(*base);
        Write(*m_source / "tmp", "new");
    }
    std::string Tmp() const { return *m_source / "tmp"; }

    ScratchFolder m_assets;
    std::unique_ptr<ScratchFolder> m_source;
};

INSTANTIATE_TEST_SUITE_P(Volumes, FileOperation, ::testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Other" : "Same"; });

TEST_P(FileOperation, AMoveTakesContentPermissionsAndTimes) {
    const timespec times[2] = {{1000, 0}, {2000, 5}};
    ASSERT_EQ(chmod(Tmp().c_str(), 0640), 0);
    ASSERT_EQ(utimensat(AT_FDCWD, Tmp().c_str(), times, 0), 0);
    EXPECT_EQ(Move(Tmp(), m_assets / "a", Destination::Free), 0);
    EXPECT_EQ(Read(m_assets / "a"), "new");
    struct stat entry {};
    ASSERT_EQ(stat((m_assets / "a").c_str(), &entry), 0);
    EXPECT_EQ(entry.st_mode & 0777U, 0640U);
    EXPECT_EQ(entry.st_mtim.tv_sec, 2000);
    EXPECT_EQ(List(m_source->Path()), Names{});
    EXPECT_EQ(List(m_assets.Path()), Names{"a"});
}

TEST_P(FileOperation, NothingThatCameMeanwhileIsReplaced) {
    Write(m_assets / "taken", "old");
    Write(m_assets / "filled", "theirs");
    Write(m_assets / "mine", "");
    ASSERT_EQ(symlink("nowhere", (m_assets / "link").c_str()), 0);
    EXPECT_EQ(Move(Tmp(), m_assets / "taken", Destination::Free), platform::kOpExists);
    EXPECT_EQ(Move(Tmp(), m_assets / "link", Destination::Free), platform::kOpExists);
    EXPECT_EQ(Move(Tmp(), m_assets / "filled", Destination::Placeholder), platform::kOpExists);
    EXPECT_EQ(Move(Tmp(), m_assets / "taken", Destination::AsItIs),
              platform::kOpExists);  // nobody can be asked
    EXPECT_EQ(Read(m_assets / "taken") + Read(m_assets / "filled") + Read(Tmp()), "oldtheirsnew");
    EXPECT_EQ(Move(Tmp(), m_assets / "mine", Destination::Placeholder), 0);
    EXPECT_EQ(Read(m_assets / "mine"), "new");
    EXPECT_EQ(List(m_assets.Path()), (Names{"filled", "link", "mine", "taken"}));
}

TEST_P(FileOperation, FollowsTheShellsRulesWhereNothingElseIsSaid) {
    Write(m_assets / "taken", "old");
    ASSERT_EQ(mkdir((m_assets / "folder").c_str(), 0777), 0);
    EXPECT_EQ(Operate(platform::kOpCopy, Tmp(), m_assets / "taken", Destination::AsItIs,
                      platform::kFlagNoConfirmation),
              0);
    EXPECT_EQ(Read(m_assets / "taken"), "new");
    EXPECT_EQ(Operate(platform::kOpCopy, Tmp(), m_assets / "folder", Destination::AsItIs), 0);
    EXPECT_EQ(Read(m_assets / "folder/tmp"), "new");
    EXPECT_EQ(Move(Tmp(), m_assets / "x/y/a", Destination::AsItIs), platform::kOpUnknownError);
    EXPECT_EQ(Move(Tmp(), m_assets / "x/y/a", Destination::Free, platform::kFlagNoConfirmMkDir), 0);
    EXPECT_EQ(Read(m_assets / "x/y/a"), "new");
    EXPECT_EQ(Operate(platform::kOpDelete, m_assets / "x", "", Destination::AsItIs), 0);
    EXPECT_EQ(Operate(platform::kOpDelete, m_assets / "x", "", Destination::AsItIs), 2);
    EXPECT_EQ(Operate(9, m_assets / "taken", m_assets / "b", Destination::AsItIs), platform::kOpUnknownError);
    EXPECT_EQ(List(m_assets.Path()), (Names{"folder", "taken"}));
}

TEST_P(FileOperation, MovesFoldersWithAllThatIsInThem) {
    ASSERT_EQ(mkdir((*m_source / "d").c_str(), 0777), 0);
    Write(*m_source / "d/f", "inside");
    ASSERT_EQ(symlink("f", (*m_source / "d/l").c_str()), 0);
    Write(m_assets / "reserved", "");
    EXPECT_EQ(Move(*m_source / "d", m_assets / "reserved", Destination::Placeholder), 0);
    EXPECT_EQ(List(m_assets / "reserved"), (Names{"f", "l"}));
    EXPECT_EQ(Read(m_assets / "reserved/l"), "inside");
    EXPECT_EQ(List(m_source->Path()), Names{"tmp"});
    if (!GetParam()) {
        EXPECT_NE(Move(m_assets / "reserved", m_assets / "reserved/in itself", Destination::Free), 0);
        EXPECT_EQ(List(m_assets / "reserved"), (Names{"f", "l"}));
    }
}

TEST_P(FileOperation, WorksOnFileSystemsThatCanDoLess) {
    InChild([&]() -> Obstacle {
        if (auto obstacle = RefuseModernCalls()) return obstacle;
        Write(m_assets / "taken", "old");
        EXPECT_EQ(Move(Tmp(), m_assets / "taken", Destination::Free), platform::kOpExists);
        EXPECT_EQ(Read(m_assets / "taken") + Read(Tmp()), "oldnew");
        EXPECT_EQ(Move(Tmp(), m_assets / "free", Destination::Free), 0);
        EXPECT_EQ(Read(m_assets / "free"), "new");
        EXPECT_EQ(Move(m_assets.Path(), m_assets / "in itself", Destination::Free), 31);
        if (auto obstacle = RefuseCalls({SYS_link, SYS_fchmod, SYS_fchmodat, SYS_utimensat})) return obstacle;
        EXPECT_EQ(Move(m_assets / "free", m_assets / "taken", Destination::Free), platform::kOpExists);
        Write(Tmp(), "another");
        EXPECT_EQ(Move(Tmp(), m_assets / "other", Destination::Free), 0);
        EXPECT_EQ(Read(m_assets / "taken") + Read(m_assets / "other"), "oldanother");
        fs::create_directory(*m_source / "d");
        Write(*m_source / "d/f", "inside");
        EXPECT_EQ(Move(*m_source / "d", m_assets / "d", Destination::Free), 0);
        EXPECT_EQ(List(m_assets.Path()), (Names{"d", "free", "other", "taken"}));
        return std::nullopt;
    });
}

TEST_P(FileOperation, APathThroughALinkEndsWhereTheLinkLeads) {
    for (const char* folder : {"far", "far/x", "far/assets", "assets"}) {
        ASSERT_EQ(mkdir((m_assets / folder).c_str(), 0777), 0);
    }
    ASSERT_EQ(symlink("far/x", (m_assets / "link").c_str()), 0);
    Write(m_assets / "far/assets/a.txt", "old");
    Write(m_assets / "assets/a.txt", "another folder's");
    EXPECT_EQ(Place(Tmp(), m_assets / "link/../assets/a.txt"), m_assets / "far/assets/a[1].txt");
    EXPECT_EQ(Read(m_assets / "far/assets/a[1].txt"), "new");
    EXPECT_EQ(List(m_assets / "assets"), Names{"a.txt"});
}

TEST_P(FileOperation, AFolderWithoutPermissionKeepsTheSource) {
    ASSERT_EQ(chmod(m_source->Path().c_str(), 0777), 0);
    ASSERT_EQ(chmod(m_assets.Path().c_str(), 0555), 0);
    InChild([&]() -> Obstacle {
        BecomeNobody();
        EXPECT_EQ(Move(Tmp(), m_assets / "a", Destination::Free), 5);
        EXPECT_EQ(ErrorOfPlacing(Tmp(), m_assets / "a"), kErrMoveFailed);
        EXPECT_EQ(Read(Tmp()), "new");
        return std::nullopt;
    });
    EXPECT_EQ(List(m_assets.Path()), Names{});
}

TEST_P(FileOperation, AFolderThatWentAwayKeepsTheSource) {
    const std::string gone = m_assets / "gone/a";
    EXPECT_EQ(Move(Tmp(), gone, Destination::Free), platform::kOpUnknownError);
    EXPECT_EQ(ErrorOfPlacing(Tmp(), gone), kErrMoveUnknown);
    EXPECT_EQ(ErrorOfPlacing(*m_source / "missing", m_assets / "a"), 53);
    EXPECT_EQ(Read(Tmp()), "new");
}

TEST_P(FileOperation, AFullVolumeKeepsTheSource) {
    InChild([&]() -> Obstacle {
        if (auto obstacle = MountTmpfs(m_assets.Path(), std::size_t{1} << 20)) return obstacle;
        const std::string big(std::size_t{3} << 20, 'x');
        Write(Tmp(), big);
        Write(m_assets / "a", "old");
        EXPECT_EQ(Move(Tmp(), m_assets / "free", Destination::Free), platform::kOpDiskFull);
        EXPECT_EQ(List(m_assets.Path()), Names{"a"});
        EXPECT_EQ(ErrorOfPlacing(Tmp(), m_assets / "a"), kErrMoveFailed);
        EXPECT_EQ(List(m_assets.Path()), (Names{"a", "a[1]."}));
        EXPECT_EQ(Read(m_assets / "a"), "old");
        EXPECT_EQ(Read(m_assets / "a[1]."), "");  // the reserved name stays
        EXPECT_TRUE(Read(Tmp()) == big);
        return std::nullopt;
    });
}

TEST_P(FileOperation, AReadOnlyVolumeKeepsTheSource) {
    InChild([&]() -> Obstacle {
        if (auto obstacle = MountTmpfs(m_assets.Path(), std::size_t{1} << 20)) return obstacle;
        Write(m_assets / "a", "old");
        if (auto obstacle = MakeReadOnly(m_assets.Path())) return obstacle;
        EXPECT_EQ(Move(Tmp(), m_assets / "free", Destination::Free), 19);
        EXPECT_EQ(ErrorOfPlacing(Tmp(), m_assets / "a"), 70);
        EXPECT_EQ(Read(Tmp()), "new");
        EXPECT_EQ(Move(m_assets / "a", *m_source / "moved", Destination::Free), 19);  // can't leave its place
        EXPECT_EQ(List(m_source->Path()), Names{"tmp"});
        return std::nullopt;
    });
}

// Content that tells whose it is, too long for one write.
std::string ContentOf(int runner, int round) {
    return std::to_string(runner) + ":" + std::to_string(round) +
           std::string(100000, static_cast<char>('a' + runner));
}

// Two that finish the same name; `start` runs the other one, of which it gives back how to await it.
void FinishOneNameTwice(const std::string& source, const std::string& assets,
                        const std::function<std::function<void()>(std::function<void()>)>& start) {
    constexpr int kRounds = 100;
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    const auto run = [&](int runner) {
        for (int round = 0; round < kRounds; ++round) {
            const std::string tmp = source + "/" + std::to_string(runner);
            const std::string content = ContentOf(runner, round);
            Write(tmp, content);
            char byte = 0;  // both start every round together
            if (write(ends[runner], &byte, 1) != 1 || read(ends[runner], &byte, 1) != 1) return;
            const std::string placed = Place(tmp, assets + "/photo.jpg");
            if (Read(placed) != content) ADD_FAILURE() << "not whole: " << placed;
        }
    };
    const auto await = start([&] { run(1); });
    run(0);
    await();
    close(ends[0]);
    close(ends[1]);
    std::set<std::string> contents;
    for (const auto& name : List(assets)) contents.insert(Read(std::string(assets).append("/").append(name)));
    EXPECT_EQ(List(assets).size(), 2U * kRounds);
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_TRUE(contents.contains(ContentOf(0, round)) && contents.contains(ContentOf(1, round)))
            << round;
    }
}

TEST_P(FileOperation, TwoThreadsFinishingOneNameLeaveTwoHundredWholeFiles) {
    FinishOneNameTwice(m_source->Path(), m_assets.Path(), [](std::function<void()> other) {
        return [thread = std::make_shared<std::thread>(std::move(other))] { thread->join(); };
    });
}

TEST_P(FileOperation, TwoProcessesFinishingOneNameLeaveTwoHundredWholeFiles) {
    FinishOneNameTwice(m_source->Path(), m_assets.Path(), [](const std::function<void()>& other) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);  // the first one may fail
            other();
            _exit(HasFailure() ? 1 : 0);
        }
        return [child] {
            int status = 0;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0);
        };
    });
}

}  // namespace
}  // namespace tsasync
