// What is cached between openings of the store, and when it is read again.
#include "openssl/CertificateFolderTest.h"
#include "platform/openssl/stores/SourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <thread>

namespace VexaSsl::test {
namespace {

using Names = std::vector<std::wstring>;

class StoreCache : public CertificateFolderTest {};

// The first entry. Contexts of one parsed certificate share their encoded bytes.
HeldContext firstEntry() {
    const OpenedStore store;
    return firstIn(store.get());
}

bool areOneObject(const HeldContext& left, const HeldContext& right) {
    return left.get()->pbCertEncoded == right.get()->pbCertEncoded;
}

TEST_F(StoreCache, unchangedFilesAreParsedOnce) {
    install("one.pem", issue(named("one")));
    const HeldContext before = firstEntry();
    EXPECT_TRUE(areOneObject(before, firstEntry()));
}

TEST_F(StoreCache, fileRewrittenWithTheSameBytesIsNotParsedAgain) {
    const Issued one = issue(named("one"));
    install("one.pem", one);
    const HeldContext before = firstEntry();
    install("one.pem", one);
    EXPECT_TRUE(areOneObject(before, firstEntry()));
}

TEST_F(StoreCache, changedFileIsReadAgain) {
    install("one.pem", issue(named("before")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"before"});
    install("one.pem", issue(named("after")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"after"});
}

TEST_F(StoreCache, changeInPlaceOfTheSameSizeIsSeenAtOnce) {
    const Issued one = issue(named("one"));
    install("one.pem", one);
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    // Changing the first letter after the PEM header invalidates the encoding.
    const std::string content = pem(one) + keyPem(one);
    FILE* file = fopen(path("my/one.pem").c_str(), "r+");
    ASSERT_NE(file, nullptr);
    fseek(file, static_cast<long>(content.find('\n')) + 1, SEEK_SET);
    fputc('A', file);
    fclose(file);
    EXPECT_EQ(namesInPersonalStore(), Names{});
}

TEST_F(StoreCache, changeOfOneFileLeavesTheOthersParsed) {
    install("a.pem", issue(named("stays")));
    install("b.pem", issue(named("before")));
    const HeldContext before = firstEntry();
    install("b.pem", issue(named("after")));
    EXPECT_EQ(namesInPersonalStore(), (Names{L"stays", L"after"}));
    EXPECT_TRUE(areOneObject(before, firstEntry()));
}

class SourceStamp : public CertificateFolderTest {
protected:
    static constexpr const char* systemFile = "/bin/sh"; // older than a test that was just linked

    static openssl::Source sourceOf(const std::filesystem::path& path) {
        errno = EINTR; // of an earlier call
        return openssl::sourceOf(openssl::readFile(path, std::size_t{1} << 30));
    }
};

TEST_F(SourceStamp, freshFileCountsAsChanged) {
    write("my/one.pem", "text");
    EXPECT_FALSE(isUnchanged(sourceOf(path("my/one.pem"))));
}

TEST_F(SourceStamp, oldFileIsUnchanged) {
    const openssl::Source old = sourceOf(systemFile);
    errno = EINTR;
    EXPECT_TRUE(isUnchanged(old));
}

TEST_F(SourceStamp, stampIsReliableOnceBothTimesAreOld) {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    const std::int64_t now = std::int64_t{time.tv_sec} * 1'000'000'000;
    const std::int64_t old = now - 10'000'000'000;
    const auto isReliable = [](std::int64_t modified, std::int64_t changed) {
        return openssl::sourceOfFolder("", openssl::FileOutcome::read,
                                       {.modified = modified, .changed = changed})
            .stampIsReliable;
    };
    EXPECT_TRUE(isReliable(old, old));
    EXPECT_FALSE(isReliable(old, now));
    EXPECT_FALSE(isReliable(now, old));
}

TEST_F(SourceStamp, timesAreNanoseconds) {
    struct stat status {};
    status.st_mtim = {1, 5};
    status.st_ctim = {2, 6};
    EXPECT_EQ(openssl::stampOf(status).modified, 1'000'000'005);
    EXPECT_EQ(openssl::stampOf(status).changed, 2'000'000'006);
}

TEST_F(SourceStamp, missingFileIsUnchangedUntilItExists) {
    const openssl::Source missing = sourceOf(path("my/one.pem"));
    EXPECT_TRUE(isUnchanged(missing));
    write("my/one.pem", "text");
    EXPECT_FALSE(isUnchanged(missing));
}

TEST_F(SourceStamp, unreadableFileCountsAsChanged) {
    openssl::Source old = sourceOf(systemFile);
    for (const auto outcome : {openssl::FileOutcome::denied, openssl::FileOutcome::temporary}) {
        EXPECT_FALSE(isUnchanged(openssl::sourceOfFolder(old.path, outcome, old.stamp)));
    }
    old.outcome = openssl::FileOutcome::missing;
    EXPECT_FALSE(isUnchanged(old));
}

TEST_F(StoreCache, readingLeavesNoDescriptorOpen) {
    const auto nextDescriptor = [] {
        const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(next);
        return next;
    };
    const int before = nextDescriptor();
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
    EXPECT_EQ(nextDescriptor(), before);
}

TEST_F(StoreCache, removedFileIsNoEntry) {
    install("a.pem", issue(named("one")));
    install("b.pem", issue(named("two")));
    EXPECT_EQ(namesInPersonalStore(), (Names{L"one", L"two"}));
    remove("my/a.pem");
    EXPECT_EQ(namesInPersonalStore(), Names{L"two"});
}

TEST_F(StoreCache, restoredFileIsParsedAgain) {
    const Issued one = issue(named("one"));
    install("a.pem", one);
    const HeldContext before = firstEntry();
    remove("my/a.pem");
    EXPECT_EQ(namesInPersonalStore(), Names{});
    install("a.pem", one);
    EXPECT_FALSE(areOneObject(before, firstEntry()));
}

TEST_F(StoreCache, keyAddedLaterMakesEntry) {
    const Issued one = issue(named("one"));
    write("my/one.pem", pem(one));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    write("my/one.key", keyPem(one));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, passwordAddedLaterOpensTheArchive) {
    write("my/one.p12", pkcs12(issue(named("one")), {}, "secret"));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    write("my/one.p12.password", "secret");
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, folderCreatedLaterIsRead) {
    std::filesystem::remove(path("my"));
    EXPECT_EQ(namesInPersonalStore(), Names{});
    std::filesystem::create_directory(path("my"));
    install("one.pem", issue(named("one")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"one"});
}

TEST_F(StoreCache, openStoreKeepsItsEntries) {
    install("one.pem", issue(named("before")));
    const OpenedStore store;
    install("one.pem", issue(named("after")));
    remove("my/one.pem");
    EXPECT_EQ(namesIn(store.get()), Names{L"before"});
}

TEST_F(StoreCache, otherFolderHasItsOwnEntries) {
    install("one.pem", issue(named("here")));
    EXPECT_EQ(namesInPersonalStore(), Names{L"here"});
    std::filesystem::create_directories(path("other/my"));
    const Issued there = issue(named("there"));
    write("other/my/one.pem", pem(there) + keyPem(there));
    platform::setCertificateFolder(path("other"));
    EXPECT_EQ(namesInPersonalStore(), Names{L"there"});
    platform::setCertificateFolder(folder);
    EXPECT_EQ(namesInPersonalStore(), Names{L"here"});
}

TEST_F(StoreCache, threadsSeeOldOrNewContentWhileFilesChange) {
    const Issued before = issue(named("before"));
    const Issued after = issue(named("after"));
    install("one.pem", before);
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&wrong] {
            for (int round = 0; round < 50; ++round) {
                const Names names = namesInPersonalStore();
                if (names != Names{L"before"} && names != Names{L"after"}) {
                    ++wrong;
                }
            }
        });
    }
    for (int round = 0; round < 50; ++round) {
        install("one.pem", round % 2 ? before : after);
    }
    for (std::thread& reader : readers) {
        reader.join();
    }
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace VexaSsl::test
