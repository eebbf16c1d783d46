#include "broker/mcp_client_session.h"

#include <filesystem>
#include <string>

#include <unistd.h>

#include <doctest/doctest.h>

#include "support/helper_io.h"
#include "tests/macos_fakes/fake_system.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using test::ScopedEnvironment;
using test::macos::FakeSystem;

namespace {

bool isRunning(const std::string& recorded) {
    return MCPClientSession{"client-1", ::getpid(), recorded, "name", Date{}}.isRunning();
}

void setLivePath(FakeSystem& fake, const std::string& path) {
    fake.processPath = path;
    fake.processPathLength = static_cast<int>(path.size());
}

} // namespace

TEST_CASE("the live path is resolved before it is compared, the recorded one is not") {
    FakeSystem fake;
    fake.existing = {"/var/folders/x/server"};
    setLivePath(fake, "/private/var/folders/x/server");
    CHECK(isRunning("/var/folders/x/server"));
    CHECK_FALSE(isRunning("/private/var/folders/x/server"));

    const test::TemporaryDirectory directory;
    const auto folder = std::filesystem::canonical(directory.path());
    test::putFile(folder / "server", "");
    std::filesystem::create_symlink("server", folder / "link");
    setLivePath(fake, (folder / "link").native());
    CHECK(isRunning((folder / "server").native()));
    CHECK_FALSE(isRunning((folder / "link").native()));
}

TEST_CASE("a session is recorded under the path by which its process is compared later") {
    FakeSystem fake;
    fake.existing = {"/var/folders/x/server"};
    fake.arguments = {"/private/var/folders/x/server"};
    const test::TemporaryDirectory root;
    const ScopedEnvironment testing("SORVANE_TESTING", "1");
    const ScopedEnvironment support("SORVANE_APP_SUPPORT", root.path().native());
    const ScopedEnvironment diagnostic("SORVANE_DIAGNOSTIC", std::nullopt);
    MCPClientSession::record({"codex", "client-1", "secret"}, "name");
    const auto session = HelperIO::readJSON<MCPClientSession>(MCPClientSession::url("codex"));
    CHECK(session.executablePath == "/var/folders/x/server");
    CHECK(fake.notifications.size() == 1);
    setLivePath(fake, "/private/var/folders/x/server");
    CHECK(session.isRunning());
}
