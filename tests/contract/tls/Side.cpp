#include "contract/tls/Side.h"

#include "contract/support/TestCertificates.h"
#include "platform/contract/SecuritySupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string textOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes part(const Bytes& bytes, std::size_t start, std::size_t size) {
    const std::size_t first = std::min(start, bytes.size());
    const std::size_t count = std::min(size, bytes.size() - first);
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(first);
    return {begin, begin + static_cast<std::ptrdiff_t>(count)};
}

std::vector<std::size_t> recordSizes(const Bytes& bytes) {
    std::vector<std::size_t> sizes;
    for (std::size_t at = 0; at + 5 <= bytes.size(); at += sizes.back()) {
        sizes.push_back(5U + (static_cast<std::size_t>(bytes[at + 3]) << 8 | bytes[at + 4]));
    }
    return sizes;
}

SECURITY_STATUS acquire(ULONG use, PCCERT_CONTEXT certificate, CredHandle& handle) {
    SCHANNEL_CRED request{};
    request.dwVersion = SCHANNEL_CRED_VERSION;
    request.cCreds = certificate ? 1 : 0;
    request.paCred = &certificate;
    wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
    TimeStamp expiry{};
    return platform::AcquireCredentialsHandleW(nullptr, package, use, nullptr, &request, nullptr,
                                               nullptr, &handle, &expiry);
}

Credential::Credential(ULONG use, const std::string& certificate) {
    SECURITY_STATUS status = SEC_E_OK;
    if (certificate.empty()) {
        status = acquire(use, nullptr, handle);
    } else {
        const StoreCertificate shown(certificate);
        status = acquire(use, shown.get(), handle);
    }
    if (status != SEC_E_OK) {
        throw std::runtime_error("no credentials for " + certificate + ": " +
                                 std::to_string(status));
    }
}

Credential Credential::outbound(const std::string& certificate) {
    return {SECPKG_CRED_OUTBOUND, certificate};
}

Credential Credential::inbound(const std::string& certificate) {
    return {SECPKG_CRED_INBOUND, certificate};
}

Credential::Credential(Credential&& other) noexcept
    : handle(std::exchange(other.handle, CredHandle{})) {}

Credential::~Credential() {
    if (handle.dwLower != 0 || handle.dwUpper != 0) {
        platform::FreeCredentialsHandle(&handle);
    }
}

Side::Side(bool client, Credential used, std::wstring name, ULONG bits)
    : credential(std::move(used)), requirements(bits), isClient(client), target(std::move(name)) {}

Side Side::client(const std::wstring& target, const std::string& certificate, ULONG requirements) {
    return {true, Credential::outbound(certificate), target, requirements};
}

Side Side::server(const std::string& certificate, ULONG requirements) {
    return {false, Credential::inbound(certificate), L"", requirements};
}

Side::Side(Side&& other) noexcept
    : credential(std::move(other.credential)), requirements(other.requirements),
      isClient(other.isClient), target(std::move(other.target)),
      handle(std::exchange(other.handle, CtxtHandle{})), begun(other.begun),
      lastStatus(other.lastStatus), held(std::move(other.held)) {}

Side::~Side() {
    if (handle.dwLower != 0 || handle.dwUpper != 0) {
        platform::DeleteSecurityContext(&handle);
    }
}

SECURITY_STATUS Side::call(SecBufferDesc* input, SecBufferDesc* output, Step& step) {
    CtxtHandle* context = begun ? &handle : nullptr;
    if (!isClient) {
        return platform::AcceptSecurityContext(credential.get(), context, input, requirements,
                                               SECURITY_NETWORK_DREP, &handle, output,
                                               &step.attributes, &step.expiry);
    }
    CtxtHandle* made = begun ? nullptr : &handle;
    return platform::InitializeSecurityContextW(
        credential.get(), context, target.data(), requirements, 0, SECURITY_NETWORK_DREP,
        begun ? input : nullptr, 0, made, output, &step.attributes, &step.expiry);
}

Step Side::step(Bytes received) {
    SecBuffer inputs[2] = {};
    inputs[0] = {static_cast<ULONG>(received.size()), SECBUFFER_TOKEN, received.data()};
    SecBuffer outputs[2] = {};
    outputs[0].BufferType = SECBUFFER_TOKEN;
    outputs[1].BufferType = SECBUFFER_ALERT;
    SecBufferDesc input{SECBUFFER_VERSION, 2, inputs};
    SecBufferDesc output{SECBUFFER_VERSION, 2, outputs};
    Step step;
    const Bytes before = received;
    step.status = call(&input, &output, step);
    begun = true;
    lastStatus = step.status;
    if (received != before || inputs[0].BufferType != SECBUFFER_TOKEN ||
        inputs[0].cbBuffer != received.size()) {
        throw std::runtime_error("the input's token was changed");
    }
    step.tokenAllocated = outputs[0].pvBuffer != nullptr;
    if (const auto* token = static_cast<const unsigned char*>(outputs[0].pvBuffer)) {
        step.token.assign(token, token + outputs[0].cbBuffer);
    }
    platform::FreeContextBuffer(outputs[0].pvBuffer);
    step.alertTouched = outputs[1].BufferType != SECBUFFER_ALERT || outputs[1].cbBuffer != 0 ||
                        outputs[1].pvBuffer != nullptr;
    step.inputType = inputs[1].BufferType;
    step.inputSize = inputs[1].cbBuffer;
    return step;
}

Step Side::receive(const Bytes& received) {
    held = std::move(held) + received;
    const Step taken = step(held);
    if (taken.status == SEC_I_CONTINUE_NEEDED && taken.inputType == SECBUFFER_EXTRA) {
        held = part(held, held.size() - taken.inputSize);
    } else if (taken.status != SEC_E_INCOMPLETE_MESSAGE) {
        held.clear();
    }
    return taken;
}

SecPkgContext_StreamSizes Side::sizes() {
    SecPkgContext_StreamSizes sizes{};
    if (platform::QueryContextAttributesW(&handle, SECPKG_ATTR_STREAM_SIZES, &sizes) != SEC_E_OK) {
        throw std::runtime_error("no stream sizes");
    }
    return sizes;
}

namespace {

// The four entries that protect one record in adjacent memory.
struct ProtectingBuffers {
    ProtectingBuffers(const SecPkgContext_StreamSizes& sizes, const Bytes& plaintext)
        : memory(sizes.cbHeader + plaintext.size() + sizes.cbTrailer) {
        unsigned char* data = memory.data() + sizes.cbHeader;
        if (!plaintext.empty()) {
            std::memcpy(data, plaintext.data(), plaintext.size());
        }
        const auto size = static_cast<ULONG>(plaintext.size());
        entries[0] = {sizes.cbHeader, SECBUFFER_STREAM_HEADER, memory.data()};
        entries[1] = {size, SECBUFFER_DATA, data};
        entries[2] = {sizes.cbTrailer, SECBUFFER_STREAM_TRAILER, data + size};
    }

    Bytes memory;
    SecBuffer entries[4] = {};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
};

} // namespace

SECURITY_STATUS Side::protectStatus(const Bytes& plaintext) {
    ProtectingBuffers buffers(sizes(), plaintext);
    return platform::EncryptMessage(&handle, 0, &buffers.message, 0);
}

Bytes Side::protect(const Bytes& plaintext) {
    ProtectingBuffers buffers(sizes(), plaintext);
    if (platform::EncryptMessage(&handle, 0, &buffers.message, 0) != SEC_E_OK) {
        throw std::runtime_error("cannot protect");
    }
    const std::size_t used =
        buffers.entries[0].cbBuffer + plaintext.size() + buffers.entries[2].cbBuffer;
    return part(buffers.memory, 0, used);
}

Opened Side::open(Bytes ciphertext) {
    SecBuffer entries[4] = {};
    entries[0] = {static_cast<ULONG>(ciphertext.size()), SECBUFFER_DATA, ciphertext.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    Opened opened;
    opened.status = platform::DecryptMessage(&handle, &message, 0, nullptr);
    for (const SecBuffer& entry : entries) {
        opened.types.push_back(entry.BufferType);
        const auto* data = static_cast<const unsigned char*>(entry.pvBuffer);
        if (entry.BufferType == SECBUFFER_DATA && opened.status == SEC_E_OK) {
            opened.plaintext.assign(data, data + entry.cbBuffer);
            opened.plaintextAt = static_cast<std::size_t>(data - ciphertext.data());
        }
        if (entry.BufferType == SECBUFFER_EXTRA) {
            opened.extra = entry.cbBuffer;
        }
        if (entry.BufferType == SECBUFFER_MISSING) {
            opened.missing = entry.cbBuffer;
        }
    }
    opened.memory = std::move(ciphertext);
    return opened;
}

std::string Side::openAll(const Bytes& ciphertext) {
    std::string text;
    Bytes rest = ciphertext;
    while (!rest.empty()) {
        const Opened opened = open(rest);
        if (opened.status != SEC_E_OK) {
            throw std::runtime_error("cannot open");
        }
        text += textOf(opened.plaintext);
        rest = part(rest, rest.size() - opened.extra);
    }
    return text;
}

namespace {

// Passes the bytes on in chunks. Returns the tokens, none after a failure.
Bytes deliver(Side& to, const Bytes& bytes, std::size_t chunk) {
    Bytes answer;
    for (std::size_t at = 0; at < bytes.size() && to.status() != SEC_E_OK;) {
        const Bytes piece = part(bytes, at, chunk);
        at += piece.size();
        const Step step = to.receive(piece);
        if (step.status < 0 && step.status != SEC_E_INCOMPLETE_MESSAGE) {
            return {};
        }
        answer = answer + step.token;
    }
    return answer;
}

} // namespace

void expectVoidContext(CtxtHandle handle) {
    SecPkgContext_StreamSizes sizes{};
    EXPECT_EQ(platform::QueryContextAttributesW(&handle, SECPKG_ATTR_STREAM_SIZES, &sizes),
              SEC_E_INVALID_HANDLE);
    Bytes memory(64);
    SecBuffer entries[4] = {};
    entries[0] = {64, SECBUFFER_DATA, memory.data()};
    SecBufferDesc message{SECBUFFER_VERSION, 4, entries};
    EXPECT_EQ(platform::EncryptMessage(&handle, 0, &message, 0), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(platform::DecryptMessage(&handle, &message, 0, nullptr), SEC_E_INVALID_HANDLE);
    EXPECT_EQ(platform::DeleteSecurityContext(&handle), SEC_E_INVALID_HANDLE);
}

void runHandshake(Side& client, Side& server, std::size_t chunk) {
    Bytes toServer = client.step().token;
    while (!toServer.empty()) {
        const Bytes toClient = deliver(server, toServer, chunk);
        toServer = deliver(client, toClient, chunk);
    }
}

} // namespace VexaSsl::test
