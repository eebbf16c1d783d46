// A tool of somebody else's that uses one of everything: a record, an operation, the identity of a
// picture with its pixels.

#include <cstdio>

#include "broker/mcp_client_session.h"
#include "history/history_entry.h"
#include "identity/file_identity.h"
#include "integration/pairing_request_record.h"
#include "support/helper_io.h"
#include "support/process_runner.h"

using namespace sorvane;

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const PairingRequestRecord request{"r-1", "codex", Date{}, Date{},
                                       PairingRequestRecord::State::pending};
    std::string text;
    record::append(text, request);
    const bool decodes = record::decode<PairingRequestRecord>(parseJSON(text)) == request;
    const bool runs = runProcess("/bin/echo", {"yes"}).output == "yes\n";
    const bool alone = !BrokerClient::isLocalBrokerReachable("/nowhere");
    const bool named = MCPClientSession::url("codex").filename() == "codex-mcp-session.json";
    HelperIO::writeLine(HelperIO::attachmentIdentity(arguments[1]));
    return decodes && runs && alone && named ? 0 : 1;
}
