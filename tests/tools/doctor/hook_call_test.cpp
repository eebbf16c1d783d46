#include "tools/doctor/hook_call.h"

#include <string>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

std::string valueOf(std::string_view line, std::string_view option) {
    const auto call = hookCall(line, "/home/ada");
    if (!call) return "no call";
    const auto value = call->value(option);
    return value ? value->text : "no value";
}

} // namespace

TEST_CASE("the hook is found in a command, whatever stands around it") {
    for (const char* line :
         {"/opt/sorvane-hook --agent codex", "sorvane-hook --agent codex || true",
          "exec '/my apps/sorvane-hook' --agent codex", "A=b nice sorvane-hook --agent codex 2>log",
          "[ -x /opt/sorvane-hook ] && /opt/sorvane-hook --agent codex",
          "if true; then sorvane-hook --agent codex; fi",
          "sorvane-hook --agent codex | sed s/a/b/"}) {
        CAPTURE(line);
        CHECK(valueOf(line, "--agent") == "codex");
    }
}

TEST_CASE("a command that names the hook in no word of its own does not call it") {
    for (const char* line : {"", "echo sorvane-hook.sh", "sh -c 'sorvane-hook --agent codex'",
                             "/opt/sorvane-hooks --agent codex", "sorvane-hook '--agent codex"}) {
        CAPTURE(line);
        CHECK(valueOf(line, "--agent") == "no call");
    }
}

TEST_CASE("the value of an option is the word after its first occurrence, as the hook reads it") {
    CHECK(valueOf("sorvane-hook --agent a --agent b", "--agent") == "a");
    CHECK(valueOf("sorvane-hook --agent --client-id x", "--agent") == "--client-id");
    CHECK(valueOf("sorvane-hook --agent", "--agent") == "no value");
    CHECK(valueOf("sorvane-hook --agent=codex", "--agent") == "no value");
}

TEST_CASE("what stands before the program is kept: it may be the first half of a path") {
    const auto call = hookCall("/Applications/My Apps/sorvane-hook --agent codex", "/home/ada");
    REQUIRE(call);
    REQUIRE(call->before.size() == 1);
    CHECK(call->before.front().text == "/Applications/My");
    CHECK(call->program.text == "Apps/sorvane-hook");
}
