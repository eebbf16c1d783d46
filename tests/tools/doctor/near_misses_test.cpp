#include "tools/doctor/near_misses.h"

#include <chrono>
#include <string>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

const std::string hash(64, 'a');
const std::string prefix = "sorvane://image/";

std::string reason(const std::string& prompt) {
    const auto misses = nearMisses(prompt);
    REQUIRE(misses.size() == 1);
    return misses.front().reason;
}

bool mentions(const std::string& text, const std::string& words) {
    CAPTURE(text);
    return text.find(words) != std::string::npos;
}

} // namespace

TEST_CASE("a reference is no near miss, and neither is a prompt without one") {
    for (const std::string& prompt : {std::string(), std::string("sorvane is running"),
                                      prefix + hash, "x" + prefix + hash + ".png " + prefix + hash})
        CHECK(nearMisses(prompt).empty());
}

TEST_CASE("every near miss has its own reason") {
    CHECK(mentions(reason(prefix + std::string(63, 'a')), "63 hexadecimal digits"));
    CHECK(mentions(reason(prefix + hash + "a"), "65 hexadecimal digits"));
    CHECK(mentions(reason(prefix), "0 hexadecimal digits"));
    CHECK(mentions(reason(prefix + std::string(10, 'a') + "-"), "before \"-\""));
    CHECK(mentions(reason(prefix + hash + "g"), "the letter \"g\" follows"));
    CHECK(mentions(reason("SORVANE://image/" + hash), "capital letters"));
    CHECK(mentions(reason("sorvane://Image/" + hash), "capital letters"));
    CHECK(mentions(reason("sorvane://images/" + hash), "goes on in another way"));
    CHECK(mentions(reason(prefix + hash + "\xcc\x81"), "inside a character"));
}

TEST_CASE("references and near misses may stand in one prompt") {
    const auto misses = nearMisses(prefix + hash + " Sorvane:// and " + prefix + "12 ");
    REQUIRE(misses.size() == 2);
    CHECK(misses[0].text == "Sorvane://");
    CHECK(misses[1].text == prefix + "12");
}

TEST_CASE("a long near miss is shortened, and stays UTF-8") {
    const auto misses = nearMisses("sorvane:" + std::string(111, 'x') + "\xc3\xa9\xc3\xa9");
    REQUIRE(misses.size() == 1);
    CHECK(misses.front().text == "sorvane:" + std::string(111, 'x') + "\xef\xbf\xbd");
}

TEST_CASE("a long prompt takes time in proportion to its length") {
    std::string prompt;
    for (int count = 0; count < 20'000; ++count) prompt += prefix + hash + " ";
    for (int count = 0; count < 200'000; ++count) prompt += "sorvane:";
    const auto begin = std::chrono::steady_clock::now();
    CHECK(nearMisses(prompt).size() == maxNearMisses);
    CHECK(std::chrono::steady_clock::now() - begin < std::chrono::seconds(10));
}
