#include "tool/StarttlsServers.h"

#include "integration/support/HostSocket.h"
#include "integration/support/Pki.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace VexaSsl::test {

namespace {

namespace fs = std::filesystem;

// Free a moment ago.
std::uint16_t freePort() {
    return Listener().port();
}

// A folder that other users can pass, as servers that give up their rights do.
fs::path freshFolder() {
    const fs::path folder = freshFile(".server");
    fs::create_directories(folder);
    fs::permissions(folder.parent_path(), fs::perms::others_exec, fs::perm_options::add);
    return folder;
}

// Waits until something listens on the port.
void awaitListening(std::uint16_t port, Command& program) {
    for (int tries = 0; tries < 10 * timeoutSeconds; ++tries) {
        const HostSocket socket = makeSocket();
        if (connectTo(socket.handle(), loopbackAddress(port))) {
            return;
        }
        if (!program.running()) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    throw std::runtime_error("the server doesn't start: " + program.output() + program.errors());
}

// Ends a server so that it ends its helpers.
void end(Command& program, int signal) {
    program.signal(signal);
    program.exitStatus();
}

std::string certificate() {
    return pki::file("server-rsa", "chain").string();
}

std::string key() {
    return pki::file("server-rsa", "key").string();
}

std::string dovecotListener(const std::string& service, std::uint16_t port) {
    return "service " + service + "-login {\n chroot =\n inet_listener " + service +
           " {\n  port = " + std::to_string(port) + "\n }\n inet_listener " + service +
           "s {\n  port = 0\n }\n}\n";
}

// Without the right to change users everything runs as the one that there is.
std::string dovecotUsers() {
    if (::geteuid() == 0) {
        return "";
    }
    const std::string user = ::getpwuid(::geteuid())->pw_name;
    const std::string group = ::getgrgid(::getegid())->gr_name;
    return "default_internal_user = " + user + "\ndefault_internal_group = " + group +
           "\ndefault_login_user = " + user + "\nservice anvil {\n chroot =\n}\n";
}

// Version 2.4 has other names for settings, and reads no file that doesn't begin with a version.
bool isDovecotBefore24() {
    Command version({"/usr/sbin/dovecot", "--version"});
    version.exitStatus();
    return version.output().starts_with("2.3.");
}

std::string settingsOfDovecot23(const fs::path& home) {
    return "ssl_cert = <" + certificate() + "\nssl_key = <" + key() +
           "\npassdb {\n driver = static\n args = password=secret\n}\n"
           "userdb {\n driver = static\n args = home=" +
           home.string() + "\n}\n";
}

std::string settingsOfDovecot24(const fs::path& home) {
    return "dovecot_config_version = 2.4.0\ndovecot_storage_version = 2.4.0\n"
           "ssl_server_cert_file = " +
           certificate() + "\nssl_server_key_file = " + key() +
           "\npassdb static {\n password = secret\n}\n"
           "userdb static {\n fields {\n  home = " +
           home.string() + "\n }\n}\n";
}

std::string dovecotProtocols() {
    std::string protocols;
    for (const char* name : {"imap", "pop3", "submission"}) {
        if (fs::exists("/usr/lib/dovecot/" + std::string(name) + "-login")) {
            protocols += std::string(" ") + name;
        }
    }
    return protocols;
}

// PostgreSQL refuses to run as root. The words go before a command.
Words asDatabaseUser() {
    if (::geteuid() != 0) {
        return {};
    }
    return {"setpriv", "--reuid=postgres", "--regid=postgres", "--clear-groups"};
}

void handToDatabaseUser(const fs::path& path) {
    if (::geteuid() != 0) {
        return;
    }
    const passwd* user = ::getpwnam("postgres");
    if (user == nullptr || ::chown(path.c_str(), user->pw_uid, user->pw_gid) != 0) {
        throw std::runtime_error("there is no user for the database");
    }
}

} // namespace

bool isInstalled(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders((path == nullptr ? "" : path) + std::string(":/usr/sbin"));
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (fs::exists(fs::path(folder) / program)) {
            return true;
        }
    }
    return false;
}

ForeignMailServer::ForeignMailServer() : ports{freePort(), freePort(), freePort()} {
    const fs::path folder = freshFolder();
    const fs::path configuration = folder / "dovecot.conf";
    std::ofstream stream(configuration);
    stream << (isDovecotBefore24() ? settingsOfDovecot23(folder) : settingsOfDovecot24(folder))
           << "base_dir = " << (folder / "run").string()
           << "\nstate_dir = " << (folder / "state").string()
           << "\nlog_path = /dev/stderr\nlisten = 127.0.0.1\nprotocols =" << dovecotProtocols()
           << "\nssl = yes\nhostname = localhost\nsubmission_relay_host = 127.0.0.1\n"
           << dovecotUsers() << dovecotListener("submission", ports[0])
           << dovecotListener("imap", ports[1]) << dovecotListener("pop3", ports[2]);
    stream.close();
    program =
        std::make_unique<Command>(Words{"/usr/sbin/dovecot", "-F", "-c", configuration.string()});
    awaitListening(ports[1], *program);
}

ForeignMailServer::~ForeignMailServer() {
    end(*program, SIGTERM);
}

ForeignDirectory::ForeignDirectory() : boundPort(freePort()) {
    const fs::path folder = freshFolder();
    const fs::path configuration = folder / "slapd.conf";
    std::ofstream(configuration) << "pidfile " << (folder / "pid").string()
                                 << "\nTLSCACertificateFile "
                                 << pki::file("authority", "cert").string()
                                 << "\nTLSCertificateFile " << certificate()
                                 << "\nTLSCertificateKeyFile " << key() << "\n";
    // Told what to log, it stays in the foreground.
    program = std::make_unique<Command>(Words{"/usr/sbin/slapd", "-f", configuration.string(), "-h",
                                              "ldap://127.0.0.1:" + std::to_string(boundPort), "-d",
                                              "256"});
    awaitListening(boundPort, *program);
}

ForeignDirectory::~ForeignDirectory() {
    end(*program, SIGTERM);
}

fs::path postgresProgram(const std::string& name) {
    fs::path newest;
    const fs::path versions = "/usr/lib/postgresql";
    if (fs::exists(versions)) {
        for (const auto& version : fs::directory_iterator(versions)) {
            newest = std::max(newest, version.path());
        }
    }
    return newest / "bin" / name;
}

ForeignDatabase::ForeignDatabase(Tls tls) : boundPort(freePort()) {
    const fs::path folder = freshFolder();
    const fs::path data = folder / "data";
    handToDatabaseUser(folder);
    Command making(asDatabaseUser() + Words{postgresProgram("initdb").string(), "-D", data.string(),
                                            "-A", "trust", "-U", "postgres", "--no-sync",
                                            "--no-locale", "-E", "UTF8"});
    if (making.exitStatus() != 0) {
        throw std::runtime_error("no database: " + making.output() + making.errors());
    }
    fs::copy_file(certificate(), data / "server.crt");
    handToDatabaseUser(data / "server.crt");
    // It takes a key from its own user's file alone, which nobody else can read.
    fs::copy_file(key(), data / "server.key");
    fs::permissions(data / "server.key", fs::perms::owner_read | fs::perms::owner_write);
    handToDatabaseUser(data / "server.key");
    program = std::make_unique<Command>(
        asDatabaseUser() + Words{postgresProgram("postgres").string(), "-D", data.string(), "-p",
                                 std::to_string(boundPort), "-k", "", "-c",
                                 "listen_addresses=127.0.0.1", "-c",
                                 tls == Tls::on ? "ssl=on" : "ssl=off", "-c", "fsync=off"});
    awaitListening(boundPort, *program);
}

ForeignDatabase::~ForeignDatabase() {
    end(*program, SIGINT);
}

} // namespace VexaSsl::test
