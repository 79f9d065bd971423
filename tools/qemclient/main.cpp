// qem-client: a command-line stand-in for the companion client. It signs a
// user in to a project (the session file the sign module reads), renews the
// sign text, signs out, quits, and listens for the viewer's messages.
#include "Session.h"

#include "service/ClientMessage.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const char* const kUsage =
    "usage: qem-client COMMAND [options]\n"
    "  login  --project ID --user QEMID --name NAME --sign TEXT [--handle N]\n"
    "  renew  [--sign TEXT]      a new sign text (random when not given)\n"
    "  logout                    signed out: state 2\n"
    "  quit                      the client is gone: state 0, not ready\n"
    "  status                    prints the session\n"
    "  listen [--count N]        prints each message the viewer posts\n"
    "The session file is $QEM_SESSION, else <application data>/session.json.\n";

int fail(const std::string& why)
{
    std::cerr << "qem-client: " << why << "\n";
    return 1;
}

int usage(const std::string& why)
{
    std::cerr << "qem-client: " << why << "\n" << kUsage;
    return 2;
}

bool parseOptions(int argc, char** argv, std::map<std::string, std::string>& options, std::string& why)
{
    for (int i = 2; i < argc; ++i) {
        const std::string key = argv[i];
        if (key.compare(0, 2, "--") != 0 || i + 1 >= argc) {
            why = "bad option " + key;
            return false;
        }
        options[key.substr(2)] = argv[++i];
    }
    return true;
}

bool number(const std::map<std::string, std::string>& options, const char* key, int32_t& out)
{
    const auto it = options.find(key);
    if (it == options.end())
        return false;
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(it->second.c_str(), &end, 10);
    if (errno || *end || end == it->second.c_str() || v < INT32_MIN || v > INT32_MAX)
        return false;
    out = static_cast<int32_t>(v);
    return true;
}

// 128 bits from the system's cryptographic source, in hex.
std::string randomSign()
{
    unsigned char bytes[16];
    size_t got = 0;
    while (got < sizeof bytes) {
        const ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
        if (n < 0 && errno != EINTR)
            throw std::runtime_error("no random bytes from the system");
        got += n > 0 ? static_cast<size_t>(n) : 0;
    }
    char text[33];
    for (size_t i = 0; i < sizeof bytes; ++i)
        std::snprintf(text + 2 * i, 3, "%02x", bytes[i]);
    return text;
}

void print(const QemGate::Session& s)
{
    std::cout << "ready " << (s.ready ? "yes" : "no") << ", state " << s.state << ", project " << s.projectId
              << ", user " << s.qemid << " (" << s.userName << "), handle " << s.msgHandle << "\n";
}

volatile std::sig_atomic_t g_stop = 0;
void onSignal(int) { g_stop = 1; }

int listen(const QemGate::Session& s, int count)
{
    if (s.msgHandle == 0)
        return fail("the session has no message handle; log in first");
    const std::string path = VeldaClient::clientSocketPath(s.msgHandle);
    sockaddr_un address;
    if (!VeldaClient::clientSocketAddress(s.msgHandle, address))
        return fail("socket path too long: " + path);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    unlink(path.c_str());
    if (fd < 0 || bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return fail("cannot listen on " + path + ": " + std::strerror(errno));
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::cout << "listening on " << path << std::endl;
    int seen = 0;
    while (!g_stop && (count <= 0 || seen < count)) {
        char buffer[256];
        const ssize_t n = recv(fd, buffer, sizeof buffer - 1, 0);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            break;
        }
        buffer[n] = 0;
        std::cout << "message " << buffer << std::endl;
        ++seen;
    }
    close(fd);
    unlink(path.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return usage("no command");
    if (std::string(argv[1]) == "--help" || std::string(argv[1]) == "-h") {
        std::cout << kUsage;
        return 0;
    }
    const std::string command = argv[1];
    std::map<std::string, std::string> options;
    std::string why;
    if (!parseOptions(argc, argv, options, why))
        return usage(why);
    const std::string path = QemGate::sessionPath();
    QemGate::Session s;
    const bool have = QemGate::readSession(path, s);

    if (command == "login") {
        QemGate::Session fresh;
        if (!number(options, "project", fresh.projectId) || !number(options, "user", fresh.qemid) ||
            !options.count("name") || !options.count("sign"))
            return fail("login needs --project, --user, --name and --sign");
        fresh.userName = options["name"];
        fresh.sign = options["sign"];
        if (!number(options, "handle", fresh.msgHandle))
            fresh.msgHandle = static_cast<int32_t>(std::random_device()() % 2000000000u) + 1;
        fresh.ready = true;
        fresh.state = 1;
        s = fresh;
    } else if (command == "renew" || command == "logout" || command == "quit") {
        if (!have)
            return fail("no session at " + path + "; log in first");
        if (command == "renew")
            s.sign = options.count("sign") ? options["sign"] : randomSign();
        else if (command == "logout")
            s.state = 2;
        else {
            s.state = 0;
            s.ready = false;
        }
    } else if (command == "status") {
        if (!have)
            return fail("no session at " + path);
        print(s);
        return 0;
    } else if (command == "listen") {
        if (!have)
            return fail("no session at " + path);
        int32_t count = 0;
        number(options, "count", count);
        return listen(s, count);
    } else {
        return usage("unknown command " + command);
    }
    if (!QemGate::writeSession(path, s))
        return fail("cannot write " + path + ": " + std::strerror(errno));
    if (command == "renew")
        std::cout << s.sign << "\n";
    return 0;
}
