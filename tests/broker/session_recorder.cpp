// A stand-in for the MCP server of an agent: records its session, says so, and lives until its
// input ends.

#include <string>

#include <unistd.h>

#include "broker/mcp_client_session.h"
#include "support/descriptor_io.h"

int main(int count, char** words) {
    if (count != 4) return 2;
    sorvane::MCPClientSession::record({words[1], words[2], "secret"}, words[3]);
    sorvane::writeAll(STDOUT_FILENO, "recorded\n");
    std::string input;
    sorvane::appendToEnd(STDIN_FILENO, input);
    return 0;
}
