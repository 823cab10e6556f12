// The misbehaving server's conversations with the reader of the Windows component. This is a Linux program:
// it plays them all at the same time to read_urls.exe, which the command in TSASYNC_READ_URLS runs in the
// prefix WINEPREFIX.
#include "platform/url_reader.h"
#include "tests/server/conversations.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace tsasync::tests {
namespace {

struct Outcome {
    std::int32_t failure = 0;
    std::string content = {};
    std::string description = {};
    std::string complaint = {};  // of the server; how it begins, where one is expected
};

// What the system makes of a conversation under Wine where the reader can't know better; docs/windows.md
// tells why.
std::map<std::string, Outcome> UnderWine() {
    using namespace platform;
    const std::string& body = Body();
    return {
        // It takes chunks that break off, or are none, for the end of the data.
        {"chunked, broken size", {0, ""}},
        {"chunked, endless size", {0, body}},
        {"chunked, broken in the data", {0, body.substr(0, 500)}},
        {"chunked, too much data", {0, body.substr(0, 999)}},
        {"chunked, no last chunk", {0, body}},
        {"chunked, a negative size", {0, body.substr(0, 1)}},
        {"all there, but for the end of the chunks", {kErrCannotConnect, "", "", "\"Range: bytes=1000-\""}},
        // It asks for compressed data, tells nothing of the compression and takes what breaks off for whole.
        {"compressed", {0, "hello", "", "\"Accept-Encoding: identity\""}},
        {"compressed, cut", {0, "hell"}},
        {"compressed, cut, no length", {0, "hell"}},
        {"compressed, cut, the length kept", {0, "hell"}},
        {"compressed, cut in its end, no length", {0, "hello"}},
        {"compressed, in two streams", {0, "hello"}},
        {"compressed, far too well", {0, std::string(10'000, 'a')}},
        {"compressed, byte by byte", {kErrDownloadFailure}},
        {"deflated", {kErrDownloadFailure}},
        {"deflated, then compressed", {kErrDownloadFailure}},
        {"deflated, then compressed, in one list", {kErrDownloadFailure}},
        {"a part that is encoded", {0, body, "", "\"!Range:\""}},
        // It says nothing when a connection is reset in the middle of the data, nor when a head has no end.
        {"no length, reset", {kErrConnectionTimeout}},
        {"reset in the body", {kErrConnectionTimeout}},
        {"a head that never ends", {kErrConnectionTimeout}},
        // It cuts lines at NUL and after 4096 bytes, and hides those that are no fields.
        {"NUL in a header", {0, body}},
        {"NUL in the first line", {0, body}},
        {"redirected by NUL", {kErrCannotConnect}},
        {"a head of 1 MB", {0, body}},
        {"a line without colon", {0, body}},
        // It takes 103 for the answer.
        {"103 Early Hints first", {kErrDownloadFailure}},
    };
}

// Of the data that read_urls.exe has left at `path`.
std::string ContentOf(std::string path) {
    if (path.empty()) return {};
    std::replace(path.begin(), path.end(), '\\', '/');
    path.replace(0, 2, std::string(std::getenv("WINEPREFIX")) + "/drive_c");
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string UrlOf(const MisbehavingServer& server) {
    return "http://127.0.0.1:" + std::to_string(server.Port()) + "/file.bin";
}

std::vector<Case> AllCases() {
    std::vector<Case> all = Conversations();
    for (Case& one : SecondReads()) all.push_back(std::move(one));
    return all;
}

using Servers = std::map<std::string, std::unique_ptr<MisbehavingServer>>;

// One process reads from the servers of these names.
void ReadAll(const std::vector<std::string>& names, const Servers& servers,
             std::map<std::string, Outcome>& outcomes) {
    std::string input = testing::TempDir() + "urls.XXXXXX";
    close(mkstemp(input.data()));
    std::ofstream urls(input);
    for (const std::string& name : names) urls << UrlOf(*servers.at(name)) << "\n";
    urls.close();
    FILE* output = popen((std::getenv("TSASYNC_READ_URLS") + (" <" + input)).c_str(), "r");
    for (const std::string& name : names) {
        std::array<char, 8192> line{};
        if (std::fgets(line.data(), line.size(), output) == nullptr) break;
        std::istringstream fields(line.data());
        Outcome outcome;
        std::string path;
        fields >> outcome.failure;
        fields.ignore();
        std::getline(fields, path, '\t');
        std::getline(fields, outcome.description);
        outcome.content = ContentOf(path);
        outcomes[name] = outcome;
    }
    pclose(output);
    std::remove(input.c_str());
}

std::map<std::string, Outcome> PlayAll() {
    std::map<std::string, Outcome> outcomes;
    Servers servers;
    std::vector<std::string> names;
    for (const Case& one : AllCases()) {
        servers[one.name] = std::make_unique<MisbehavingServer>(one.conversation);
        names.push_back(one.name);
    }
    ReadAll(names, servers, outcomes);
    // What broke or was left where it is is read again, by other processes.
    for (int again = 0; again < 3; ++again) {
        names.clear();
        for (const Case& one : SecondReads()) {
            if (servers.at(one.name)->AwaitsMore()) names.push_back(one.name);
        }
        if (!names.empty()) ReadAll(names, servers, outcomes);
    }
    for (auto& [name, outcome] : outcomes) outcome.complaint = servers.at(name)->Complaint();
    return outcomes;
}

class MisbehavingTest : public testing::TestWithParam<Case> {
  protected:
    static void SetUpTestSuite() { s_outcomes = PlayAll(); }
    static inline std::map<std::string, Outcome> s_outcomes;
};

TEST_P(MisbehavingTest, EndsAsItShould) {
    const Case& expected = GetParam();
    ASSERT_TRUE(s_outcomes.contains(expected.name));
    const Outcome& outcome = s_outcomes.at(expected.name);
    const auto underWine = UnderWine();
    const auto other = underWine.find(expected.name);
    const Outcome wanted =
        other == underWine.end() ? Outcome{expected.failure, expected.content} : other->second;
    EXPECT_EQ(outcome.failure, wanted.failure) << outcome.description;
    EXPECT_EQ(outcome.content, wanted.content);
    const std::size_t size = std::max<std::size_t>(wanted.complaint.size(), 1);
    EXPECT_EQ(outcome.complaint.substr(0, size), wanted.complaint) << outcome.complaint;
    if (outcome.failure != 0) {
        EXPECT_NE(outcome.description.find("://"), std::string::npos) << outcome.description;
    }
}

TEST(UnderWine, IsToldOfConversationsThatThereAre) {
    const std::vector<Case> cases = AllCases();
    for (const auto& [name, outcome] : UnderWine()) {
        EXPECT_TRUE(std::any_of(cases.begin(), cases.end(), [&](const Case& one) {
            return one.name == name;
        })) << name;
    }
}

std::string CaseName(const testing::TestParamInfo<Case>& info) {
    std::string name;
    for (const char c : info.param.name)
        name.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Windows, MisbehavingTest, testing::ValuesIn(AllCases()), CaseName);

}  // namespace
}  // namespace tsasync::tests
