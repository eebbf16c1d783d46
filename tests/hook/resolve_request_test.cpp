#include "hook/resolve_request.h"

#include <optional>
#include <string>
#include <vector>

#include <doctest/doctest.h>

namespace sorvane {

namespace {

using nlohmann::json;

json fieldsFor(const json& event) {
    return resolveRequest::requestFields({{{"assetID", "a"}}}, "/project", event);
}

json entry(const json& changes = json::object()) {
    json image = {
        {"relativePath", "a.png"}, {"uti", "public.png"}, {"width", 800}, {"height", 600}};
    image.update(changes);
    return image;
}

json without(json object, const char* key) {
    object.erase(key);
    return object;
}

std::string lineOf(const json& image) { return resolveRequest::line(image).value_or("no line"); }

const std::string header =
    "[Sorvane Tandem Link]\n"
    "\n"
    "The image attachments in this prompt map exactly to these full-quality local source assets:\n"
    "\n";
const std::string footer =
    "\n"
    "\n"
    "Use these workspace files instead of chat preview images. They were copied without resize or "
    "recompression.";

} // namespace

TEST_CASE("the fields of a request are at least the identities and the workspace root") {
    const json fields = fieldsFor(json::object());
    CHECK(fields == json{{"attachments", {{{"assetID", "a"}}}}, {"workspaceRoot", "/project"}});
    REQUIRE(fields["attachments"].is_array());
    CHECK(fields["attachments"][0].is_object());
}

TEST_CASE("the fields of a request keep the identities in their order, repeated ones repeated") {
    const std::vector<json> identities = {
        {{"assetID", "b"}},
        {{"sha256", "a"}, {"pixelHash", "c"}, {"pixelWidth", 3}, {"pixelHeight", 4}},
        {{"assetID", "b"}},
        {{"sha256", "0"}},
    };
    const json fields = resolveRequest::requestFields(identities, "", json::object());
    CHECK(fields.at("attachments") == json(identities));
    CHECK(fields.at("workspaceRoot") == "");
}

TEST_CASE("the fields of a request without identities hold an empty list") {
    const json attachments = resolveRequest::requestFields({}, "/", json::object())["attachments"];
    CHECK(attachments.is_array());
    CHECK(attachments.empty());
}

TEST_CASE(
    "the fields of a request name the session and the turn by the first key that holds a text") {
    struct Row {
        const char* first;
        const char* second;
        const char* field;
    };
    for (const Row row : {Row{"session_id", "conversation_id", "sessionID"},
                          Row{"turn_id", "generation_id", "turnID"}}) {
        CAPTURE(row.field);
        CHECK(fieldsFor({{row.first, "s1"}, {row.second, "c1"}}).at(row.field) == "s1");
        CHECK(fieldsFor({{row.first, "s1"}}).at(row.field) == "s1");
        CHECK(fieldsFor({{row.second, "c1"}}).at(row.field) == "c1");
        CHECK(fieldsFor({{row.first, ""}, {row.second, "c1"}}).at(row.field) == "");
        for (const json& mistyped : {json(5), json(true), json(nullptr), json::array({"s1"}),
                                     json{{"id", "s1"}}, json(1.5)}) {
            CAPTURE(mistyped.dump());
            CHECK(fieldsFor({{row.first, mistyped}, {row.second, "c1"}}).at(row.field) == "c1");
            CHECK(fieldsFor({{row.first, mistyped}}).size() == 2);
            CHECK(fieldsFor({{row.second, mistyped}}).size() == 2);
            CHECK(fieldsFor({{row.first, mistyped}, {row.second, mistyped}}).size() == 2);
            CHECK(fieldsFor({{row.first, "s1"}, {row.second, mistyped}}).at(row.field) == "s1");
        }
    }
}

TEST_CASE("the fields of a request do not mix up the session and the turn") {
    const json fields = fieldsFor({{"session_id", "s"}, {"turn_id", "t"}});
    CHECK(fields.at("sessionID") == "s");
    CHECK(fields.at("turnID") == "t");
    CHECK(fieldsFor({{"conversation_id", "c"}}).size() == 3);
    CHECK(fieldsFor({{"generation_id", "g"}}).size() == 3);
}

TEST_CASE("the fields of a request take nothing else from the event") {
    CHECK(fieldsFor({{"prompt", "p"},
                     {"cwd", "/x"},
                     {"sessionID", "s"},
                     {"turnID", "t"},
                     {"attachments", {1}},
                     {"session", "s"}}) == fieldsFor(json::object()));
}

TEST_CASE(
    "an answer matches exactly when it says so and lists as many images as were asked about") {
    const std::vector<json> lists = {json::array(), json::array({json::object()}),
                                     json::array({entry(), entry()}),
                                     json::array({{{"x", 1}}, json::object(), entry()})};
    for (const json& images : lists) {
        const json answer = {{"matched", true}, {"images", images}, {"other", 1}};
        CAPTURE(answer.dump());
        for (std::size_t asked = 0; asked < 5; ++asked) {
            const json* exact = resolveRequest::exactMatch(answer, asked);
            CHECK((exact == &answer["images"]) == (asked == images.size()));
            CHECK((exact == nullptr) == (asked != images.size()));
        }
    }
}

TEST_CASE("an answer is no match in any other form") {
    const json images = json::array({entry()});
    const std::vector<json> answers = {
        json::object(),
        {{"matched", true}},
        {{"images", images}},
        {{"matched", false}, {"images", images}},
        {{"matched", nullptr}, {"images", images}},
        {{"matched", 1}, {"images", images}},
        {{"matched", 1.0}, {"images", images}},
        {{"matched", "true"}, {"images", images}},
        {{"matched", "1"}, {"images", images}},
        {{"matched", {true}}, {"images", images}},
        {{"matched", {{"matched", true}}}, {"images", images}},
        {{"Matched", true}, {"images", images}},
        {{"matched", true}, {"images", nullptr}},
        {{"matched", true}, {"images", 1}},
        {{"matched", true}, {"images", true}},
        {{"matched", true}, {"images", "x"}},
        {{"matched", true}, {"images", entry()}},
        {{"matched", true}, {"images", {{"0", entry()}}}},
        {{"matched", true}, {"images", json::array({1})}},
        {{"matched", true}, {"images", json::array({nullptr})}},
        {{"matched", true}, {"images", json::array({"a.png"})}},
        {{"matched", true}, {"images", json::array({json::array({entry()})})}},
        {{"matched", true}, {"image", images}},
    };
    for (const json& answer : answers) {
        CAPTURE(answer.dump());
        CHECK(resolveRequest::exactMatch(answer, 1) == nullptr);
    }
}

TEST_CASE("an answer with one image that is no object is no match, wherever it stands") {
    for (std::size_t at = 0; at < 3; ++at) {
        json images = json::array({entry(), entry(), entry()});
        images[at] = "a.png";
        CHECK(resolveRequest::exactMatch({{"matched", true}, {"images", images}}, 3) == nullptr);
    }
}

TEST_CASE("the line of an image names its path, its size and its type") {
    CHECK(lineOf(entry()) == "- a.png (800 x 600, public.png, bit-exact)");
    CHECK(lineOf(entry({{"relativePath", "d e/\u00e4.png"}, {"uti", "public.jpeg"}})) ==
          "- d e/\u00e4.png (800 x 600, public.jpeg, bit-exact)");
    CHECK(lineOf(entry({{"relativePath", ""}, {"uti", ""}})) == "-  (800 x 600, , bit-exact)");
}

TEST_CASE("the line of an image ignores whatever else the entry holds") {
    CHECK(lineOf(entry({{"assetID", "a"}, {"bitExact", false}, {"x", nullptr}})) ==
          "- a.png (800 x 600, public.png, bit-exact)");
}

TEST_CASE("the line of an image gives the size in whole numbers, however they are written") {
    struct Row {
        const char* number;
        const char* text;
    };
    for (const Row row :
         {Row{"0", "0"}, Row{"1", "1"}, Row{"-5", "-5"}, Row{"1024.0", "1024"}, Row{"1e3", "1000"},
          Row{"10.5e1", "105"}, Row{"9223372036854775807", "9223372036854775807"},
          Row{"-9223372036854775808", "-9223372036854775808"}}) {
        CAPTURE(row.number);
        const json number = json::parse(row.number);
        const std::string text = row.text;
        CHECK(lineOf(entry({{"width", number}})) ==
              "- a.png (" + text + " x 600, public.png, bit-exact)");
        CHECK(lineOf(entry({{"height", number}})) ==
              "- a.png (800 x " + text + ", public.png, bit-exact)");
    }
}

TEST_CASE("the line of an image says so when the size is not known") {
    const std::string unknown = "- a.png (Unknown dimensions, public.png, bit-exact)";
    CHECK(lineOf(without(entry(), "width")) == unknown);
    CHECK(lineOf(without(entry(), "height")) == unknown);
    CHECK(lineOf(without(without(entry(), "height"), "width")) == unknown);
    for (const char* text : {"800.5", "true", "false", "null", "\"800\"", "[800]", "{}",
                             "9223372036854775808", "1e300", "-1e19", "0.1"}) {
        CAPTURE(text);
        const json value = json::parse(text);
        CHECK(lineOf(entry({{"width", value}})) == unknown);
        CHECK(lineOf(entry({{"height", value}})) == unknown);
    }
}

TEST_CASE("the line of an image is missing when path or type is no text") {
    for (const char* key : {"relativePath", "uti"}) {
        CAPTURE(key);
        CHECK(resolveRequest::line(without(entry(), key)) == std::nullopt);
        for (const json& value : {json(nullptr), json(1), json(true), json::array({"a.png"}),
                                  json{{"path", "a.png"}}}) {
            CAPTURE(value.dump());
            CHECK(resolveRequest::line(entry({{key, value}})) == std::nullopt);
        }
    }
    CHECK(resolveRequest::line(json::object()) == std::nullopt);
}

TEST_CASE("the context block holds the line of one image between its header and its footer") {
    CHECK(resolveRequest::contextBlock(json::array({entry()})) ==
          header + "- a.png (800 x 600, public.png, bit-exact)" + footer);
}

TEST_CASE(
    "the context block parts several lines by one line feed each, in the order of the images") {
    CHECK(resolveRequest::contextBlock(json::array({
              entry({{"relativePath", "b.png"}}),
              without(entry(), "height"),
              entry({{"relativePath", "b.png"}}),
          })) == header + "- b.png (800 x 600, public.png, bit-exact)\n" +
                     "- a.png (Unknown dimensions, public.png, bit-exact)\n" +
                     "- b.png (800 x 600, public.png, bit-exact)" + footer);
}

TEST_CASE("the context block is missing when one image has no line, wherever it stands") {
    for (std::size_t at = 0; at < 3; ++at)
        for (const char* key : {"relativePath", "uti"}) {
            json images = json::array({entry(), entry(), entry()});
            images[at].erase(key);
            CAPTURE(images.dump());
            CHECK(resolveRequest::contextBlock(images) == std::nullopt);
        }
}

} // namespace sorvane
