#define OPENSSL_SUPPRESS_DEPRECATED // RAND_set_rand_method has no replacement
#include "MemoryPeer.h"

#include "VexaPlatform/Certificates.h"
#include "config/Vocabulary.h"

#include <openssl/rand.h>

#include <array>
#include <cstdint>

namespace VexaSsl::fuzz {

namespace {

// Each end has its own stream of numbers, so that the library's don't depend on the peer's.
std::array<std::uint64_t, 2> streams;
std::size_t current = 0;

int giveBytes(unsigned char* bytes, int count) {
    for (int i = 0; i < count; ++i) {
        streams[current] = streams[current] * 6364136223846793005U + 1442695040888963407U;
        bytes[i] = static_cast<unsigned char>(streams[current] >> 56);
    }
    return 1;
}

int isReady() {
    return 1;
}

void restartNumbers() {
    static const RAND_METHOD method{nullptr, giveBytes, nullptr, nullptr, giveBytes, isReady};
    RAND_set_rand_method(&method);
    // The numbers depend on the release of OpenSSL. Messages differ between releases: with the same
    // numbers a recorded message of another release would lead to a connection, although it is not
    // what an honest peer of this release sends.
    const std::uint64_t major = OPENSSL_version_major();
    const std::uint64_t minor = OPENSSL_version_minor();
    const std::uint64_t release = ((major - 3) << 48) | (minor << 32);
    streams = {release + 1, release + 2};
}

// Uses the peer's stream of numbers during its lifetime.
struct PeersTurn {
    PeersTurn() { current = 1; }
    ~PeersTurn() { current = 0; }
};

struct FreeContext {
    void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};
using Context = std::unique_ptr<SSL_CTX, FreeContext>;

void useCertificate(SSL_CTX* context, const std::string& name) {
    const std::string file = std::string(VEXASSL_FUZZ_KEYS) + "/my/" + name + ".pem";
    require(SSL_CTX_use_certificate_file(context, file.c_str(), SSL_FILETYPE_PEM) == 1 &&
                SSL_CTX_use_PrivateKey_file(context, file.c_str(), SSL_FILETYPE_PEM) == 1,
            "the peer can load its certificate");
}

Context makeContext(Role role, bool mutual) {
    Context context(SSL_CTX_new(role == Role::Client ? TLS_client_method() : TLS_server_method()));
    SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    if (role == Role::Server || mutual) {
        useCertificate(context.get(), role == Role::Server ? "server" : "client");
    }
    if (role == Role::Server && mutual) {
        SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, [](int, X509_STORE_CTX*) { return 1; });
    }
    return context;
}

SSL_CTX* contextOf(Role role, bool mutual) {
    static const Context contexts[] = {
        makeContext(Role::Client, false), makeContext(Role::Client, true),
        makeContext(Role::Server, false), makeContext(Role::Server, true)};
    return contexts[(role == Role::Server ? 2 : 0) + (mutual ? 1 : 0)].get();
}

SslConfig configurationOf(ILog& log, Role role, bool mutual) {
    namespace Options = ConfigurationDefinition::ConnectionOptions;
    namespace Values = ConfigurationDefinition::Values;
    SslConfig config(log, L"fuzz");
    config.setValue(Options::UseEncryption, Values::True);
    config.setValue(Options::ServerCertificateToSendName, L"server.fuzz.test");
    config.setValue(Options::ClientCertificateToSendName,
                    mutual ? L"client.fuzz.test" : Values::None);
    config.setValue(Options::RequireClientAuthentication,
                    mutual && role == Role::Server ? Values::True : Values::False);
    config.setValue(Options::AcceptableClientCertificateToReceiveNames, L"client.fuzz.test");
    return config;
}

} // namespace

MemoryPeer::MemoryPeer(Role role, bool mutual, const char* cipherSuite) : role(role) {
    const PeersTurn turn;
    ssl.reset(SSL_new(contextOf(role, mutual)));
    require(*cipherSuite == '\0' || SSL_set_cipher_list(ssl.get(), cipherSuite) == 1,
            "the cipher suite is known");
    SSL_set_bio(ssl.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    if (role == Role::Client) {
        SSL_set_connect_state(ssl.get());
    } else {
        SSL_set_accept_state(ssl.get());
    }
}

std::string MemoryPeer::answer(std::string_view received) {
    const PeersTurn turn;
    BIO_write(SSL_get_rbio(ssl.get()), received.data(), static_cast<int>(received.size()));
    SSL_do_handshake(ssl.get());
    return takeOutput();
}

std::string MemoryPeer::seal(std::string_view plain) {
    const PeersTurn turn;
    if (!plain.empty()) {
        SSL_write(ssl.get(), plain.data(), static_cast<int>(plain.size()));
    }
    return takeOutput();
}

std::string MemoryPeer::sealClosure() {
    const PeersTurn turn;
    SSL_shutdown(ssl.get());
    return takeOutput();
}

std::string MemoryPeer::sealRenegotiation() {
    const PeersTurn turn;
    SSL_renegotiate(ssl.get());
    SSL_do_handshake(ssl.get());
    return takeOutput();
}

std::string MemoryPeer::sealAs(std::size_t type, std::string_view content) {
    const openssl::AeadSuite* const suite = openssl::aeadSuiteOf(SSL_get_current_cipher(ssl.get()));
    require(suite != nullptr && content.size() <= largestContent, "the record can be sealed");
    if (!sealer) {
        openssl::HandshakeSecrets secrets;
        openssl::readSecrets(ssl.get(), secrets);
        const openssl::TrafficKeys keys = openssl::deriveTrafficKeys(secrets, *suite);
        sealer.emplace(*suite, role == Role::Client ? keys.client : keys.server, 1, 0);
    }
    const std::size_t headerSize = openssl::recordHeaderSize + suite->explicitNonceSize;
    std::string record = std::string(headerSize, '\0') + std::string(content) +
                         std::string(openssl::aeadTagSize, '\0');
    const openssl::RecordSealer::Area bytes(reinterpret_cast<unsigned char*>(record.data()),
                                            record.size());
    require(sealer->seal(static_cast<openssl::ContentType>(type), bytes.first(headerSize),
                         bytes.subspan(headerSize, content.size()),
                         bytes.last(openssl::aeadTagSize)),
            "the record is sealed");
    return record;
}

std::string MemoryPeer::open(std::string_view wire) {
    const PeersTurn turn;
    BIO_write(SSL_get_rbio(ssl.get()), wire.data(), static_cast<int>(wire.size()));
    std::string plain;
    std::array<char, 4096> buffer;
    for (int count = 0;
         (count = SSL_read(ssl.get(), buffer.data(), static_cast<int>(buffer.size()))) > 0;) {
        plain.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return plain;
}

std::string MemoryPeer::takeOutput() {
    BIO* const output = SSL_get_wbio(ssl.get());
    std::string bytes(static_cast<std::size_t>(BIO_pending(output)), '\0');
    BIO_read(output, bytes.data(), static_cast<int>(bytes.size()));
    return bytes;
}

LibrarySide::LibrarySide(Role sideRole, bool mutual) : role(sideRole) {
    restartNumbers();
    platform::setCertificateFolder(VEXASSL_FUZZ_KEYS);
    auto below = std::make_unique<Wire>(log);
    wire = below.get();
    strategy = std::make_unique<SecureSocketStrategy>(log, configurationOf(log, role, mutual),
                                                      std::move(below));
}

bool LibrarySide::secure() {
    if (role == Role::Server) {
        return strategy->accept(Wire::socket, nullptr, nullptr) == Wire::socket;
    }
    addrinfo* none = nullptr;
    strategy->getaddrinfo("localhost", nullptr, nullptr, &none);
    return strategy->connect(Wire::socket, nullptr, 0) == 0;
}

bool LibrarySide::secureWith(MemoryPeer& peer) {
    if (role == Role::Server) {
        wire->incoming = peer.answer("");
    }
    wire->onSent = [this, &peer](std::string_view sent) { wire->incoming += peer.answer(sent); };
    const bool isSecured = secure();
    wire->onSent = nullptr;
    return isSecured;
}

} // namespace VexaSsl::fuzz
