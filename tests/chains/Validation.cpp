#include "chains/Validation.h"

#include "chains/MemoryPeer.h"

#include "CertificateFiles.h"
#include "certificates/CertificateInspector.h"
#include "config/SslConfig.h"
#include "contract/stores/ChainFixture.h"
#include "fakes/Secrets.h"
#include "frame/ErrorText.h"
#include "integration/support/LogMatchers.h"
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

const std::string ownSubject = "the validating server";

// The certificate folder of all cases, the files for the command, and a socket number for the log.
class TestFolder {
public:
    static TestFolder& instance() {
        static TestFolder testFolder;
        return testFolder;
    }

    const TemporaryCertificateFolder folder;
    SOCKET socket;

private:
    TestFolder() : socket(static_cast<SOCKET>(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))) {
        std::string anchors;
        for (const Link& root : roots()) {
            anchors += pemOf(issue(root, root));
        }
        folder.write("root/roots.pem", anchors);
        folder.write("roots.pem", anchors);
        const PresentedChain own = Chain().commonName(ownSubject).keyNamed(ownSubject).make();
        folder.write("my/server.pem", pemOf(own.certificates.front()) + keyText(own.key));
    }
    ~TestFolder() { close(static_cast<int>(socket)); }
};

std::wstring numberAndText(DWORD code) {
    return std::to_wstring(code) + L" (" + systemErrorText(code) + L")";
}

std::wstring socketText() {
    return L"socket [" + std::to_wstring(TestFolder::instance().socket) + L"]";
}

void sortLines(const CollectingLog& log, HandshakeOutcome& outcome) {
    for (const LogLine& line : log.lines) {
        (line.severity == Severity::Debug ? outcome.details : outcome.lines).push_back(line);
    }
}

// Runs the command and returns its status.
int run(std::vector<std::string> arguments, std::string& output) {
    const std::string outputFile = TestFolder::instance().folder.path("outputFile").string();
    std::vector<char*> words;
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, outputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    pid_t child = 0;
    const int started =
        posix_spawn(&child, words.front(), &actions, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (started != 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error("cannot run openssl");
    }
    std::ifstream file(outputFile, std::ios::binary);
    output.assign(std::istreambuf_iterator<char>(file), {});
    return status;
}

bool isAddress(const std::string& text) {
    char bytes[16];
    return inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
           inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

} // namespace

std::wstring wide(const std::string& text) {
    return {text.begin(), text.end()};
}

HandshakeOutcome validatedByClient(const PresentedChain& presented, const std::wstring& target) {
    TestFolder& testFolder = TestFolder::instance();
    CollectingLog log;
    MemoryPeer peer(true, presented);
    SslConfig config(log, L"chains");
    SecureSocketStrategy client(log, config,
                                std::make_unique<MemoryTransport>(peer, testFolder.socket));
    client.GetAddrInfoW(target.c_str(), nullptr, nullptr, nullptr);
    HandshakeOutcome outcome;
    outcome.accepted = client.connect(testFolder.socket, nullptr, 0) == 0;
    outcome.accepted = outcome.accepted || peer.peerContinued();
    outcome.peerFinished = peer.finished();
    sortLines(log, outcome);
    return outcome;
}

DWORD statusOnRequest(const PresentedChain& presented, const std::wstring& target) {
    TestFolder::instance(); // the trust anchors
    const OpenedStore store(openMemoryStore());
    HeldContext leaf;
    for (const Der& certificate : presented.certificates) {
        HeldContext added = addTo(store.get(), certificate);
        if (!leaf) {
            leaf = std::move(added);
        }
    }
    if (!leaf) {
        return static_cast<DWORD>(CRYPT_E_ASN1_BADTAG);
    }
    std::wstring name = target;
    SSL_EXTRA_CERT_CHAIN_POLICY_PARA extra{};
    extra.dwAuthType = AUTHTYPE_SERVER;
    extra.pwszServerName = name.data();
    return verdictOn(chainOf(leaf.get(), serverUsage, nullptr, store.get()), &extra).error;
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

HandshakeOutcome validatedByServer(const PresentedChain& presented,
                                   const std::wstring& acceptable) {
    TestFolder& testFolder = TestFolder::instance();
    CollectingLog log;
    MemoryPeer peer(false, presented);
    SslConfig config(log, L"chains");
    config.setValue(L"RequireClientAuthentication", L"True");
    config.setValue(L"ServerCertificateToSendName", wide(ownSubject));
    config.setValue(L"AcceptableClientCertificateToReceiveNames", acceptable);
    SecureSocketStrategy server(log, config,
                                std::make_unique<MemoryTransport>(peer, testFolder.socket));
    HandshakeOutcome outcome;
    outcome.accepted = server.accept(1, nullptr, nullptr) != INVALID_SOCKET;
    if (outcome.accepted) {
        char nothing = 0;
        peer.produceOutput(&nothing, 1); // reads the server's last flight
    }
    outcome.peerFinished = peer.finished();
    sortLines(log, outcome);
    return outcome;
}

std::vector<LogLine> linesOfServer(const ExpectedOutcome& expected) {
    if (expected.isGoodClient()) {
        return {info(L"An encrypted connection has been successfully initialised on " +
                     socketText() + L" (server side)")};
    }
    if (expected.handshake != SEC_E_OK) {
        return {error(L"AcceptSecurityContext failed with: " +
                      numberAndText(static_cast<DWORD>(expected.handshake))),
                warning(L"An encrypted connection could not be successfully initialised on " +
                        socketText() + L". Aborting"),
                error(L"Can't establish a security context. AcceptSecurityContext failed")};
    }
    return {warning(L"CertVerifyCertificateChainPolicy returned status: " +
                    numberAndText(expected.chainStatus)),
            info(L"The certificate chain is not trusted for client authentication"),
            info(L"The following information is not complete, but provided as a starting point. "
                 L"Please inspect the certificate chain through the Microsoft Management Console"),
            info(L"This error applies to the certificate with the friendly name [" +
                 wide(expected.element) + L"]"),
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

Verification verifiedByOpenSsl(const PresentedChain& presented, Purpose purpose,
                               const std::string& target) {
    const TemporaryCertificateFolder& folder = TestFolder::instance().folder;
    folder.write("leaf.pem", pemOf(presented.certificates.front()));
    std::vector<std::string> arguments = {
        VEXASSL_OPENSSL, "verify", "-CAfile", folder.path("roots.pem"), "-no-CApath", "-no-CAstore",
        // the defaults of a TLS connection
        "-auth_level", "2", "-purpose", purpose == Purpose::server ? "sslserver" : "sslclient"};
    if (!target.empty()) {
        arguments.insert(arguments.end(),
                         {isAddress(target) ? "-verify_ip" : "-verify_hostname", target});
    }
    if (presented.certificates.size() > 1) {
        std::string others;
        for (std::size_t i = 1; i < presented.certificates.size(); ++i) {
            others += pemOf(presented.certificates[i]);
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

Entry readFromStore(const std::string& name, const std::string& content, EVP_PKEY* key) {
    const TemporaryCertificateFolder& folder = TestFolder::instance().folder;
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
                entry.otherEntriesFound = true;
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
