// Finished files, from the volume of the assets and from another one: the folder TSASYNC_OTHER_VOLUME.
#include "base/AutomationError.h"
#include "files/modFileOps.h"
#include "platform/file_system.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <thread>

namespace tsasync {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;
using platform::Destination;

std::int32_t Move(const fs::path& from, const fs::path& to, Destination destination) {
    platform::FileOp op;
    op.operation = platform::kOpMove;
    op.from = from.u16string();
    op.to = to.u16string();
    op.flags = platform::kFlagSilent | platform::kFlagNoConfirmation;
    op.destination = destination;
    return platform::RunFileOperation(op).code;
}

// As the manager does it; the path that was taken.
fs::path Place(const fs::path& from, const fs::path& to) {
    constexpr std::int32_t kFlags = platform::kFlagSilent | platform::kFlagRenameOnCollision;
    return modFileOps::FileOperation(from.u16string(), to.u16string(), platform::kOpMove, kFlags, 0);
}

void Write(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string Read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

Names List(const fs::path& folder) {
    Names names;
    for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
    return names;
}

class Moves : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        const char* const other = std::getenv("TSASYNC_OTHER_VOLUME");
        if (GetParam() && other == nullptr) GTEST_SKIP() << "no second volume";
        const std::string name = "file_operation_test." + std::to_string(GetCurrentProcessId());
        m_assets = fs::temp_directory_path() / name;
        m_source = GetParam() ? fs::path(other) / name : m_assets.parent_path() / (name + ".source");
        fs::create_directories(m_assets);
        fs::create_directories(m_source);
        Write(m_source / "tmp", "new");
    }
    void TearDown() override {
        fs::remove_all(m_assets);
        fs::remove_all(m_source);
    }

    fs::path m_assets;
    fs::path m_source;
};

INSTANTIATE_TEST_SUITE_P(Volumes, Moves, testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Other" : "Same"; });

TEST_P(Moves, TakeAFreePlaceOrTheCallersOwn) {
    Write(m_assets / "taken", "old");
    Write(m_assets / "filled", "theirs");
    Write(m_assets / "mine", "");
    EXPECT_EQ(Move(m_source / "tmp", m_assets / "taken", Destination::Free), platform::kOpExists);
    EXPECT_EQ(Move(m_source / "tmp", m_assets / "filled", Destination::Placeholder), platform::kOpExists);
    EXPECT_EQ(Move(m_source / "tmp", m_assets / "gone" / "a", Destination::Free), platform::kOpUnknownError);
    EXPECT_EQ(Read(m_assets / "taken") + Read(m_assets / "filled") + Read(m_source / "tmp"), "oldtheirsnew");
    EXPECT_EQ(Move(m_source / "tmp", m_assets / "mine", Destination::Placeholder), 0);
    EXPECT_EQ(Read(m_assets / "mine"), "new");
    EXPECT_EQ(Move(m_assets / "mine", m_source / "free", Destination::Free), 0);
    EXPECT_EQ(Read(m_source / "free"), "new");
    EXPECT_EQ(List(m_assets), (Names{"filled", "taken"}));
    EXPECT_EQ(List(m_source), Names{"free"});
}

TEST_P(Moves, TakeTheNextNameWhereOneIsTaken) {
    Write(m_assets / "photo.jpg", "old");
    fs::create_directory(m_assets / "photo[1].jpg");
    EXPECT_EQ(Place(m_source / "tmp", m_assets / "photo.jpg"), m_assets / "photo[2].jpg");
    EXPECT_EQ(Read(m_assets / "photo.jpg") + Read(m_assets / "photo[2].jpg"), "oldnew");
    EXPECT_EQ(List(m_source), Names{});
    EXPECT_THROW(Place(m_source / "tmp", m_assets / "a"), AutomationError) << "it is gone";
}

TEST_P(Moves, TakeFoldersWithAllThatIsInThem) {
    if (GetParam()) GTEST_SKIP() << "Wine's shell moves no folder to another volume, and reports success";
    fs::create_directory(m_source / "d");
    Write(m_source / "d" / "f", "inside");
    Write(m_assets / "mine", "");
    EXPECT_EQ(Move(m_source / "d", m_assets / "mine", Destination::Placeholder), 0);
    EXPECT_EQ(Read(m_assets / "mine" / "f"), "inside");
    EXPECT_EQ(List(m_source), Names{"tmp"});
}

// Under its final name a file is whole from the first moment on.
TEST_P(Moves, NeverShowAPartOfTheFile) {
    constexpr std::uintmax_t kSize = 24 << 20;
    Write(m_source / "big", std::string(kSize, 'x'));
    std::atomic<bool> moved = false;
    int seen = 0;
    std::thread watcher([&] {
        for (bool last = false; !last;) {
            last = moved;
            std::error_code error;
            const std::uintmax_t size = fs::file_size(m_assets / "big", error);
            if (error) continue;
            ++seen;
            EXPECT_EQ(size, kSize);
        }
    });
    EXPECT_EQ(Move(m_source / "big", m_assets / "big", Destination::Free), 0);
    moved = true;
    watcher.join();
    EXPECT_GT(seen, 0);
    EXPECT_EQ(List(m_assets), Names{"big"});
}

TEST_P(Moves, OfTwoThreadsToOneNameLeaveTwoFiles) {
    constexpr int kRounds = 20;
    const auto finish = [&](char runner) {
        for (int round = 0; round < kRounds; ++round) {
            const std::string content = runner + std::to_string(round) + std::string(50'000, runner);
            const fs::path tmp = m_source / std::string(1, runner);
            Write(tmp, content);
            EXPECT_EQ(Read(Place(tmp, m_assets / "photo.jpg")), content);
        }
    };
    std::thread other(finish, 'a');
    finish('b');
    other.join();
    EXPECT_EQ(List(m_assets).size(), 2U * kRounds);
}

}  // namespace
}  // namespace tsasync
