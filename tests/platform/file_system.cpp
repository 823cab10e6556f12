#include "tests/platform/file_system.h"

#include "base/KeyFold.h"
#include "platform/clock.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

namespace tsasync {

namespace {

using platform::FileOpResult;

constexpr char16_t kSeparator = u'\\';
constexpr double kSecondsPerDay = 86400;
constexpr std::uint64_t kCluster = 4096;
constexpr std::int32_t kFileNotFound = 2;
constexpr std::int32_t kAccessDenied = 5;

struct Node {
    std::u16string name;
    std::u16string shortName;
    std::uint32_t attributes = platform::kAttributeDirectory;
    double times[3] = {};  // by FileTime
    std::string content;
    bool sealed = false;
    bool listed = true;
    Node* parent = nullptr;
    std::map<std::u16string, std::unique_ptr<Node>> children;  // under the folded name

    bool IsFolder() const { return (attributes & platform::kAttributeDirectory) != 0; }
};

struct State {
    Node roots;  // its children are the drives and shares
    std::optional<FileOpResult> nextResult;
    std::function<void()> beforeNextChange;
    std::vector<platform::FileOp> operations;
};

thread_local State g_state;

// A path taken apart: "C:" or "\\server\share", then the levels.
struct Path {
    std::u16string root;
    std::vector<std::u16string> levels;
    bool trailingSeparator = false;
};

std::optional<Path> Parse(std::u16string_view text) {
    if (text.empty() || text.find(u'\0') != std::u16string_view::npos) return std::nullopt;
    std::u16string rest(text);
    std::replace(rest.begin(), rest.end(), u'/', kSeparator);
    Path path;
    path.trailingSeparator = rest.back() == kSeparator;
    if (rest.starts_with(u"\\\\")) {
        const std::size_t server = rest.find(kSeparator, 2);
        if (server == std::u16string::npos) return std::nullopt;
        const std::size_t share = std::min(rest.find(kSeparator, server + 1), rest.size());
        path.root = rest.substr(0, share);
        rest.erase(0, share);
    } else if (rest.size() >= 2 && rest[1] == u':') {
        path.root = rest.substr(0, 2);
        rest.erase(0, 2);
    } else {
        path.root = u"C:";
    }
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(kSeparator), rest.size());
        const std::u16string level = rest.substr(0, end);
        rest.erase(0, end + 1);
        if (level == u"..") {
            if (!path.levels.empty()) path.levels.pop_back();
        } else if (!level.empty() && level != u".") {
            path.levels.push_back(level);
        }
    }
    return path;
}

Node* Child(Node& folder, std::u16string_view name) {
    const std::u16string folded = FoldKey(name);
    const auto found = folder.children.find(folded);
    if (found != folder.children.end()) return found->second.get();
    for (const auto& [key, child] : folder.children) {
        if (!child->shortName.empty() && FoldKey(child->shortName) == folded) return child.get();
    }
    return nullptr;
}

Node& AddChild(Node& folder, std::u16string_view name, std::uint32_t attributes) {
    auto node = std::make_unique<Node>();
    node->name = name;
    node->attributes = attributes;
    node->parent = &folder;
    std::fill(std::begin(node->times), std::end(node->times),
              std::floor(platform::Now() * kSecondsPerDay) / kSecondsPerDay);
    return *(folder.children[FoldKey(name)] = std::move(node));
}

// Drives are there before anyone asks; so are shares.
Node& Root(const Path& path) {
    Node* const root = Child(g_state.roots, path.root);
    return root != nullptr ? *root : AddChild(g_state.roots, path.root, platform::kAttributeDirectory);
}

// The folder in which the last level of `path` is or would be.
Node* ParentOf(const Path& path) {
    Node* node = &Root(path);
    for (std::size_t i = 0; node != nullptr && i + 1 < path.levels.size(); ++i)
        node = Child(*node, path.levels[i]);
    return node != nullptr && node->IsFolder() ? node : nullptr;
}

Node* Find(const Path& path) {
    if (path.levels.empty()) return &Root(path);
    Node* const parent = ParentOf(path);
    return parent == nullptr ? nullptr : Child(*parent, path.levels.back());
}

Node* Find(std::u16string_view text) {
    const auto path = Parse(text);
    return path ? Find(*path) : nullptr;
}

Node& Existing(std::u16string_view text) {
    Node* const node = Find(text);
    if (node == nullptr) throw std::invalid_argument("no such entry in the tests' file system");
    return *node;
}

void MakeFolders(const Path& path, std::size_t levels) {
    Node* node = &Root(path);
    for (std::size_t i = 0; i < levels; ++i) {
        Node* const next = Child(*node, path.levels[i]);
        node = next != nullptr ? next : &AddChild(*node, path.levels[i], platform::kAttributeDirectory);
    }
}

void Detach(Node& node) {
    auto& siblings = node.parent->children;
    siblings.erase(FoldKey(node.name));
}

bool Matches(std::u16string_view pattern, std::u16string_view name) {
    if (pattern.empty()) return name.empty();
    if (pattern[0] == u'*') {
        return Matches(pattern.substr(1), name) || (!name.empty() && Matches(pattern, name.substr(1)));
    }
    return !name.empty() && (pattern[0] == u'?' || pattern[0] == name[0]) &&
           Matches(pattern.substr(1), name.substr(1));
}

Node* FindMatch(const Path& path) {
    const std::u16string& last = path.levels.back();
    if (last.find_first_of(u"*?") == std::u16string::npos) return Find(path);
    Node* const parent = ParentOf(path);
    if (parent == nullptr) return nullptr;
    for (const auto& [folded, child] : parent->children) {
        if (Matches(FoldKey(last), folded)) return child.get();
    }
    return nullptr;
}

void RunPendingAction() {
    if (auto action = std::exchange(g_state.beforeNextChange, nullptr)) action();
}

platform::CreateResult Create(std::u16string_view text, std::uint32_t attributes) {
    const auto path = Parse(text);
    if (!path || path->levels.empty()) return platform::CreateResult::Refused;
    Node* const parent = ParentOf(*path);
    if (parent == nullptr) return platform::CreateResult::Refused;
    if (Child(*parent, path->levels.back()) != nullptr) return platform::CreateResult::Exists;
    if (parent->sealed) return platform::CreateResult::Refused;
    AddChild(*parent, path->levels.back(), attributes);
    return platform::CreateResult::Created;
}

std::unique_ptr<Node> CopyOf(const Node& node) {
    auto copy = std::make_unique<Node>();
    copy->attributes = node.attributes;
    copy->content = node.content;
    copy->name = node.name;
    std::copy(std::begin(node.times), std::end(node.times), std::begin(copy->times));
    for (const auto& [key, child] : node.children) {
        auto& copied = copy->children[key] = CopyOf(*child);
        copied->parent = copy.get();
    }
    return copy;
}

// 0 when the operation may put its entry where `existing` stands.
std::int32_t MayTakePlace(const platform::FileOp& op, const Node* existing) {
    if (existing == nullptr) return 0;
    switch (op.destination) {
        case platform::Destination::Free:
            return platform::kOpExists;
        case platform::Destination::Placeholder:
            return existing->IsFolder() || !existing->content.empty() ? platform::kOpExists : 0;
        case platform::Destination::AsItIs:
            return (op.flags & platform::kFlagNoConfirmation) != 0 ? 0 : platform::kOpExists;
    }
    return platform::kOpUnknownError;
}

std::int32_t Place(const platform::FileOp& op, Node& source) {
    auto path = Parse(op.to);
    if (!path || path->levels.empty()) return platform::kOpUnknownError;
    const Node* existing = Find(*path);
    if (op.destination == platform::Destination::AsItIs && existing != nullptr && existing->IsFolder()) {
        path->levels.push_back(source.name);
        existing = Find(*path);
    }
    if ((op.flags & platform::kFlagNoConfirmMkDir) != 0) MakeFolders(*path, path->levels.size() - 1);
    Node* const parent = ParentOf(*path);
    if (parent == nullptr) return platform::kOpUnknownError;
    if (parent->sealed) return kAccessDenied;
    if (const std::int32_t code = MayTakePlace(op, existing)) return code;

    auto placed = CopyOf(source);
    placed->name = path->levels.back();
    placed->parent = parent;
    if (op.operation != platform::kOpCopy) Detach(source);
    parent->children[FoldKey(placed->name)] = std::move(placed);
    return 0;
}

}  // namespace

// --- what tests say

void testplatform::ResetFileSystem() { g_state = State(); }

void testplatform::PutFile(std::u16string_view path, std::string_view content) {
    const auto parsed = Parse(path);
    if (!parsed || parsed->levels.empty()) throw std::invalid_argument("no path of a file");
    MakeFolders(*parsed, parsed->levels.size() - 1);
    Node* node = Find(*parsed);
    if (node == nullptr)
        node = &AddChild(*ParentOf(*parsed), parsed->levels.back(), platform::kAttributeArchive);
    node->content = content;
}

void testplatform::PutFolder(std::u16string_view path) {
    const auto parsed = Parse(path);
    if (!parsed) throw std::invalid_argument("no path of a folder");
    MakeFolders(*parsed, parsed->levels.size());
}

void testplatform::RemoveEntry(std::u16string_view path) {
    if (Node* const node = Find(path)) Detach(*node);
}

void testplatform::SetShortName(std::u16string_view path, std::u16string_view shortName) {
    Existing(path).shortName = shortName;
}

void testplatform::Seal(std::u16string_view path) { Existing(path).sealed = true; }

void testplatform::ForbidListing(std::u16string_view path) { Existing(path).listed = false; }

bool testplatform::Exists(std::u16string_view path) { return Find(path) != nullptr; }

std::optional<std::string> testplatform::ContentOf(std::u16string_view path) {
    const Node* const node = Find(path);
    if (node == nullptr || node->IsFolder()) return std::nullopt;
    return node->content;
}

std::vector<std::u16string> testplatform::List(std::u16string_view folder) {
    std::vector<std::u16string> names;
    if (const Node* const node = Find(folder)) {
        for (const auto& [key, child] : node->children) names.push_back(child->name);
    }
    return names;
}

void testplatform::FailNextOperation(FileOpResult result) { g_state.nextResult = result; }

void testplatform::BeforeNextChange(std::function<void()> action) {
    g_state.beforeNextChange = std::move(action);
}

const std::vector<platform::FileOp>& testplatform::Operations() { return g_state.operations; }

// --- the seam

namespace platform {

const char16_t kPathSeparator = kSeparator;
const bool kPathsHaveDrives = true;

std::optional<FindData> FindFirst(std::u16string_view path) {
    const auto parsed = Parse(path);
    if (!parsed || parsed->levels.empty() || parsed->trailingSeparator) return std::nullopt;
    const Node* const node = FindMatch(*parsed);
    if (node == nullptr || !node->parent->listed) return std::nullopt;
    FindData found;
    found.attributes = node->attributes;
    found.creationTime = node->times[0];
    found.lastAccessTime = node->times[1];
    found.lastWriteTime = node->times[2];
    found.size = node->content.size();
    found.name = node->name;
    found.shortName = node->shortName;
    return found;
}

std::u16string FullPath(std::u16string_view path) {
    const auto parsed = Parse(path);
    if (!parsed) return {};
    std::u16string full = parsed->root;
    for (const auto& level : parsed->levels) full += kSeparator + level;
    if (parsed->trailingSeparator || parsed->levels.empty()) full += kSeparator;
    return full;
}

std::u16string ShortPath(std::u16string_view path) {
    std::u16string result;
    for (const Node* node = Find(path); node != nullptr && node->parent != nullptr; node = node->parent) {
        const std::u16string& name = node->shortName.empty() ? node->name : node->shortName;
        result = result.empty() ? name : name + kSeparator + result;
    }
    return result;
}

std::optional<std::uint64_t> SizeOnDisk(std::u16string_view path) {
    const Node* const node = Find(path);
    if (node == nullptr) return std::nullopt;
    return (node->content.size() + kCluster - 1) / kCluster * kCluster;
}

bool WriteFileTime(std::u16string_view path, FileTime which, double date) {
    Node* const node = Find(path);
    if (node == nullptr || node->sealed) return false;
    node->times[static_cast<int>(which)] = std::round(date * kSecondsPerDay) / kSecondsPerDay;
    return true;
}

bool WriteAttributes(std::u16string_view path, std::uint32_t attributes) {
    constexpr std::uint32_t kFixed = kAttributeDirectory | kAttributeCompressed;
    Node* const node = Find(path);
    if (node == nullptr || node->sealed) return false;
    node->attributes = (node->attributes & kFixed) | (attributes & ~kFixed);
    return true;
}

CreateResult CreateFolder(std::u16string_view path) { return Create(path, kAttributeDirectory); }

CreateResult CreateNewFile(std::u16string_view path) {
    RunPendingAction();
    return Create(path, kAttributeArchive);
}

FileOpResult RunFileOperation(const FileOp& op) {
    g_state.operations.push_back(op);
    RunPendingAction();
    if (const auto result = std::exchange(g_state.nextResult, std::nullopt)) return *result;
    Node* const source = Find(op.from);
    if (source == nullptr || source->parent == &g_state.roots) return {kFileNotFound, false};
    if (source->parent->sealed && op.operation != kOpCopy) return {kAccessDenied, false};
    if (op.operation == kOpDelete) {
        Detach(*source);
        return {};
    }
    return {Place(op, *source), false};
}

}  // namespace platform

}  // namespace tsasync
