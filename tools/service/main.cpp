// velda-service: the web service of the viewer, for projects kept in one
// data folder with one SQLite database.
#include "ProjectService.h"
#include "QueryText.h"
#include "ServiceDatabase.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const char* const kUsage =
    "usage: velda-service COMMAND --data DIR [options]\n"
    "  init                                  creates the database\n"
    "  user --qemid N --name NAME --sign S   adds or updates a user\n"
    "  project --id N --folder PATH [--name T --group T --groupid T --uploader T\n"
    "          --uploaderqemid T --uploadtime T]\n"
    "                                        adds or updates a packed project\n"
    "  serve [--address A] [--port P] [--public-url URL] [--max-body BYTES]\n"
    "        [--threads N] [--quiet]         serves (default 127.0.0.1:18080; port 0: any)\n";

int fail(const std::string& why)
{
    std::cerr << "velda-service: " << why << "\n";
    return 1;
}

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string absolute(const std::string& path)
{
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) ? std::string(resolved) : path;
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
    if (argc < 2) {
        std::cerr << kUsage;
        return 2;
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h") {
        std::cout << kUsage;
        return 0;
    }
    std::map<std::string, std::string> options;
    for (int i = 2; i < argc; ++i) {
        const std::string key = argv[i];
        if (key == "--quiet") {
            options["quiet"] = "1";
            continue;
        }
        if (key.compare(0, 2, "--") != 0 || i + 1 >= argc)
            return fail("bad option " + key + "\n" + kUsage);
        options[key.substr(2)] = argv[++i];
    }
    if (!options.count("data"))
        return fail("--data DIR is needed");
    const std::string data = absolute(options["data"]);
    auto text = [&options](const char* key) { return options.count(key) ? options[key] : std::string(); };
    auto integer = [&options](const char* key, int& out) {
        return options.count(key) && VeldaService::parseInt(options[key], out);
    };

    try {
        if (command == "init") {
            for (const std::string& folder : {data, data + "/thumbs", data + "/uploads"})
                if (!isDirectory(folder) && ::mkdir(folder.c_str(), 0755) != 0)
                    return fail("cannot create " + folder + ": " + std::strerror(errno));
            VeldaService::ServiceDatabase(data + "/service.db").createSchema();
            std::cout << "database ready in " << data << "\n";
            return 0;
        }
        if (!isDirectory(data) || access((data + "/service.db").c_str(), R_OK | W_OK) != 0)
            return fail(data + " holds no database; run: velda-service init --data " + data);
        VeldaService::ServiceDatabase db(data + "/service.db");
        db.createSchema();

        if (command == "user") {
            int qemid = 0;
            if (!integer("qemid", qemid) || text("name").empty() || text("sign").empty())
                return fail("user needs --qemid, --name and --sign");
            db.upsertUser(qemid, text("name"), text("sign"));
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
        if (command == "serve") {
            VeldaService::ServiceOptions o;
            o.dataFolder = data;
            if (options.count("address"))
                o.address = options["address"];
            if (options.count("port") && !integer("port", o.port))
                return fail("bad --port");
            o.publicUrl = text("public-url");
            int number = 0;
            if (integer("max-body", number) && number > 0)
                o.maxBody = static_cast<size_t>(number);
            if (integer("threads", number) && number > 0)
                o.threads = number;
            o.quiet = options.count("quiet") != 0;
            ::mkdir((data + "/thumbs").c_str(), 0755);
            ::mkdir((data + "/uploads").c_str(), 0755);
            VeldaService::ProjectService service(o, db);
            g_service = &service;
            std::signal(SIGINT, onSignal);
            std::signal(SIGTERM, onSignal);
            std::signal(SIGPIPE, SIG_IGN);
            const bool ok = service.run([](const std::string& url) {
                std::cout << "listening on " << url << std::endl;
            });
            g_service = nullptr;
            if (!ok)
                return fail("cannot serve on " + o.address + ":" + std::to_string(o.port));
            return 0;
        }
    } catch (const std::exception& e) {
        return fail(e.what());
    }
    std::cerr << kUsage;
    return 2;
}
