// sorvane-standin plays the Sorvane application on the Tandem Link, so that the whole way of a
// prompt can be tried and tested where the application is not installed. It implements the link
// from docs/tandem-link.md and shares no code for messages with the client: a mistake there must
// not be repeated here. JSON, sockets, digests and the manifest's record are the library's.
//
// It is not the application, and it is never shipped. It keeps no history and asks nobody; its
// pictures are the files of one directory, as they were when it started. It serves one client at a
// time. It trusts everybody who can reach it: it enrols whom it is told to, writes into whatever
// workspace a request names, and its log holds credentials.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iostream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

#include "identity/file_identity.h"
#include "integration/agent_manifest.h"
#include "support/absolute_path.h"
#include "support/executable_path.h"
#include "support/file_reader.h"
#include "support/helper_io.h"
#include "support/json.h"
#include "support/uuid.h"
#include "tools/standin/application.h"
#include "tools/standin/link.h"
#include "tools/standin/misbehaviour.h"
#include "tools/standin/pictures.h"

namespace sorvane::standin {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view usage =
    "usage: sorvane-standin enrol --root DIR --agent A --client-id C --credential-file F\n"
    "       sorvane-standin serve --root DIR [--images DIR] [--log FILE] [--answer FILE]\n"
    "                             [--misbehave KIND]\n";

constexpr std::string_view requestIDMark = "@REQUEST_ID@";

/// A command line that is wrong.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The options of a command: "--name value" pairs, each name at most once.
class Options {
  public:
    Options(int argc, char** argv, std::initializer_list<std::string_view> known) {
        for (int i = 2; i < argc; i += 2) {
            const std::string_view name = argv[i];
            if (std::find(known.begin(), known.end(), name) == known.end())
                throw UsageError("unknown option " + std::string(name));
            if (i + 1 == argc) throw UsageError(std::string(name) + " lacks its value");
            if (!values_.emplace(name, argv[i + 1]).second)
                throw UsageError(std::string(name) + " is given twice");
        }
    }

    std::optional<std::string> value(std::string_view name) const {
        const auto option = values_.find(name);
        if (option == values_.end()) return std::nullopt;
        return option->second;
    }

    std::string required(std::string_view name) const {
        if (const auto given = value(name)) return *given;
        throw UsageError(std::string(name) + " is required");
    }

  private:
    std::map<std::string_view, std::string> values_;
};

void enrol(const Options& options) {
    const std::string agent = options.required("--agent");
    if (!isAgent(agent)) throw UsageError("no agent is called " + agent);
    const std::string clientID = options.required("--client-id");
    const fs::path credentialFile = absolutePath(options.required("--credential-file"));
    const fs::path manifestFile = manifestPath(absolutePath(options.required("--root")), agent);

    const std::string credential = Uuid::random().lowerText() + Uuid::random().lowerText();
    HelperIO::createParentDirectory(credentialFile);
    HelperIO::replaceFile(credentialFile, credential);
    HelperIO::restrictPermissions(credentialFile, 0600);

    // The agent's own configuration is left alone: no MCP server, no entry, no backup.
    const auto self = executablePath(::getpid()).value_or("");
    const AgentManifest manifest{.agent = agent,
                                 .installedAt = ReferenceClock::now(),
                                 .clientID = clientID,
                                 .credentialHash = HelperIO::sha256(credential),
                                 .credentialPath = credentialFile.native(),
                                 .mcpServerName = "",
                                 .mcpExecutablePath = "",
                                 .hookExecutablePath = self.parent_path() / "sorvane-hook",
                                 .managedEntries = {},
                                 .backupPaths = {},
                                 .registrationID = std::nullopt};
    HelperIO::writeJSON(manifest, manifestFile);
    std::cout << "enrolled " << agent << " in " << manifestFile.native() << std::endl;
}

std::string withRequestID(std::string text, const std::string& requestID) {
    for (auto mark = text.find(requestIDMark); mark != text.npos;
         mark = text.find(requestIDMark, mark + requestID.size()))
        text.replace(mark, requestIDMark.size(), requestID);
    return text;
}

/// Everything that one `serve` is told.
struct Service {
    Application application;
    std::optional<fs::path> log;
    std::optional<std::string> cannedAnswer;
    Behaviour behaviour;

    void serveOne(Client& client) const {
        if (behaviour.hangsUpEarly) return;
        const auto line = client.readLine();
        if (!line) return;
        if (log) appendToLog(*line);

        const nlohmann::json request = parseJSON(*line);
        const auto requestID = textMember(request, "requestID");
        if (!requestID) throw std::runtime_error("the request has no ID to answer to");
        const std::string id(*requestID);
        behaviour.answer(client,
                         {id, cannedAnswer ? withRequestID(*cannedAnswer, id)
                                           : jsonText(application.answer(request, id)) + '\n'});
    }

    void appendToLog(std::string_view line) const {
        std::ofstream file(*log, std::ios::app | std::ios::binary);
        file << line << std::flush;
        if (!file) throw std::runtime_error("the log cannot be written: " + log->native());
    }
};

Service service(const Options& options, const fs::path& root) {
    const auto path = [&options](std::string_view name) -> std::optional<fs::path> {
        const auto text = options.value(name);
        return text ? std::optional(absolutePath(*text)) : std::nullopt;
    };
    const auto kind = options.value("--misbehave");
    const auto behaviour = kind ? misbehaviour(*kind) : correctBehaviour();
    if (!behaviour) throw UsageError("unknown misbehaviour " + *kind);
    const auto images = path("--images");
    const auto canned = path("--answer");
    return {.application = {root, images ? Pictures(*images) : Pictures()},
            .log = path("--log"),
            .cannedAnswer = canned ? std::optional(readFile(*canned)) : std::nullopt,
            .behaviour = *behaviour};
}

void serve(const Options& options) {
    const fs::path root = absolutePath(options.required("--root"));
    const Service service = standin::service(options, root);
    Listener listener(root / "Runtime/sorvane.sock");
    std::cout << "listening on " << (root / "Runtime/sorvane.sock").native() << std::endl;
    try {
        while (true) {
            Client client = listener.accept();
            try {
                service.serveOne(client);
            } catch (const std::exception& failure) {
                std::cerr << "sorvane-standin: client dropped: " << failure.what() << std::endl;
            }
        }
    } catch (const Stopped&) {
        // The user asked for it. The listener removes its socket file.
    }
}

int run(int argc, char** argv) {
    try {
        const std::string_view command = argc > 1 ? argv[1] : "";
        if (command == "enrol")
            enrol({argc, argv, {"--root", "--agent", "--client-id", "--credential-file"}});
        else if (command == "serve")
            serve({argc, argv, {"--root", "--images", "--log", "--answer", "--misbehave"}});
        else
            throw UsageError("no such command");
        return EXIT_SUCCESS;
    } catch (const UsageError& error) {
        std::cerr << "sorvane-standin: " << error.what() << '\n' << usage;
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "sorvane-standin: " << failure.what() << std::endl;
        return EXIT_FAILURE;
    }
}

} // namespace
} // namespace sorvane::standin

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    // From the first moment only the user may read socket, credential, log and copies.
    ::umask(0077);
    return sorvane::standin::run(argc, argv);
}
