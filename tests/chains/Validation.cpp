#include "chains/Judges.h"

#include "chains/MemoryPeer.h"

#include "CertificateFiles.h"
#include "certificates/CertificateInspector.h"
#include "config/SslConfig.h"
#include "contract/stores/StoreFixture.h"
#include "fakes/Secrets.h"
#include "frame/ErrorText.h"
#include "secure/SecureSocketStrategy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/pem.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

extern char** environ;

namespace VexaSsl::test {
namespace {

const std::string ownSubject = "the judging server";

// The certificates in force for every case, the files for the command, and a socket for the log.
class Bench {
public:
    static Bench& instance() {
        static Bench bench;
        return bench;
    }

    const TemporaryCertificateFolder folder;
    SOCKET socket;

private:
    Bench() : socket(static_cast<SOCKET>(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))) {
        std::string anchors;
        for (const Link& root : roots()) {
            anchors += armoured(issue(root, root));
        }
        folder.write("root/roots.pem", anchors);
        folder.write("roots.pem", anchors);
        const Shown own = Chain().commonName(ownSubject).keyNamed(ownSubject).make();
        folder.write("my/server.pem", armoured(own.certificates.front()) + keyText(own.key));
    }
    ~Bench() { close(static_cast<int>(socket)); }
};

std::wstring wide(const std::string& text) {
    return {text.begin(), text.end()};
}

std::wstring numberAndText(DWORD code) {
    return std::to_wstring(code) + L" (" + systemErrorText(code) + L")";
}

std::wstring socketText() {
    return L"socket [" + std::to_wstring(Bench::instance().socket) + L"]";
}

LogLine info(const std::wstring& text) {
    return {Severity::Info, text};
}
LogLine warning(const std::wstring& text) {
    return {Severity::Warning, text};
}
LogLine error(const std::wstring& text) {
    return {Severity::Error, text};
}

void sortLines(const CollectingLog& log, Judgement& judgement) {
    for (const LogLine& line : log.lines) {
        (line.severity == Severity::Debug ? judgement.details : judgement.lines).push_back(line);
    }
}

// The command's status, and what it said.
int run(std::vector<std::string> arguments, std::string& output) {
    const std::string said = Bench::instance().folder.path("said").string();
    std::vector<char*> words;
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, said.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t child = 0;
    const int started =
        posix_spawn(&child, words.front(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (started != 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("can't run openssl");
    }
    std::ifstream file(said, std::ios::binary);
    output.assign(std::istreambuf_iterator<char>(file), {});
    return status;
}

bool isAddress(const std::string& text) {
    char bytes[16];
    return inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
           inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

} // namespace

Judgement judgedByClient(const Shown& shown, const std::wstring& target) {
    Bench& bench = Bench::instance();
    CollectingLog log;
    MemoryPeer peer(true, shown);
    SslConfig config(log, L"chains");
    SecureSocketStrategy client(log, config, std::make_unique<MemoryTransport>(peer, bench.socket));
    client.GetAddrInfoW(target.c_str(), nullptr, nullptr, nullptr);
    Judgement judgement;
    judgement.accepted = client.connect(bench.socket, nullptr, 0) == 0;
    judgement.accepted = judgement.accepted || peer.heardMore();
    judgement.peerFinished = peer.finished();
    sortLines(log, judgement);
    return judgement;
}

std::vector<LogLine> linesOfClient(SECURITY_STATUS status, const std::wstring& target) {
    if (status == SEC_E_OK) {
        return {info(L"An encrypted connection has been successfully initialised on " +
                     socketText() + L" (client side)")};
    }
    std::vector<LogLine> lines = {error(L"InitializeSecurityContext failed with: " +
                                        numberAndText(static_cast<DWORD>(status)))};
    if (status == SEC_E_WRONG_PRINCIPAL) {
        lines.push_back(
            info(L"InitializeSecurityContext failed with [SEC_E_WRONG_PRINCIPAL]. Probable cause: "
                 L"None of the names on the certificate that the server supplied to us match the "
                 L"address we connected to [" +
                 target + L"]"));
        lines.push_back(info(L"It is not possible to report the names on the certificate."));
    }
    lines.push_back(warning(L"An encrypted connection could not be successfully initialised on " +
                            socketText() + L". Aborting"));
    lines.push_back(error(L"Can't establish a security context. InitializeSecurityContext failed"));
    return lines;
}

Judgement judgedByServer(const Shown& shown, const std::wstring& acceptable) {
    Bench& bench = Bench::instance();
    CollectingLog log;
    MemoryPeer peer(false, shown);
    SslConfig config(log, L"chains");
    config.setValue(L"RequireClientAuthentication", L"True");
    config.setValue(L"ServerCertificateToSendName", wide(ownSubject));
    config.setValue(L"AcceptableClientCertificateToReceiveNames", acceptable);
    SecureSocketStrategy server(log, config, std::make_unique<MemoryTransport>(peer, bench.socket));
    Judgement judgement;
    judgement.accepted = server.accept(1, nullptr, nullptr) != INVALID_SOCKET;
    if (judgement.accepted) {
        char nothing = 0;
        peer.say(&nothing, 1); // takes the server's last flight in
    }
    judgement.peerFinished = peer.finished();
    sortLines(log, judgement);
    return judgement;
}

std::vector<LogLine> linesOfServer(const Answer& answer) {
    if (answer.isGoodClient()) {
        return {info(L"An encrypted connection has been successfully initialised on " +
                     socketText() + L" (server side)")};
    }
    if (answer.handshake != SEC_E_OK) {
        return {error(L"AcceptSecurityContext failed with: " +
                      numberAndText(static_cast<DWORD>(answer.handshake))),
                warning(L"An encrypted connection could not be successfully initialised on " +
                        socketText() + L". Aborting"),
                error(L"Can't establish a security context. AcceptSecurityContext failed")};
    }
    return {warning(L"CertVerifyCertificateChainPolicy returned status: " +
                    numberAndText(answer.shownByClient)),
            info(L"The certificate chain is not trusted for client authentication"),
            info(L"The following information is not complete, but provided as a starting point. "
                 L"Please inspect the certificate chain through the Microsoft Management Console"),
            info(L"This error applies to the certificate with the friendly name [" +
                 wide(answer.element) + L"]"),
            error(L"The certificate provided by the client is not trusted. Terminating connection"),
            error(L"Can't establish a security context. client authentication failed: cert not "
                  L"trusted")};
}

std::vector<LogLine> linesOfUnacceptable(const std::vector<std::wstring>& names,
                                         const std::wstring& acceptable) {
    std::vector<LogLine> lines;
    std::wstring all;
    for (const std::wstring& name : names) {
        all += L"[" + name + L"] ";
    }
    if (names.empty()) { // once for the comparison, once for the report
        lines.assign(2, warning(L"CertGetNameStringW could not find any names on the certificate"));
    }
    lines.push_back(info(L"All names on this certificate: " + all));
    lines.push_back(info(L"The names we would accept are: [" + acceptable + L"]"));
    lines.push_back(error(L"The certificate provided by the client is trusted, but not "
                          L"acceptable. Terminating connection"));
    lines.push_back(error(L"Can't establish a security context. client authentication failed: "
                          L"cert not acceptable"));
    return lines;
}

Verification verifiedByOpenSsl(const Shown& shown, Purpose purpose, const std::string& target) {
    const TemporaryCertificateFolder& folder = Bench::instance().folder;
    folder.write("leaf.pem", armoured(shown.certificates.front()));
    std::vector<std::string> arguments = {
        VEXASSL_OPENSSL, "verify", "-CAfile", folder.path("roots.pem"), "-no-CApath", "-no-CAstore",
        // what a TLS connection asks for unless told otherwise
        "-auth_level", "2", "-purpose", purpose == Purpose::server ? "sslserver" : "sslclient"};
    if (!target.empty()) {
        arguments.insert(arguments.end(),
                         {isAddress(target) ? "-verify_ip" : "-verify_hostname", target});
    }
    if (shown.certificates.size() > 1) {
        std::string others;
        for (std::size_t i = 1; i < shown.certificates.size(); ++i) {
            others += armoured(shown.certificates[i]);
        }
        folder.write("others.pem", others);
        arguments.insert(arguments.end(), {"-untrusted", folder.path("others.pem")});
    }
    arguments.push_back(folder.path("leaf.pem"));
    Verification verification{};
    verification.accepted = run(arguments, verification.output) == 0;
    return verification;
}

std::string keyText(EVP_PKEY* key) {
    BIO* bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(bio, &bytes);
    const std::string text(bytes, static_cast<std::size_t>(size));
    BIO_free(bio);
    secrets::addKey(text);
    return text;
}

Entry judgedInStore(const std::string& name, const std::string& content, EVP_PKEY* key) {
    const TemporaryCertificateFolder& folder = Bench::instance().folder;
    const std::string file = "my/" + name;
    const std::string keyFile = file.substr(0, file.rfind('.')) + ".key";
    folder.write(file, content);
    folder.write(keyFile, keyText(key));
    Entry entry;
    CollectingLog log;
    {
        const OpenedStore store;
        const CertificateInspector inspector(log);
        for (HeldContext at = firstIn(store.get()); at; at = nextIn(store.get(), at.release())) {
            if (displayName(at.get()) == wide(ownSubject)) {
                entry.othersAreThere = true;
                continue;
            }
            ++entry.found;
            entry.trustedServer |= inspector.verifyCertificateChain(at.get(), true);
            entry.trustedClient |= inspector.verifyCertificateChain(at.get(), false);
        }
    }
    folder.remove(file);
    folder.remove(keyFile);
    return entry;
}

} // namespace VexaSsl::test
