// Holds the documents to the code: every sample in them is read and written back, byte for byte.

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <doctest/doctest.h>

#include "broker/mcp_client_session.h"
#include "history/history_entry.h"
#include "hook/prompt_hook_observation.h"
#include "identity/file_identity.h"
#include "integration/agent_manifest.h"
#include "integration/pairing_request_record.h"
#include "support/json.h"
#include "tests/record_trials.h"
#include "tests/temporary_directory.h"

using namespace sorvane;

namespace {

/// Reads a sample and writes it back.
using RoundTrip = std::function<std::string(const std::string&)>;

template<record::Described Record>
std::string asRecord(const std::string& sample) {
    return test::encoded(test::decoded<Record>(sample));
}

std::string asJSON(const std::string& sample) { return jsonText(parseJSON(sample)); }

// A file that people write: its line feeds and spaces are theirs, and only its JSON is tried.
std::string asWritten(const std::string& sample) {
    parseJSON(sample);
    return sample.substr(0, sample.size() - 1);
}

// Every page, with what each of its samples is.
const std::map<std::string, std::vector<RoundTrip>> pages{
    {"README.md", {}}, // the index
    {"agent-manifest.md", {asRecord<AgentManifest>}},
    {"agents.md", std::vector<RoundTrip>(6, asWritten)}, // a configuration of each agent with hooks
    {"doctor.md", {asJSON, asJSON, asJSON}},             // without a command, "event", "identity"
    {"history-entry.md", {asRecord<HelperEntry>}},
    {"hook-event.md", {asJSON, asJSON, asJSON}}, // the event; two forms of the answer
    {"image-formats.md", {}},                    // a table and no sample
    {"mcp-session.md", {asRecord<MCPClientSession>}},
    {"observation.md", {asRecord<PromptHookObservation>}},
    {"pairing-request.md", {asRecord<PairingRequestRecord>}},
    {"pixel-digest.md", {asJSON}},
    {"tandem-link.md", {asJSON, asJSON, asJSON}}, // request, answer, refusal
};

std::string pageText(const std::string& page) {
    return test::fileContent(std::filesystem::path(SORVANE_DOCS_DIR) / page);
}

// The lines of every fenced block of one language, one text a block.
std::vector<std::string> blocks(const std::string& text, const std::string& language) {
    std::vector<std::string> found;
    std::istringstream lines(text);
    bool inside = false;
    bool wanted = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) {
            inside = !inside;
            wanted = inside && line == "```" + language;
            if (wanted) found.emplace_back();
        } else if (wanted) {
            found.back() += line + '\n';
        }
    }
    CHECK_FALSE(inside);
    return found;
}

// How many members a record's table has.
template<class... Fields>
constexpr std::size_t fields(const std::tuple<Fields...>&) {
    return sizeof...(Fields);
}

} // namespace

TEST_CASE("every page of the documents has its samples tried, and every tried page is there") {
    std::vector<std::string> present;
    for (const auto& file : std::filesystem::recursive_directory_iterator(SORVANE_DOCS_DIR))
        if (file.path().extension() == ".md")
            present.push_back(file.path().lexically_relative(SORVANE_DOCS_DIR).native());
    std::sort(present.begin(), present.end());
    std::vector<std::string> known;
    for (const auto& [page, samples] : pages) known.push_back(page);
    CHECK(present == known);
}

TEST_CASE("every sample of the documents comes back byte for byte") {
    for (const auto& entry : pages) {
        const auto& page = entry.first;
        const auto& roundTrips = entry.second;
        CAPTURE(page);
        const std::vector<std::string> samples = blocks(pageText(page), "json");
        CHECK(samples.size() == roundTrips.size());
        for (std::size_t index = 0; index < std::min(samples.size(), roundTrips.size()); ++index)
            CHECK(roundTrips[index](samples[index]) + '\n' == samples[index]);
    }
}

TEST_CASE("the sample of the manifest, the session and the others holds every member") {
    const auto members = [](const std::string& page) {
        return parseJSON(blocks(pageText(page), "json").at(0)).size();
    };
    CHECK(members("agent-manifest.md") == fields(AgentManifest::fields()));
    CHECK(members("mcp-session.md") == fields(MCPClientSession::fields()));
    CHECK(members("observation.md") == fields(PromptHookObservation::fields()));
    CHECK(members("pairing-request.md") == fields(PairingRequestRecord::fields()));
}

TEST_CASE("the sample of the history entry holds every member of every record in it") {
    const auto entry = parseJSON(blocks(pageText("history-entry.md"), "json").at(0));
    const auto& item = entry.at("items").at(0);
    std::set<std::string> members;
    for (const auto& representation : item.at("representations"))
        for (const auto& member : representation.items()) members.insert(member.key());
    const auto& image = item.at("representations").at(0).at("imageMetadata");
    CHECK(entry.size() == fields(HelperEntry::fields()));
    CHECK(item.size() == fields(HelperClipboardItem::fields()));
    CHECK(members.size() == fields(HelperRepresentation::fields()));
    CHECK(image.size() == fields(HelperImageMetadata::fields()));
}

TEST_CASE("the sample of the pixel digest is that of one opaque red pixel") {
    const std::string page = pageText("pixel-digest.md");
    const auto identity = parseJSON(blocks(page, "json").at(0));
    const std::string prefix = "1x1:rgba8-srgb:";
    CHECK(prefix.size() == 15);
    const std::string digest = HelperIO::sha256(prefix + std::string("\xff\x00\x00\xff", 4));
    CHECK(identity.at("pixelHash") == digest);
    CHECK(identity.at("pixelWidth") == 1);
    CHECK(identity.at("pixelHeight") == 1);
    CHECK(identity.at("sha256").get<std::string>().size() == 64);
    CHECK(blocks(page, "") == std::vector<std::string>{digest + " 1 1\n", "orientation 6\n"});
}
