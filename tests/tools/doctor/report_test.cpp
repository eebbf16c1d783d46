#include "tools/doctor/report.h"

#include <string>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

Report reportOf(const Finding& finding) {
    Report report;
    report.conceal("the token of codex\n");
    report.conceal("x");
    report.add({"Codex", {finding}});
    return report;
}

} // namespace

TEST_CASE("only what failed is not well") {
    for (const Status status : {Status::ok, Status::warning, Status::unknown})
        CHECK(reportOf({"a", status, "b"}).isWell());
    CHECK_FALSE(reportOf({"a", Status::failed, "b"}).isWell());
}

TEST_CASE("a secret is shown nowhere, and a short one is none") {
    const std::string told = "x the token of codex y the token of codex";
    const Report report = reportOf({told, Status::ok, told, told, told, told});
    CHECK(report.text(true).find("the token") == std::string::npos);
    CHECK(report.json().dump().find("the token") == std::string::npos);
    CHECK(report.text(false).find("x (credential) y (credential)") != std::string::npos);
}

TEST_CASE("a secret that is a part of what is shown in its stead is replaced once") {
    Report report;
    report.conceal("credential");
    report.add({"Codex", {{"credential", Status::ok, "the credential file"}}});
    CHECK(report.text(false).find("the (credential) file") != std::string::npos);
}

TEST_CASE("what a foreign file says breaks no line and reaches no terminal") {
    const Report report = reportOf({"a", Status::ok, "b\n\x1b[2Jc\xff"});
    CHECK(report.text(false).find("b??[2Jc\xef\xbf\xbd\n") != std::string::npos);
    CHECK(report.json().dump().find("\\u001b") == std::string::npos);
}

TEST_CASE("colour is asked for or not there") {
    const Report report = reportOf({"a", Status::failed, "b"});
    CHECK(report.text(false).find('\x1b') == std::string::npos);
    CHECK(report.text(true).find("\x1b[31mfailed") != std::string::npos);
}
