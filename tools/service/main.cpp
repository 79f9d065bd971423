// velda-service: the web service of the viewer, for projects kept in one
// data folder with one SQLite database.
#include "FolderGuard.h"
#include "GuardedServer.h"
#include "ProjectService.h"
#include "QueryText.h"
#include "ServiceDatabase.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

namespace {

const char* const kUsage =
    "usage: velda-service COMMAND --data DIR [options]\n"
    "  init                                  creates the database\n"
    "  user --qemid N --name NAME --sign S   adds or updates a user; --sign - reads the sign\n"
    "                                        from standard input, out of the process list\n"
    "  project --id N --folder PATH [--name T --group T --groupid T --uploader T\n"
    "          --uploaderqemid T --uploadtime T]\n"
    "                                        adds or updates a packed project\n"
    "  serve [--address A] [--port P] [--public-url URL] [--max-body BYTES]\n"
    "        [--threads N] [--max-per-client N] [--request-deadline SECONDS]\n"
    "        [--ticket-lifetime SECONDS] [--history-bytes BYTES] [--quiet]\n"
    "                                        serves (default 127.0.0.1:18080; port 0: any)\n";

int fail(const std::string& why)
{
    std::cerr << "velda-service: " << why << "\n";
    return 1;
}

int usage(const std::string& why)
{
    std::cerr << "velda-service: " << why << "\n" << kUsage;
    return 2;
}

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The real path, or the path as given when it does not exist yet.
std::string absolute(const std::string& path)
{
    const std::string real = VeldaService::FolderGuard::realPath(path);
    return real.empty() ? path : real;
}

// One line of standard input, without echo on a terminal.
std::string readSecretLine()
{
    termios saved{};
    const bool terminal = isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (terminal) {
        std::cerr << "sign: " << std::flush;
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    std::string line;
    std::getline(std::cin, line);
    if (terminal) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::cerr << "\n";
    }
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

VeldaService::ProjectService* g_service = nullptr;
void onSignal(int)
{
    if (g_service)
        g_service->stop();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return usage("no command");
    const std::string command = argv[1];
    if (command == "--help" || command == "-h") {
        std::cout << kUsage;
        return 0;
    }
    if (command != "init" && command != "user" && command != "project" && command != "serve")
        return usage("unknown command " + command);
    std::map<std::string, std::string> options;
    for (int i = 2; i < argc; ++i) {
        const std::string key = argv[i];
        if (key == "--quiet") {
            options["quiet"] = "1";
            continue;
        }
        if (key.compare(0, 2, "--") != 0 || key.size() == 2 || i + 1 >= argc)
            return usage("bad option " + key);
        options[key.substr(2)] = argv[++i];
    }
    if (!options.count("data"))
        return usage("--data DIR is needed");
    // The data folder holds sign hashes, tokens and uploads: the owner's only.
    ::umask(077);
    const std::string data = absolute(options["data"]);
    auto text = [&options](const char* key) { return options.count(key) ? options[key] : std::string(); };
    auto integer = [&options](const char* key, int& out) {
        return options.count(key) && VeldaService::parseInt(options[key], out);
    };
    // A numeric option: absent keeps `out`; present must be a number >= `least`.
    auto number = [&options](const char* key, long long least, long long& out) {
        if (!options.count(key))
            return true;
        char* end = nullptr;
        errno = 0;
        const long long v = std::strtoll(options[key].c_str(), &end, 10);
        if (errno || *end || end == options[key].c_str() || v < least)
            return false;
        out = v;
        return true;
    };

    // Options of serve, checked before anything is touched.
    VeldaService::ServiceOptions o;
    o.dataFolder = data;
    if (options.count("address"))
        o.address = options["address"];
    if (options.count("port") && (!integer("port", o.port) || o.port < 0 || o.port > 65535))
        return usage("bad --port");
    o.publicUrl = text("public-url");
    long long maxBody = static_cast<long long>(o.maxBody), threads = o.threads,
              perClient = static_cast<long long>(o.guard.perClient), deadline = o.guard.requestDeadline.count() / 1000,
              lifetime = o.ticketLifetime, historyBytes = VeldaService::ServiceDatabase::kHistoryBytes;
    if (!number("max-body", 1, maxBody) || !number("threads", 2, threads) || !number("max-per-client", 1, perClient) ||
        !number("request-deadline", 1, deadline) || !number("ticket-lifetime", 1, lifetime) ||
        !number("history-bytes", 1, historyBytes))
        return usage("a numeric option is not a number or is too small");
    o.maxBody = static_cast<size_t>(maxBody);
    o.threads = static_cast<int>(threads);
    o.guard.perClient = static_cast<size_t>(perClient);
    o.guard.requestDeadline = std::chrono::seconds(deadline);
    o.ticketLifetime = lifetime;
    if (command == "serve" && o.threads <= static_cast<int>(o.guard.perClient))
        std::cerr << "velda-service: warning: with --threads at most --max-per-client, one address can take every "
                     "worker\n";

    try {
        if (command == "init") {
            for (const std::string& folder : {data, data + "/thumbs", data + "/uploads"})
                if (!isDirectory(folder) && ::mkdir(folder.c_str(), 0700) != 0)
                    return fail("cannot create " + folder + ": " + std::strerror(errno));
            VeldaService::ServiceDatabase(data + "/service.db").createSchema();
            // Folders and database made before are closed to others as well.
            ::chmod(data.c_str(), 0700);
            ::chmod((data + "/service.db").c_str(), 0600);
            std::cout << "database ready in " << data << "\n";
            return 0;
        }
        if (!isDirectory(data) || access((data + "/service.db").c_str(), R_OK | W_OK) != 0)
            return fail(data + " holds no database; run: velda-service init --data " + data);
        VeldaService::ServiceDatabase db(data + "/service.db");
        db.createSchema();

        if (command == "user") {
            int qemid = 0;
            std::string sign = text("sign");
            if (sign == "-")
                sign = readSecretLine();
            if (!integer("qemid", qemid) || text("name").empty() || sign.empty())
                return fail("user needs --qemid, --name and --sign");
            db.upsertUser(qemid, text("name"), sign);
            return 0;
        }
        if (command == "project") {
            VeldaService::ProjectRow row;
            if (!integer("id", row.id) || text("folder").empty())
                return fail("project needs --id and --folder");
            row.folder = absolute(text("folder"));
            if (access((row.folder + "/index").c_str(), R_OK) != 0)
                return fail(row.folder + " is not a packed project (no index file)");
            row.projectname = text("name");
            row.groupname = text("group");
            row.groupid = text("groupid");
            row.uploader = text("uploader");
            row.uploaderqemid = text("uploaderqemid");
            row.uploadtime = text("uploadtime");
            db.upsertProject(row);
            return 0;
        }
        // serve
        db.setHistoryBytes(historyBytes);
        o.quiet = options.count("quiet") != 0;
        ::mkdir((data + "/thumbs").c_str(), 0700);
        ::mkdir((data + "/uploads").c_str(), 0700);
        VeldaService::ProjectService service(o, db);
        g_service = &service;
        std::signal(SIGINT, onSignal);
        std::signal(SIGTERM, onSignal);
        std::signal(SIGPIPE, SIG_IGN);
        const bool ok = service.run([](const std::string& url) { std::cout << "listening on " << url << std::endl; });
        g_service = nullptr;
        if (!ok) {
            if (VeldaService::GuardedServer::portInUse(o.address, o.port))
                return fail("cannot serve on " + o.address + ":" + std::to_string(o.port) + ": the port is in use");
            return fail("cannot serve on " + o.address + ":" + std::to_string(o.port));
        }
        return 0;
    } catch (const std::exception& e) {
        return fail(e.what());
    }
}
